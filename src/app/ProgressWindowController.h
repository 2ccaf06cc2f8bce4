#pragma once

#include "document/ProgressSink.h"

#include <QString>
#include <QWidget>
#include <functional>

class ProgressViewController;

// The window that shows long work (opening a document, converting logs): a description, a busy
// indicator, the log of the work and a dismiss button. Every operation may be called from any
// thread; calls from other threads hop to the window's thread, in the order they were made.
// Threads that report to the window must not outlive it.
class ProgressWindowController : public QWidget, public ProgressSink {
    Q_OBJECT
public:
    enum class State { idle, working, done };

    static constexpr int collapsedHeight = 100;
    static constexpr int expandedHeight = 330;

    explicit ProgressWindowController(QWidget* parent = nullptr);
    ~ProgressWindowController() override;

    ProgressViewController* contentViewController() const { return content_; }
    State state() const { return state_; }

    // Close by itself when the work is done, rather than wait for the dismiss button.
    bool autoClose() const { return autoClose_; }
    void setAutoClose(bool autoClose) { autoClose_ = autoClose; }

    // The log is hidden in a short window and shown in a tall one; the dismiss button comes with
    // the log.
    bool showsLog() const { return showsLog_; }
    void setShowsLog(bool shows);

    // Sets the description, starts the indicator, disables dismissing and brings the window to
    // the front.
    void begin(const QString& description) override;
    // Lines that contain "nw_path_close_fd" are dropped. A line reveals a hidden log: warnings
    // written during the work should not go unseen.
    void appendLog(const QString& line) override;
    // Closes the window when `autoClose` is set; otherwise adds " done." to the description and
    // enables dismissing.
    void done() override;
    void dismiss();

    // Shows a Cancel button while the work runs; pressing it calls `cancel` once. Main thread.
    void setCancelHandler(std::function<void()> cancel);
    // Turns the bar into a measured one: `done` of `total` bytes, also written after the
    // description. Any thread.
    void setByteProgress(qint64 done, qint64 total);
    // Turns the bar into a measured one at `fraction` (0 to 1), with `detail` after the
    // description. Any thread.
    void setProgress(double fraction, const QString& detail);

private:
    // Runs `work` now when on the window's thread, else queues it there.
    template <class Work> void onOwnThread(Work work);

    ProgressViewController* content_;
    State state_ = State::idle;
    bool autoClose_ = false;
    bool showsLog_ = false;
    QString description_;
    std::function<void()> cancel_;
};

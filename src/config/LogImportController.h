#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <atomic>
#include <functional>
#include <memory>

class Boat;
class Document;
class ProgressWindowController;
class QMimeData;
class QWidget;
struct LogImportResult;

// Imports log files for one boat of a document: the converter runs on the thread pool while the
// progress window shows its output line by line and offers Cancel; the log joins the boat as an
// undoable edit on the main thread. A failure stays in the progress log for the user to read.
// The controller owns its progress window and deletes itself once the work is over and the
// window is closed.
class LogImportController : public QObject {
    Q_OBJECT
public:
    // Starts at once; answers the controller, or null when none of the files is a log file.
    static LogImportController* start(Document* document, std::shared_ptr<Boat> boat, QStringList files);
    ~LogImportController() override;

    // File ▸ Import Boat Logs…: chooses the files, then the boat, then starts.
    static void chooseAndImport(QWidget* window, Document* document);
    // Log files dropped on a document window: chooses the boat, then starts. Answers whether any
    // of the files was a log file.
    static bool importDropped(QWidget* window, Document* document, const QStringList& files);
    // The files of `files` the converter reads, in order.
    static QStringList logFilesAmong(const QStringList& files);
    // The local log files among dragged URLs.
    static QStringList logFilesOf(const QMimeData* mime);
    // Lets `window` take drops of log files for the document `document()` answers at the time.
    static void acceptLogDrops(QWidget* window, std::function<Document*()> document);
    // The boat the logs are for: the only one, or the user's choice (main boat first). Null when
    // the document has none or the user declines.
    static std::shared_ptr<Boat> chooseBoat(QWidget* window, Document& document);

    ProgressWindowController* progressWindow() const { return progress_; }
    bool isRunning() const { return running_; }
    // Stops the converter; nothing is added and no file is left.
    void cancel();

signals:
    // Main thread, once: whether a log was added.
    void finished(bool added);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Relay;
    LogImportController(Document* document, std::shared_ptr<Boat> boat);
    void run(QStringList files);
    void complete(const LogImportResult& result);

    QPointer<Document> document_;
    std::shared_ptr<Boat> boat_;
    ProgressWindowController* progress_;
    std::shared_ptr<std::atomic<bool>> cancel_;
    std::shared_ptr<Relay> relay_;
    bool running_ = false;
};

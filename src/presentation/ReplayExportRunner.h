#pragma once

#include <QObject>
#include <QPointer>
#include <memory>

class PresentationWindowController;
class ProgressWindowController;
class ReplayExportJob;

// File ▸ Export Replay Video…: asks what to export, then runs the export with its progress (frames
// done, speed, time left) and a Cancel button in a progress window. One export per window at a time.
class ReplayExportRunner : public QObject {
    Q_OBJECT
public:
    explicit ReplayExportRunner(PresentationWindowController& window);
    ~ReplayExportRunner() override;

    // Opens the dialog, or brings the running export's progress forward.
    void run();
    bool isRunning() const { return job_ != nullptr; }
    ReplayExportJob* job() const { return job_.get(); }
    ProgressWindowController* progressWindow() const;

signals:
    void exportFinished();

private:
    void report();
    void finished();

    PresentationWindowController& window_;
    std::unique_ptr<ReplayExportJob> job_;
    QPointer<ProgressWindowController> progress_;
};

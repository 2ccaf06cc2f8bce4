#include "presentation/ReplayExportRunner.h"

#include "app/ProgressWindowController.h"
#include "core/Diagnostics.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/ReplayExportDialog.h"
#include "presentation/ReplayExportJob.h"

#include <QFileInfo>

namespace {
QString minutesAndSeconds(double seconds) {
    const int whole = int(seconds + 0.5);
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}
} // namespace

ReplayExportRunner::ReplayExportRunner(PresentationWindowController& window)
    : QObject(&window), window_(window) {}

ReplayExportRunner::~ReplayExportRunner() = default;

ProgressWindowController* ReplayExportRunner::progressWindow() const {
    return progress_;
}

void ReplayExportRunner::run() {
    if (job_) {
        if (progress_) {
            progress_->show();
            progress_->raise();
        }
        return;
    }
    if (!window_.currentDocument())
        return;
    ReplayExportDialog dialog(window_);
    if (dialog.exec() != QDialog::Accepted)
        return;
    job_ = std::make_unique<ReplayExportJob>(*window_.currentDocument(), dialog.settings());
    connect(job_.get(), &ReplayExportJob::progressed, this, &ReplayExportRunner::report);
    connect(job_.get(), &ReplayExportJob::finished, this, &ReplayExportRunner::finished,
            Qt::QueuedConnection);

    progress_ = new ProgressWindowController(&window_);
    progress_->setAttribute(Qt::WA_DeleteOnClose);
    progress_->begin(tr("Exporting %1…").arg(QFileInfo(job_->settings().output).fileName()));
    ReplayExportJob* job = job_.get();
    progress_->setCancelHandler([job] { job->cancel(); });
    progress_->show();
    if (!job_->start()) {
        progress_->appendLog(tr("The film could not be started: %1").arg(job_->failure()));
        progress_->done();
        job_.reset();
    }
}

void ReplayExportRunner::report() {
    if (!job_ || !progress_)
        return;
    const int done = job_->framesEncoded();
    const int total = job_->totalFrames();
    QString detail = tr("%1 of %2 frames").arg(done).arg(total);
    if (double speed = job_->speedAgainstRealTime(); speed > 0.0)
        detail += tr(", %1× real time").arg(speed, 0, 'f', 1);
    if (auto left = job_->secondsLeft())
        detail += tr(", %1 left").arg(minutesAndSeconds(*left));
    progress_->setProgress(total > 0 ? double(done) / total : 0.0, detail);
}

void ReplayExportRunner::finished() {
    if (!job_)
        return;
    std::unique_ptr<ReplayExportJob> job = std::move(job_);
    if (progress_) {
        for (const QString& warning : job->warnings())
            progress_->appendLog(tr("Warning: %1").arg(warning));
        switch (job->outcome()) {
        case ReplayExportJob::Outcome::finished:
            progress_->appendLog(tr("Wrote %1: %2 frames in %3 (%4× real time).")
                                     .arg(job->settings().output)
                                     .arg(job->framesEncoded())
                                     .arg(minutesAndSeconds(job->elapsedSeconds()))
                                     .arg(job->speedAgainstRealTime(), 0, 'f', 1));
            break;
        case ReplayExportJob::Outcome::failed:
            progress_->appendLog(tr("The film could not be written: %1").arg(job->failure()));
            Diagnostics::printLine(("Warning: replay export failed: " + job->failure()).toStdString());
            break;
        case ReplayExportJob::Outcome::cancelled:
        case ReplayExportJob::Outcome::pending:
            progress_->appendLog(tr("Export cancelled; no file was written."));
            break;
        }
        progress_->done();
    }
    emit exportFinished();
}

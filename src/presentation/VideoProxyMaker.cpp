#include "presentation/VideoProxyMaker.h"

#include "app/ProgressWindowController.h"
#include "core/Diagnostics.h"
#include "media/VideoProxyJob.h"
#include "media/VideoProxyStore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>

VideoProxyMaker& VideoProxyMaker::shared() {
    // Lives as long as the application: jobs are cancelled when it goes.
    static VideoProxyMaker* maker = [] {
        auto* made = new VideoProxyMaker;
        made->setParent(QCoreApplication::instance());
        return made;
    }();
    return *maker;
}

VideoProxyMaker::~VideoProxyMaker() {
    for (auto& [original, running] : jobs_) {
        running.job->cancel();
        running.job->wait();
        if (running.window)
            running.window->deleteLater();
    }
}

void VideoProxyMaker::request(const QString& original) {
    if (jobs_.count(original) || declined_.count(original))
        return;
    VideoProxyStore store;
    const QString proxy = store.proxyPath(original);
    if (proxy.isEmpty())
        return;
    Running& running = jobs_[original];
    running.job = std::make_unique<VideoProxyJob>(original, proxy);
    VideoProxyJob* job = running.job.get();

    auto* window = new ProgressWindowController;
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setAutoClose(true);
    running.window = window;
    window->begin(tr("Making a playback copy of %1…").arg(QFileInfo(original).fileName()));
    window->appendLog(
        tr("This video is too heavy to play smoothly on this computer. Wakeline makes a lighter copy "
           "for playback; snapshots and stills still come from the original."));
    window->setCancelHandler([this, original, job] {
        declined_[original] = true;
        job->cancel();
    });
    window->show();

    const qint64 size = QFileInfo(original).size();
    auto* timer = new QTimer(window);
    connect(timer, &QTimer::timeout, window,
            [window, job, size] { window->setByteProgress(qint64(job->progress() * double(size)), size); });
    timer->start(250);

    QPointer<VideoProxyMaker> self(this);
    job->start([self, original](VideoProxyJob::Outcome) {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, original] {
                if (self)
                    self->finished(original);
            },
            Qt::QueuedConnection);
    });
}

void VideoProxyMaker::finished(const QString& original) {
    auto found = jobs_.find(original);
    if (found == jobs_.end())
        return;
    Running running = std::move(found->second);
    jobs_.erase(found);
    running.job->wait();
    const VideoProxyJob& job = *running.job;
    const QString name = QFileInfo(original).fileName();
    switch (job.outcome()) {
    case VideoProxyJob::Outcome::finished:
        if (!job.warning().isEmpty() && running.window)
            running.window->appendLog(tr("Warning: %1").arg(job.warning()));
        if (running.window)
            running.window->done();
        emit proxyReady(original, job.proxy());
        break;
    case VideoProxyJob::Outcome::failed:
        Diagnostics::printLine(
            ("Warning: no playback copy of " + original + ": " + job.failure()).toStdString());
        if (running.window) {
            running.window->setAutoClose(false);
            running.window->appendLog(
                tr("Could not make the playback copy of %1: %2").arg(name, job.failure()));
            running.window->done();
        }
        break;
    case VideoProxyJob::Outcome::cancelled:
    case VideoProxyJob::Outcome::pending:
        if (running.window)
            running.window->done();
        break;
    }
}

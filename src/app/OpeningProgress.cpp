#include "app/OpeningProgress.h"

#include "app/ProgressWindowController.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace {
// The opener reports from the HDF5 queue; the window lives on the main thread.
template <class Action> void onMainThread(Action action) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(action), Qt::QueuedConnection);
}
} // namespace

std::shared_ptr<OpeningProgress> OpeningProgress::start(QWidget* parent, const QString& description) {
    auto progress = std::make_shared<OpeningProgress>();
    auto* window = new ProgressWindowController(parent);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setAutoClose(true);
    window->setShowsLog(false);
    progress->window_ = window;
    window->begin(description);
    return progress;
}

OpeningProgress::~OpeningProgress() = default;

ProgressWindowController* OpeningProgress::window() const {
    return window_;
}

void OpeningProgress::begin(const QString& description) {
    onMainThread([window = window_, description] {
        if (window)
            window->begin(description);
    });
}

void OpeningProgress::appendLog(const QString& line) {
    onMainThread([window = window_, line] {
        // Lines the window drops anyway must not reveal an empty log.
        if (!window || line.contains(QLatin1String("nw_path_close_fd")))
            return;
        window->setAutoClose(false);
        window->setShowsLog(true);
        window->appendLog(line);
    });
}

void OpeningProgress::done() {
    onMainThread([window = window_] {
        if (window)
            window->done();
    });
}

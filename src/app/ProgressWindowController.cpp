#include "app/ProgressWindowController.h"

#include "app/ProgressViewController.h"

#include <QLabel>
#include <QLocale>
#include <QMetaObject>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace {
constexpr int windowWidth = 480;
} // namespace

ProgressWindowController::ProgressWindowController(QWidget* parent)
    : QWidget(parent, Qt::Window), content_(new ProgressViewController(this)) {
    setWindowTitle(tr("Progress"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content_);
    connect(content_->dismissButton(), &QPushButton::clicked, this, &ProgressWindowController::dismiss);
    connect(content_->cancelButton(), &QPushButton::clicked, this, [this] {
        content_->cancelButton()->setEnabled(false);
        if (auto cancel = std::exchange(cancel_, {}))
            cancel();
    });
    resize(windowWidth, collapsedHeight);
    setShowsLog(false);
}

ProgressWindowController::~ProgressWindowController() = default;

template <class Work> void ProgressWindowController::onOwnThread(Work work) {
    if (QThread::currentThread() == thread())
        work();
    else
        QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

void ProgressWindowController::setShowsLog(bool shows) {
    showsLog_ = shows;
    content_->logTextView()->setVisible(shows);
    content_->dismissButton()->setVisible(shows);
    if (shows) {
        setMinimumHeight(collapsedHeight);
        setMaximumHeight(QWIDGETSIZE_MAX);
        resize(width(), expandedHeight);
    } else {
        // Nothing in a short window could use more room.
        setFixedHeight(collapsedHeight);
    }
}

void ProgressWindowController::begin(const QString& description) {
    onOwnThread([this, description] {
        state_ = State::working;
        description_ = description;
        content_->descriptionLabel()->setText(description);
        // A range of 0…0 makes the bar indeterminate and animates it.
        content_->progressIndicator()->setRange(0, 0);
        content_->dismissButton()->setEnabled(false);
        show();
        raise();
        activateWindow();
    });
}

void ProgressWindowController::appendLog(const QString& line) {
    // The system's network stack chatters this into a converter's output; it means nothing here.
    if (line.contains("nw_path_close_fd"))
        return;
    onOwnThread([this, line] {
        if (!showsLog_)
            setShowsLog(true);
        content_->appendLogLine(line);
    });
}

void ProgressWindowController::done() {
    onOwnThread([this] {
        state_ = State::done;
        cancel_ = {};
        content_->cancelButton()->setVisible(false);
        if (autoClose_) {
            close();
            return;
        }
        QLabel* label = content_->descriptionLabel();
        label->setText(label->text() + " done.");
        content_->dismissButton()->setEnabled(true);
    });
}

void ProgressWindowController::dismiss() {
    close();
}

void ProgressWindowController::setCancelHandler(std::function<void()> cancel) {
    cancel_ = std::move(cancel);
    content_->cancelButton()->setEnabled(true);
    content_->cancelButton()->setVisible(bool(cancel_));
}

void ProgressWindowController::setByteProgress(qint64 done, qint64 total) {
    onOwnThread([this, done, total] {
        if (total <= 0)
            return;
        auto* bar = content_->progressIndicator();
        bar->setRange(0, 1000);
        bar->setValue(int(double(done) / double(total) * 1000.0));
        content_->descriptionLabel()->setText(description_ + QStringLiteral("  ") +
                                              locale().formattedDataSize(done) + tr(" of ") +
                                              locale().formattedDataSize(total));
    });
}

void ProgressWindowController::setProgress(double fraction, const QString& detail) {
    onOwnThread([this, fraction, detail] {
        auto* bar = content_->progressIndicator();
        bar->setRange(0, 1000);
        bar->setValue(int(std::clamp(fraction, 0.0, 1.0) * 1000.0));
        content_->descriptionLabel()->setText(description_ + QStringLiteral("  ") + detail);
    });
}

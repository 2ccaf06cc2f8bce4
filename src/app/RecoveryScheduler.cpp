#include "app/RecoveryScheduler.h"

#include "document/Document.h"

#include <QCoreApplication>
#include <QThreadPool>

RecoveryScheduler::RecoveryScheduler(Document& document, std::unique_ptr<RecoveryStore::Copy> copy,
                                     QObject* parent)
    : QObject(parent), document_(&document), copy_(std::move(copy)) {
    quiet_.setSingleShot(true);
    quiet_.setInterval(quietMilliseconds);
    period_.setInterval(periodMilliseconds);
    connect(&quiet_, &QTimer::timeout, this, &RecoveryScheduler::write);
    connect(&period_, &QTimer::timeout, this, &RecoveryScheduler::write);
    connect(&document, &Document::changed, this, [this] {
        quiet_.start();
        if (!period_.isActive())
            period_.start();
    });
    connect(&document, &Document::editedChanged, this, [this](bool edited) {
        if (edited)
            return;
        quiet_.stop();
        period_.stop();
        copy_->discard();
        // Saved into its package: the restored copy's files are no longer read.
        if (restored_ && document_ && document_->packagePath() != restored_->copyPath())
            restored_.reset();
    });
    // A save holds the document still; what changed meanwhile is written once it is done.
    connect(&document, &Document::activityChanged, this, [this](Document::Activity activity) {
        if (activity == Document::Activity::ready && document_ && document_->isEdited())
            quiet_.start();
    });
    if (document.isEdited()) {
        quiet_.start();
        period_.start();
    }
}

RecoveryScheduler::~RecoveryScheduler() {
    // Closed on purpose, saved or not: nothing to recover.
    copy_->discard();
    restored_.reset();
}

void RecoveryScheduler::keepRestoredCopy(const RecoveryStore::Orphan& orphan) {
    restored_ = std::make_unique<RecoveryStore::Copy>(orphan);
}

void RecoveryScheduler::write() {
    if (!document_ || !document_->isEdited() || !document_->isEditable() || !copy_->isValid())
        return;
    if (writing_) {
        again_ = true;
        return;
    }
    writing_ = true;
    auto writer = copy_->writer(*document_);
    QPointer<RecoveryScheduler> self(this);
    QThreadPool::globalInstance()->start([self, writer = std::move(writer)] {
        bool ok = writer();
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, ok] {
                if (self)
                    self->finished(ok);
            },
            Qt::QueuedConnection);
    });
}

void RecoveryScheduler::finished(bool ok) {
    writing_ = false;
    emit written(ok);
    if (std::exchange(again_, false))
        write();
}

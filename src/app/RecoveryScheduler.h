#pragma once

#include "document/RecoveryStore.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>

class Document;

// Keeps the recovery copy of one document while it has unsaved changes: written a second after
// the last change and every minute while changes go on, on the thread pool. A clean save or a
// close (deleting the scheduler) removes the copy; a crash leaves it for the next start to offer.
class RecoveryScheduler : public QObject {
    Q_OBJECT
public:
    static constexpr int quietMilliseconds = 1000;
    static constexpr int periodMilliseconds = 60000;

    RecoveryScheduler(Document& document, std::unique_ptr<RecoveryStore::Copy> copy,
                      QObject* parent = nullptr);
    ~RecoveryScheduler() override;

    const RecoveryStore::Copy& copy() const { return *copy_; }
    // A restored document still reads its logs from the copy it was restored from: that copy is
    // kept, and locked, until the document is saved or closed.
    void keepRestoredCopy(const RecoveryStore::Orphan& orphan);

signals:
    // A copy was written (or failed to be); for tests and diagnostics.
    void written(bool ok);

private:
    void write();
    void finished(bool ok);

    QPointer<Document> document_;
    std::unique_ptr<RecoveryStore::Copy> copy_;
    std::unique_ptr<RecoveryStore::Copy> restored_;
    QTimer quiet_;
    QTimer period_;
    bool writing_ = false;
    bool again_ = false;
};

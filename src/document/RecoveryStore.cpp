#include "document/RecoveryStore.h"

#include "core/Diagnostics.h"
#include "core/StateFolder.h"
#include "document/Document.h"
#include "document/DocumentPackageWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QUuid>
#include <algorithm>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <unistd.h>

namespace {

const QString noteName = QStringLiteral("recovery.json");
const QString lockName = QStringLiteral("lock");
const QString copyName = QStringLiteral("Recovered.wakeline");

// Locked while its program runs; the lock goes when the program does, however it ends.
int lockFolder(const QString& folder) {
    int fd =
        ::open(QFile::encodeName(folder + "/" + lockName).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return -1;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool writeNote(const QString& folder, const QString& packagePath) {
    nlohmann::ordered_json note;
    note["packagePath"] = packagePath.toStdString();
    note["savedAt"] = Instant::now().secondsSinceReference();
    std::string text = note.dump(2);
    QSaveFile file(folder + "/" + noteName);
    return file.open(QIODevice::WriteOnly) &&
           file.write(text.data(), qint64(text.size())) == qint64(text.size()) && file.commit();
}

} // namespace

QString RecoveryStore::defaultFolder() {
    return wakelineStateFolder() + QStringLiteral("/recovery");
}

std::vector<RecoveryStore::Orphan> RecoveryStore::orphans(const QString& storeFolder) {
    std::vector<Orphan> found;
    for (const QFileInfo& entry : QDir(storeFolder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString folder = entry.absoluteFilePath();
        int fd = lockFolder(folder);
        if (fd < 0)
            continue; // a running program's
        ::close(fd);
        Orphan orphan{folder, {}, folder + "/" + copyName, Instant(0)};
        QFile note(folder + "/" + noteName);
        bool complete =
            QFileInfo::exists(orphan.copyPath + "/content.json") && note.open(QIODevice::ReadOnly);
        if (complete) {
            auto json = nlohmann::json::parse(note.readAll().toStdString(), nullptr, false);
            complete = json.is_object() && json.value("packagePath", nlohmann::json()).is_string() &&
                       json.value("savedAt", nlohmann::json()).is_number();
            if (complete) {
                orphan.packagePath = QString::fromStdString(json["packagePath"].get<std::string>());
                orphan.savedAt = Instant(json["savedAt"].get<double>());
            }
        }
        // A copy that never got written whole holds nothing to restore.
        if (!complete) {
            QDir(folder).removeRecursively();
            continue;
        }
        found.push_back(orphan);
    }
    std::sort(found.begin(), found.end(),
              [](const Orphan& a, const Orphan& b) { return a.savedAt > b.savedAt; });
    return found;
}

void RecoveryStore::discard(const Orphan& orphan) {
    QDir(orphan.folder).removeRecursively();
}

RecoveryStore::Copy::State::~State() {
    if (lock >= 0)
        ::close(lock);
}

RecoveryStore::Copy::Copy(const QString& storeFolder) {
    state_->folder = QDir(storeFolder).filePath(QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (QDir().mkpath(state_->folder))
        state_->lock = lockFolder(state_->folder);
}

RecoveryStore::Copy::Copy(const Orphan& adopted) {
    state_->folder = adopted.folder;
    state_->lock = lockFolder(state_->folder);
}

RecoveryStore::Copy::~Copy() {
    discard();
}

QString RecoveryStore::Copy::copyPath() const {
    return state_->folder + "/" + copyName;
}

std::function<bool()> RecoveryStore::Copy::writer(const Document& document) {
    auto planned = DocumentPackageWriter::plan(document, copyPath());
    if (!std::holds_alternative<PackageWritePlan>(planned))
        return [] { return false; };
    std::lock_guard guard(state_->mutex);
    return [plan = std::get<PackageWritePlan>(std::move(planned)), packagePath = document.packagePath(),
            state = state_, discards = state_->discards] {
        std::lock_guard guard(state->mutex);
        if (state->discards != discards)
            return false;
        // The folder goes with a clean save and comes back with the next edit.
        if (!QFileInfo::exists(state->folder + "/" + lockName)) {
            QDir().mkpath(state->folder);
            int fd = lockFolder(state->folder);
            if (fd < 0)
                return false;
            if (state->lock >= 0)
                ::close(state->lock);
            state->lock = fd;
        }
        if (DocumentPackageWriter::run(plan, DocumentPackageWriter::Placement::linkOrSymlink))
            return false;
        if (!writeNote(state->folder, packagePath)) {
            Diagnostics::printLine("Warning: could not write the recovery note in " +
                                   state->folder.toStdString());
            return false;
        }
        return true;
    };
}

bool RecoveryStore::Copy::write(const Document& document) {
    return writer(document)();
}

void RecoveryStore::Copy::discard() {
    std::lock_guard guard(state_->mutex);
    ++state_->discards;
    // Never another running program's.
    if (state_->lock < 0)
        return;
    QDir(state_->folder).removeRecursively();
}

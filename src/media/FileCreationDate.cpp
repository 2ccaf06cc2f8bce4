#include "media/FileCreationDate.h"

#include <QFile>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::optional<Instant> fileCreationDate(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    struct statx status {};
    if (::statx(AT_FDCWD, name.constData(), 0, STATX_BTIME | STATX_MTIME, &status) != 0)
        return std::nullopt;
    const struct statx_timestamp& time =
        (status.stx_mask & STATX_BTIME) ? status.stx_btime : status.stx_mtime;
    return Instant::fromUnix(static_cast<double>(time.tv_sec) + time.tv_nsec * 1e-9);
}

bool isFileReachable(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    return !name.isEmpty() && ::access(name.constData(), R_OK) == 0;
}

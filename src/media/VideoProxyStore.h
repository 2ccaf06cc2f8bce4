#pragma once

#include <QDateTime>
#include <QString>

// Where the proxies of videos live: $XDG_CACHE_HOME/Wakeline/proxies, else ~/.cache/Wakeline/proxies.
// A proxy is named by its original's size in bytes and modification time in milliseconds, then the
// original's name for whoever looks into the folder: "734003200-1690000000123-GX010042.mov". Size and
// time alone find it, so an original that was moved or renamed keeps its proxy and one that changed
// gets a new one. A proxy is written under a partial name and renamed once complete: whatever `find`
// answers is whole.
class VideoProxyStore {
public:
    // The folder of the user's cache.
    VideoProxyStore();
    explicit VideoProxyStore(const QString& folder);

    const QString& folder() const { return folder_; }

    // The complete proxy of `original`, marked as used now; empty when there is none or the original
    // cannot be read.
    QString find(const QString& original) const;
    // Where a new proxy of `original` goes (the folder is made); empty when the original cannot be
    // read or the folder cannot be made.
    QString proxyPath(const QString& original) const;
    // Where a proxy is written until it is complete.
    static QString partialPath(const QString& proxyPath);

    // Removes the proxies not used since `unusedSince`, and partial files that no job has written to
    // for an hour (left by a run that ended without cleaning up). Returns how many files went.
    int removeStale(const QDateTime& unusedSince) const;

private:
    QString folder_;
};

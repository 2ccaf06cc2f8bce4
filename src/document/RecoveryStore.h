#pragma once

#include "core/Instant.h"

#include <QString>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class Document;

// Recovery copies of edited documents, so that a crash or a killed program loses at most a few
// seconds of work. Each open document gets a folder of its own in the store holding a package
// (`content.json` and links to the logs: cheap to write) and a note of where the document
// belongs. A running program holds a lock on each of its folders; a folder nobody holds was
// left by a program that ended without closing its documents.
class RecoveryStore {
public:
    // $XDG_STATE_HOME/Wakeline/recovery, else ~/.local/state/Wakeline/recovery.
    static QString defaultFolder();

    // A document left behind by a program that did not end cleanly.
    struct Orphan {
        QString folder;      // its folder in the store
        QString packagePath; // the package it belongs to; empty for a never-saved document
        QString copyPath;    // the recovery package to open
        Instant savedAt;
    };
    // The orphans found in `storeFolder`, newest first.
    static std::vector<Orphan> orphans(const QString& storeFolder);
    static void discard(const Orphan& orphan);

    // The recovery copy of one document. Writing happens on the calling thread after a plan is
    // taken from the document on its own thread; see `writer`.
    class Copy {
    public:
        // Makes and locks a new folder in the store; or, for a restored document, takes over the
        // orphan's folder. Either is removed with the copy.
        explicit Copy(const QString& storeFolder);
        explicit Copy(const Orphan& adopted);
        ~Copy();
        Copy(const Copy&) = delete;
        Copy& operator=(const Copy&) = delete;

        const QString& folder() const { return state_->folder; }
        QString copyPath() const;
        bool isValid() const { return state_->lock >= 0; }

        // Writes the document's copy now, on the calling thread. Returns false, with the reason
        // printed, when it could not be written.
        bool write(const Document& document);
        // Takes what to write on the document's thread and returns the writing, for any thread;
        // the writing may outlive the copy. A discard in between voids it.
        std::function<bool()> writer(const Document& document);
        // The document was saved or closed: its copy is no longer needed.
        void discard();

    private:
        struct State {
            QString folder;
            int lock = -1;
            unsigned discards = 0;
            std::mutex mutex;
            ~State();
        };
        std::shared_ptr<State> state_ = std::make_shared<State>();
    };
};

#pragma once

#include "document/DocumentErrors.h"
#include "document/DocumentReference.h"
#include "document/PackageWritePlan.h"

#include <QString>
#include <atomic>
#include <functional>
#include <optional>
#include <variant>

class Document;

// Writes a document as a package: `content.json` and `BoatLogs/<uuid>.hdf5`. The new package is
// built beside the target, flushed, and swapped in by one rename only when complete, so a failed
// or interrupted save leaves the previous version as it was.
//
// A save has three steps so that the slow one can leave the main thread: `plan` takes what is to
// be written from the document, `run` writes it (any thread; it touches no document), `apply`
// points the document at the new package. `write` does all three in place.
class DocumentPackageWriter {
public:
    static constexpr const char* extension = "wakeline";

    // For tests: answers true to fail the save at a step ("staging", "content.json",
    // "BoatLogs/<name>", "swap"), as a full disk or a lost folder would.
    using FailureInjection = std::function<bool(const QString& step)>;
    // Bytes copied so far and bytes to copy in all; called only when logs have to be copied.
    using Progress = std::function<void(qint64 done, qint64 total)>;

    // How log files get into the new package. Logs are never written after conversion, so a hard
    // link shares them safely; a copy is needed only across file systems. A recovery copy must
    // stay cheap and uses a symbolic link there instead.
    enum class Placement { linkOrCopy, linkOrSymlink };

    // On success the document points at the new package, its logs at their files inside it, and
    // it no longer counts as edited.
    static std::optional<DocumentSavingError> write(Document& document, const QString& packagePath,
                                                    const FailureInjection& inject = {});

    static std::variant<PackageWritePlan, DocumentSavingError> plan(const Document& document,
                                                                    const QString& packagePath);
    // `cancel`, when set during the copying, stops the save and leaves the old package as it was.
    static std::optional<DocumentSavingError> run(const PackageWritePlan& plan, Placement placement,
                                                  const Progress& progress = {},
                                                  const FailureInjection& inject = {},
                                                  const std::atomic<bool>* cancel = nullptr);
    // The edited mark is cleared only when nothing changed since the plan was made.
    static void apply(Document& document, const PackageWritePlan& plan);

    // The description of a document saved into `packagePath`.
    static DocumentReference referenceOf(const Document& document, const QString& packagePath);
    // `file` relative to `folder`, with ".." where needed.
    static QString relativePath(const QString& folder, const QString& file);
    static QString logFileName(const QUuid& uuid);
};

#pragma once

#include "document/DocumentErrors.h"
#include "document/DocumentReference.h"

#include <QString>
#include <functional>
#include <optional>

class Document;

// Writes a document as a package: `content.json` and `BoatLogs/<uuid>.hdf5`. The new package is
// built beside the target, flushed, and swapped in by one rename only when complete, so a failed
// or interrupted save leaves the previous version as it was.
class DocumentPackageWriter {
public:
    static constexpr const char* extension = "wakeline";

    // For tests: answers true to fail the save at a step ("content.json", "BoatLogs/<uuid>",
    // "swap"), as a full disk or a lost folder would.
    using FailureInjection = std::function<bool(const QString& step)>;

    // On success the document points at the new package, its logs at their files inside it, and
    // it no longer counts as edited.
    static std::optional<DocumentSavingError> write(Document& document, const QString& packagePath,
                                                    const FailureInjection& inject = {});

    // The description of a document saved into `packagePath`.
    static DocumentReference referenceOf(const Document& document, const QString& packagePath);
    // `file` relative to `folder`, with ".." where needed.
    static QString relativePath(const QString& folder, const QString& file);
};

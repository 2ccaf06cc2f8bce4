#pragma once

#include "document/DocumentErrors.h"
#include "document/DocumentPackageWriter.h"

#include <QString>
#include <optional>

class Document;
class QWidget;

// Saves a document with its files written off the main thread. The caller waits in a local event
// loop, so windows keep drawing and playback runs on while the document is read-only. Logs that
// have to be copied (to another file system) show the progress window, "Saving document…", with
// the bytes done and a Cancel button that leaves the old package as it was.
class PackageSave {
public:
    static std::optional<DocumentSavingError> run(Document& document, const QString& packagePath,
                                                  QWidget* window,
                                                  const DocumentPackageWriter::FailureInjection& inject = {});
};

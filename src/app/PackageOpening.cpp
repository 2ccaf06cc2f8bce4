#include "app/PackageOpening.h"

#include "app/StderrProgress.h"
#include "document/Document.h"
#include "document/DocumentErrors.h"
#include "document/DocumentOpener.h"
#include "document/DocumentPackageReader.h"

bool openPackage(const QString& path, Document& document, QString* readFailure) {
    auto read = DocumentPackageReader::read(path);
    if (auto* error = std::get_if<DocumentLoadingError>(&read)) {
        if (readFailure)
            *readFailure = failureReason(*error);
        return false;
    }
    if (readFailure)
        readFailure->clear();
    return DocumentOpener::openAndWait(document, std::get<DocumentReference>(std::move(read)), path,
                                       std::make_shared<StderrProgress>());
}

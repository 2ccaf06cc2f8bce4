#pragma once

#include "document/DocumentErrors.h"
#include "document/DocumentReference.h"

#include <QString>
#include <variant>

// Reads and checks the description of a package: any folder holding a `content.json`.
class DocumentPackageReader {
public:
    static std::variant<DocumentReference, DocumentLoadingError> read(const QString& packagePath);
};

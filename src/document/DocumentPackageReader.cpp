#include "document/DocumentPackageReader.h"

#include "core/DecodingError.h"
#include "core/Diagnostics.h"

#include <QDir>
#include <QFile>
#include <QUrl>

std::variant<DocumentReference, DocumentLoadingError>
DocumentPackageReader::read(const QString& packagePath) {
    QString absolute = QDir(packagePath).absolutePath();
    Diagnostics::printLine("Opening document at " +
                           QUrl::fromLocalFile(absolute + "/").toString().toStdString());
    QFile file(QDir(absolute).filePath("content.json"));
    if (!file.open(QIODevice::ReadOnly))
        return DocumentLoadingError::missingMetadataFile;
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return DocumentLoadingError::missingMetadataFile;
    try {
        DocumentReference reference = DocumentReference::decode(bytes.toStdString());
        if (reference.version != DocumentReference::currentVersion) {
            Diagnostics::printLine("Warning: unknown document version \"" + reference.version + "\"");
            return DocumentLoadingError::metadataFileInvalidFormat;
        }
        return reference;
    } catch (const DecodingError& error) {
        Diagnostics::printLine(std::string("Warning: could not read content.json: ") + error.what());
        return DocumentLoadingError::metadataFileInvalidFormat;
    }
}

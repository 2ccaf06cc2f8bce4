#pragma once

#include <QString>
#include <QUuid>
#include <cerrno>

// Why a document could not be opened; the texts are what the user is shown.
enum class DocumentLoadingError { missingMetadataFile, metadataFileInvalidFormat, hdf5LoadFailed };

inline QString failureReason(DocumentLoadingError error) {
    switch (error) {
    case DocumentLoadingError::missingMetadataFile:
        return "The document information could not be loaded.";
    case DocumentLoadingError::metadataFileInvalidFormat:
        return "The document format is invalid.";
    case DocumentLoadingError::hdf5LoadFailed:
        break;
    }
    return "Could not load HDF5 data for boat.";
}

// Why a document could not be saved.
struct DocumentSavingError {
    enum class Kind { fileWrapperCreation, fileContentGeneration };
    Kind kind;
    QUuid logAsset;      // fileWrapperCreation: the log asset whose file could not be written
    QString underlying;  // fileWrapperCreation: what went wrong
    int systemError = 0; // the errno behind it, when there is one

    // The folder cannot be written at all (a read-only medium, no permission): only saving
    // somewhere else can help.
    bool isFolderNotWritable() const;

    QString failureReason() const {
        if (kind == Kind::fileWrapperCreation)
            return "The file wrapper for log file asset " +
                   logAsset.toString(QUuid::WithoutBraces).toUpper() + " could not be created.";
        return "The document information could not be generated.";
    }
    // The reason and, when there is one, what went wrong beneath it, joined by `separator`.
    QString description(const QString& separator) const {
        return underlying.isEmpty() ? failureReason() : failureReason() + separator + underlying;
    }
};

inline bool DocumentSavingError::isFolderNotWritable() const {
    return systemError == EROFS || systemError == EACCES || systemError == EPERM;
}

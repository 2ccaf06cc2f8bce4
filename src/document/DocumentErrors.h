#pragma once

#include <QString>
#include <QUuid>

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
    QUuid logAsset;     // fileWrapperCreation: the log asset whose file could not be written
    QString underlying; // fileWrapperCreation: what went wrong

    QString failureReason() const {
        if (kind == Kind::fileWrapperCreation)
            return "The file wrapper for log file asset " +
                   logAsset.toString(QUuid::WithoutBraces).toUpper() + " could not be created.";
        return "The document information could not be generated.";
    }
};

#pragma once

#include <QString>

class Document;

// Reads and opens a package for a verb as the program opens it, the progress going to stderr. On
// failure `readFailure` holds the reader's reason when the package could not be read at all, and is
// empty when it was read but the document could not be opened (its logs, say).
bool openPackage(const QString& path, Document& document, QString* readFailure);

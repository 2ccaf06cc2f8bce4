#pragma once

#include "document/DocumentReference.h"

#include <QString>
#include <functional>
#include <memory>

class Document;
class ProgressSink;

// Fills a document from its description: loads every boat's logs on the HDF5 queue, finds the
// media files, then, back on the document's thread, hands everything to the document at once,
// derives races and legs, and reports done. A log or media file that cannot be found or read is
// skipped with a message; the rest opens.
class DocumentOpener {
public:
    static void open(Document& document, DocumentReference reference, const QString& packagePath,
                     std::shared_ptr<ProgressSink> progress, std::function<void()> finished = {});
};

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
// skipped with a message and kept aside, so that the next save writes it back; the rest opens.
// The document is not editable until the opening has finished. `finished` is called on the
// document's thread in any case; the document is editable then only when it opened.
class DocumentOpener {
public:
    static void open(Document& document, DocumentReference reference, const QString& packagePath,
                     std::shared_ptr<ProgressSink> progress, std::function<void()> finished = {});
    // Opens and waits in a local event loop, for the command-line verbs; true when it opened.
    static bool openAndWait(Document& document, DocumentReference reference, const QString& packagePath,
                            std::shared_ptr<ProgressSink> progress);
};

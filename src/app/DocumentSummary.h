#pragma once

#include "core/Instant.h"

#include <QString>
#include <optional>

// `wakeline inspect DOC [--at TIME]`: opens a package as the desktop program does, without a
// window, and prints the document as one JSON object. Exit 0, or 1 when it cannot be opened.
class DocumentSummary {
public:
    static int run(const QString& packagePath, std::optional<Instant> at);
};

#pragma once

#include <QString>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>

class Document;
class DocumentEdit;

// What every editing verb does around its one edit: opens the package as the desktop program does
// (without a window), applies the edit, saves through the same writer, and prints JSON. A package
// that cannot be opened or saved is left as it was: exit 1 with the reason on stderr.
class EditingVerb {
public:
    // `describe` adds the verb's own fields to the printed object once the edit is saved.
    static int run(const QString& packagePath, std::unique_ptr<DocumentEdit> edit,
                   const std::function<void(const Document&, nlohmann::ordered_json&)>& describe);
};

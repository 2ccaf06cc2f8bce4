#pragma once

#include <QString>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <variant>

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

    // The edit, or why it cannot be made.
    using Preparation = std::variant<std::unique_ptr<DocumentEdit>, QString>;
    // For an edit that depends on what the package holds (a boat found by name, the event's time
    // zone): `prepare` makes it from the opened document. A reason instead is exit 1, and the
    // package is not written.
    static int run(const QString& packagePath, const std::function<Preparation(Document&)>& prepare,
                   const std::function<void(const Document&, nlohmann::ordered_json&)>& describe);
};

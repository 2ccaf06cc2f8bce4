#pragma once

#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

// The members of a stored JSON object that this version of Wakeline does not read. They are kept
// with the object and written back as they were, so that opening and saving a file written by a
// newer version, or by another program, loses nothing.
class UnknownKeys {
public:
    UnknownKeys() = default;
    // Every member of `object` (when it is an object) whose key is not in `known`.
    static UnknownKeys collect(const nlohmann::ordered_json& object,
                               std::initializer_list<std::string_view> known);

    bool empty() const { return text_.empty(); }
    // Adds the kept members after those already in `object`; a key `object` has wins.
    void appendTo(nlohmann::ordered_json& object) const;

private:
    std::string text_; // the kept members as one JSON object, or empty; rare, so kept as text
};

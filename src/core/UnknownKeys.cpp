#include "core/UnknownKeys.h"

#include <algorithm>
#include <nlohmann/json.hpp>

UnknownKeys UnknownKeys::collect(const nlohmann::ordered_json& object,
                                 std::initializer_list<std::string_view> known) {
    UnknownKeys keys;
    if (!object.is_object())
        return keys;
    nlohmann::ordered_json kept = nlohmann::ordered_json::object();
    for (auto it = object.begin(); it != object.end(); ++it)
        if (std::find(known.begin(), known.end(), std::string_view(it.key())) == known.end())
            kept[it.key()] = it.value();
    if (!kept.empty())
        keys.text_ = kept.dump();
    return keys;
}

void UnknownKeys::appendTo(nlohmann::ordered_json& object) const {
    if (text_.empty() || !object.is_object())
        return;
    auto kept = nlohmann::ordered_json::parse(text_);
    for (auto it = kept.begin(); it != kept.end(); ++it)
        if (!object.contains(it.key()))
            object[it.key()] = it.value();
}

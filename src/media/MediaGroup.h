#pragma once

#include "core/UnknownKeys.h"

#include <QString>
#include <memory>
#include <nlohmann/json.hpp>

// A named group of photos and videos, shown by one media window. Groups are compared by identity:
// two groups may carry the same name.
class MediaGroup {
public:
    explicit MediaGroup(QString name) : name(std::move(name)) {}

    QString name;
    // Keys of the stored group that Wakeline does not read, written back as they were.
    UnknownKeys unknownKeys;

    // Throws DecodingError when "name" is missing or not text.
    static std::shared_ptr<MediaGroup> decode(const nlohmann::ordered_json& json);
    nlohmann::ordered_json encode() const;
};

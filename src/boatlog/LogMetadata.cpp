#include "boatlog/LogMetadata.h"

#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

std::optional<json> parseObject(const std::string& text) {
    json value = json::parse(text, nullptr, false);
    if (value.is_discarded() || !value.is_object())
        return std::nullopt;
    return value;
}

std::optional<double> number(const json& object, const char* key) {
    auto found = object.find(key);
    if (found == object.end() || !found->is_number())
        return std::nullopt;
    return found->get<double>();
}

std::optional<std::int64_t> integer(const json& object, const char* key) {
    auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer())
        return std::nullopt;
    return found->get<std::int64_t>();
}

std::optional<std::string> text(const json& object, const char* key) {
    auto found = object.find(key);
    if (found == object.end() || !found->is_string())
        return std::nullopt;
    return found->get<std::string>();
}

template <typename Record, typename Decode>
std::vector<Record> records(const json& object, const char* key, int& skipped, Decode decode) {
    std::vector<Record> result;
    auto found = object.find(key);
    if (found == object.end() || !found->is_array())
        return result;
    for (const auto& element : *found) {
        std::optional<Record> record;
        if (element.is_object())
            record = decode(element);
        if (record)
            result.push_back(std::move(*record));
        else
            ++skipped;
    }
    return result;
}

} // namespace

std::optional<FileMetadata> decodeFileMetadata(const std::string& jsonText) {
    auto object = parseObject(jsonText);
    if (!object)
        return std::nullopt;
    return FileMetadata{integer(*object, "segmentCount")};
}

std::optional<SegmentMetadata> decodeSegmentMetadata(const std::string& jsonText) {
    auto object = parseObject(jsonText);
    if (!object)
        return std::nullopt;
    SegmentMetadata metadata;
    metadata.races = records<RaceMetadata>(*object, "races", metadata.skippedRecords,
                                           [](const json& r) -> std::optional<RaceMetadata> {
                                               auto time = text(r, "time");
                                               if (!time)
                                                   return std::nullopt;
                                               return RaceMetadata{*time,
                                                                   number(r, "raceDuration"),
                                                                   number(r, "Portlat"),
                                                                   number(r, "Portlon"),
                                                                   number(r, "Stbdlat"),
                                                                   number(r, "Stbdlon"),
                                                                   text(r, "raceType")};
                                           });
    metadata.events = records<EventMetadata>(*object, "events", metadata.skippedRecords,
                                             [](const json& r) -> std::optional<EventMetadata> {
                                                 auto type = text(r, "eventType");
                                                 auto time = text(r, "time");
                                                 if (!type || !time)
                                                     return std::nullopt;
                                                 return EventMetadata{*type, *time};
                                             });
    metadata.legs = records<LegMetadata>(*object, "legs", metadata.skippedRecords,
                                         [](const json& r) -> std::optional<LegMetadata> {
                                             auto time = text(r, "time");
                                             auto type = text(r, "eventType");
                                             if (!time || !type)
                                                 return std::nullopt;
                                             return LegMetadata{*time, *type, number(r, "duration")};
                                         });
    return metadata;
}

std::optional<ParseContext> decodeParseContext(const std::string& jsonText) {
    auto object = parseObject(jsonText);
    if (!object)
        return std::nullopt;
    return ParseContext{integer(*object, "utcOffset")};
}

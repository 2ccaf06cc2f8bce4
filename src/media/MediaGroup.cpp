#include "media/MediaGroup.h"

#include "core/DecodingError.h"

std::shared_ptr<MediaGroup> MediaGroup::decode(const nlohmann::ordered_json& json) {
    if (!json.is_object())
        throw DecodingError("MediaGroup: not an object");
    auto name = json.find("name");
    if (name == json.end() || !name->is_string())
        throw DecodingError("MediaGroup: missing or invalid \"name\"");
    auto group = std::make_shared<MediaGroup>(QString::fromStdString(name->get<std::string>()));
    group->unknownKeys = UnknownKeys::collect(json, {"name"});
    return group;
}

nlohmann::ordered_json MediaGroup::encode() const {
    nlohmann::ordered_json json;
    json["name"] = name.toStdString();
    unknownKeys.appendTo(json);
    return json;
}

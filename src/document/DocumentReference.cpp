#include "document/DocumentReference.h"

#include "core/DecodingError.h"
#include "media/MediaGroup.h"
#include "metrics/Boat.h"
#include "race/Race.h"

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

const ordered_json* find(const ordered_json& object, const char* key) {
    auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return nullptr;
    return &*found;
}

[[noreturn]] void wrongType(const char* key, const char* expected) {
    throw DecodingError(std::string("\"") + key + "\" is not " + expected);
}

std::optional<std::string> optionalString(const ordered_json& object, const char* key) {
    const ordered_json* value = find(object, key);
    if (!value)
        return std::nullopt;
    if (!value->is_string())
        wrongType(key, "text");
    return value->get<std::string>();
}

std::optional<double> optionalNumber(const ordered_json& object, const char* key) {
    const ordered_json* value = find(object, key);
    if (!value)
        return std::nullopt;
    if (!value->is_number())
        wrongType(key, "a number");
    return value->get<double>();
}

std::optional<Instant> optionalInstant(const ordered_json& object, const char* key) {
    auto seconds = optionalNumber(object, key);
    return seconds ? std::optional<Instant>(Instant(*seconds)) : std::nullopt;
}

std::optional<std::string> optionalZone(const ordered_json& object, const char* key) {
    const ordered_json* value = find(object, key);
    if (!value)
        return std::nullopt;
    if (!value->is_object())
        wrongType(key, "a time zone");
    auto identifier = optionalString(*value, "identifier");
    if (!identifier)
        throw DecodingError(std::string("\"") + key + "\" has no identifier");
    return identifier;
}

std::optional<QUrl> optionalUrl(const ordered_json& object, const char* key) {
    const ordered_json* value = find(object, key);
    if (!value)
        return std::nullopt;
    if (!value->is_object())
        wrongType(key, "a URL");
    auto relative = optionalString(*value, "relative");
    if (!relative)
        throw DecodingError(std::string("\"") + key + "\" has no relative part");
    QUrl url(QString::fromStdString(*relative), QUrl::StrictMode);
    if (auto base = optionalUrl(*value, "base"))
        url = base->resolved(url);
    if (!url.isValid())
        throw DecodingError(std::string("\"") + key + "\" is not a valid URL");
    return url;
}

const ordered_json& arrayAt(const ordered_json& object, const char* key) {
    const ordered_json* value = find(object, key);
    if (!value->is_array())
        wrongType(key, "a list");
    return *value;
}

LogAssetReference decodeLogAsset(const ordered_json& json) {
    if (!json.is_object())
        throw DecodingError("a log asset is not an object");
    auto uuidText = optionalString(json, "uuid");
    if (!uuidText)
        throw DecodingError("a log asset has no uuid");
    QUuid uuid(QString::fromStdString(*uuidText));
    if (uuid.isNull())
        throw DecodingError("a log asset's uuid is not a UUID");
    return {uuid, optionalNumber(json, "offset"), optionalZone(json, "fileTimeZone"),
            UnknownKeys::collect(json, {"uuid", "offset", "fileTimeZone"})};
}

BoatReference decodeBoat(const ordered_json& json) {
    if (!json.is_object() || !find(json, "boat"))
        throw DecodingError("a boat entry has no boat");
    BoatReference reference;
    reference.boat = Boat::decode(*find(json, "boat"));
    if (const ordered_json* isMain = find(json, "isMain")) {
        if (!isMain->is_boolean())
            wrongType("isMain", "true or false");
        reference.isMain = isMain->get<bool>();
    }
    if (find(json, "logAssets"))
        for (const auto& asset : arrayAt(json, "logAssets"))
            reference.logAssets.push_back(decodeLogAsset(asset));
    reference.unknownKeys = UnknownKeys::collect(json, {"boat", "isMain", "logAssets"});
    return reference;
}

AssetReference decodeAsset(const ordered_json& json) {
    if (!json.is_object())
        throw DecodingError("an asset is not an object");
    AssetReference asset;
    asset.url = optionalUrl(json, "url");
    if (auto path = optionalString(json, "pathRelativeToDocumentDir"))
        asset.pathRelativeToDocumentDir = QString::fromStdString(*path);
    if (auto bookmark = optionalString(json, "bookmarkData")) {
        auto decoded = QByteArray::fromBase64Encoding(QByteArray::fromStdString(*bookmark),
                                                      QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            wrongType("bookmarkData", "base64");
        asset.bookmarkData = *decoded;
    }
    asset.fileStartTime = optionalInstant(json, "fileStartTime");
    asset.offset = optionalNumber(json, "offset");
    asset.fileTimeZone = optionalZone(json, "fileTimeZone");
    asset.duration = optionalNumber(json, "duration");
    if (auto group = optionalString(json, "mediaGroup"))
        asset.mediaGroup = QString::fromStdString(*group);
    asset.kind = optionalString(json, "kind");
    asset.unknownKeys =
        UnknownKeys::collect(json, {"url", "pathRelativeToDocumentDir", "bookmarkData", "fileStartTime",
                                    "offset", "fileTimeZone", "duration", "mediaGroup", "kind"});
    return asset;
}

} // namespace

DocumentReference DocumentReference::decode(const std::string& text) {
    ordered_json json;
    try {
        json = ordered_json::parse(text);
    } catch (const ordered_json::exception& error) {
        throw DecodingError(std::string("not JSON: ") + error.what());
    }
    if (!json.is_object())
        throw DecodingError("the description is not an object");
    try {
        DocumentReference reference;
        auto version = optionalString(json, "version");
        if (!version)
            throw DecodingError("no version");
        reference.version = *version;
        if (!find(json, "assets"))
            throw DecodingError("no assets");
        for (const auto& asset : arrayAt(json, "assets"))
            reference.assets.push_back(decodeAsset(asset));
        reference.eventTimezone = optionalZone(json, "eventTimezone");
        reference.eventStartTimeOverride = optionalInstant(json, "eventStartTimeOverride");
        reference.eventEndTimeOverride = optionalInstant(json, "eventEndTimeOverride");
        reference.playbackPosition = optionalInstant(json, "playbackPosition");
        if (find(json, "races")) {
            reference.races.emplace();
            for (const auto& race : arrayAt(json, "races"))
                reference.races->push_back(Race::decode(race));
        }
        if (find(json, "boats")) {
            reference.boats.emplace();
            for (const auto& boat : arrayAt(json, "boats"))
                reference.boats->push_back(decodeBoat(boat));
        }
        if (find(json, "mediaGroups")) {
            reference.mediaGroups.emplace();
            for (const auto& group : arrayAt(json, "mediaGroups"))
                reference.mediaGroups->push_back(MediaGroup::decode(group));
        }
        reference.unknownKeys = UnknownKeys::collect(
            json, {"version", "assets", "eventTimezone", "eventStartTimeOverride", "eventEndTimeOverride",
                   "playbackPosition", "races", "boats", "mediaGroups"});
        return reference;
    } catch (const ordered_json::exception& error) {
        throw DecodingError(error.what());
    }
}

ordered_json DocumentReference::encodeZone(const std::string& identifier) {
    return {{"identifier", identifier}};
}

ordered_json DocumentReference::encodeUrl(const QUrl& url) {
    return {{"relative", url.toString(QUrl::FullyEncoded).toStdString()}};
}

std::string DocumentReference::encodeUuid(const QUuid& uuid) {
    return uuid.toString(QUuid::WithoutBraces).toUpper().toStdString();
}

ordered_json DocumentReference::encodeAsset(const AssetReference& asset) {
    ordered_json entry = ordered_json::object();
    if (asset.url)
        entry["url"] = encodeUrl(*asset.url);
    if (asset.pathRelativeToDocumentDir)
        entry["pathRelativeToDocumentDir"] = asset.pathRelativeToDocumentDir->toStdString();
    if (asset.bookmarkData)
        entry["bookmarkData"] = asset.bookmarkData->toBase64().toStdString();
    if (asset.fileStartTime)
        entry["fileStartTime"] = asset.fileStartTime->secondsSinceReference();
    if (asset.offset)
        entry["offset"] = *asset.offset;
    if (asset.fileTimeZone)
        entry["fileTimeZone"] = encodeZone(*asset.fileTimeZone);
    if (asset.duration)
        entry["duration"] = *asset.duration;
    if (asset.mediaGroup)
        entry["mediaGroup"] = asset.mediaGroup->toStdString();
    if (asset.kind)
        entry["kind"] = *asset.kind;
    asset.unknownKeys.appendTo(entry);
    return entry;
}

std::string DocumentReference::encode() const {
    ordered_json json;
    json["version"] = version;
    json["assets"] = ordered_json::array();
    for (const AssetReference& asset : assets)
        json["assets"].push_back(encodeAsset(asset));
    if (eventTimezone)
        json["eventTimezone"] = encodeZone(*eventTimezone);
    if (eventStartTimeOverride)
        json["eventStartTimeOverride"] = eventStartTimeOverride->secondsSinceReference();
    if (eventEndTimeOverride)
        json["eventEndTimeOverride"] = eventEndTimeOverride->secondsSinceReference();
    if (playbackPosition)
        json["playbackPosition"] = playbackPosition->secondsSinceReference();
    if (races) {
        json["races"] = ordered_json::array();
        for (const auto& race : *races)
            json["races"].push_back(race->encode());
    }
    if (boats) {
        json["boats"] = ordered_json::array();
        for (const BoatReference& boat : *boats) {
            ordered_json entry;
            entry["boat"] = boat.boat->encode();
            entry["logAssets"] = ordered_json::array();
            for (const LogAssetReference& log : boat.logAssets) {
                ordered_json logEntry;
                logEntry["uuid"] = encodeUuid(log.uuid);
                if (log.offset)
                    logEntry["offset"] = *log.offset;
                if (log.fileTimeZone)
                    logEntry["fileTimeZone"] = encodeZone(*log.fileTimeZone);
                log.unknownKeys.appendTo(logEntry);
                entry["logAssets"].push_back(std::move(logEntry));
            }
            boat.unknownKeys.appendTo(entry);
            json["boats"].push_back(std::move(entry));
        }
    }
    if (mediaGroups) {
        json["mediaGroups"] = ordered_json::array();
        for (const auto& group : *mediaGroups)
            json["mediaGroups"].push_back(group->encode());
    }
    unknownKeys.appendTo(json);
    return json.dump(2);
}

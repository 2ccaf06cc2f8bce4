#pragma once

#include "core/Instant.h"
#include "core/UnknownKeys.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QUuid>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

class Boat;
class MediaGroup;
class Race;

// What `content.json` holds: the description of an event, as written and read. Keys are written
// in a fixed order and absent optionals are left out; reading takes keys in any order and keeps
// unknown ones aside, so files of other writers open and save again without losing anything.
struct LogAssetReference {
    QUuid uuid;
    std::optional<double> offset;
    std::optional<std::string> fileTimeZone; // a zone identifier
    UnknownKeys unknownKeys;
};

struct BoatReference {
    std::shared_ptr<Boat> boat;
    std::optional<bool> isMain; // read from older files only
    std::vector<LogAssetReference> logAssets;
    UnknownKeys unknownKeys;
};

struct AssetReference {
    std::optional<QUrl> url;
    std::optional<QString> pathRelativeToDocumentDir;
    std::optional<QByteArray> bookmarkData;
    std::optional<Instant> fileStartTime;
    std::optional<double> offset;
    std::optional<std::string> fileTimeZone;
    std::optional<double> duration;
    std::optional<QString> mediaGroup;
    std::optional<std::string> kind; // "VideoAsset" or "PhotoAsset"
    UnknownKeys unknownKeys;
};

struct DocumentReference {
    static constexpr const char* currentVersion = "1.0";

    std::string version = currentVersion;
    std::vector<AssetReference> assets;
    std::optional<std::string> eventTimezone;
    std::optional<Instant> eventStartTimeOverride;
    std::optional<Instant> eventEndTimeOverride;
    std::optional<Instant> playbackPosition;
    std::optional<std::vector<std::shared_ptr<Race>>> races;
    std::optional<std::vector<BoatReference>> boats;
    std::optional<std::vector<std::shared_ptr<MediaGroup>>> mediaGroups;
    UnknownKeys unknownKeys;

    // Throws DecodingError for text that is not JSON or a tree of the wrong shape.
    static DocumentReference decode(const std::string& json);
    // Pretty-printed JSON.
    std::string encode() const;

    // The value encodings of the format.
    static nlohmann::ordered_json encodeZone(const std::string& identifier);
    static nlohmann::ordered_json encodeUrl(const QUrl& url);
    static std::string encodeUuid(const QUuid& uuid); // upper case, hyphenated
    // One asset entry as written into `content.json`.
    static nlohmann::ordered_json encodeAsset(const AssetReference& asset);
};

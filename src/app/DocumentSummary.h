#pragma once

#include "core/Instant.h"

#include <QString>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>

class Boat;
class Document;
class LogFileAsset;
class MediaAsset;

// `wakeline inspect DOC [--at TIME]`: opens a package as the desktop program does, without a
// window, and prints the document as one JSON object. Exit 0, or 1 when it cannot be opened.
class DocumentSummary {
public:
    static int run(const QString& packagePath, std::optional<Instant> at);

    // One entry of the printed object; the editing verbs print theirs with these, so that what a
    // verb reports reads the same as `inspect`.
    static nlohmann::ordered_json boatJson(const Document& document, const std::shared_ptr<Boat>& boat);
    static nlohmann::ordered_json logAssetJson(const LogFileAsset& log);
    static nlohmann::ordered_json assetJson(const MediaAsset& asset);
};

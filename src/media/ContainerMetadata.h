#pragma once

#include "core/Instant.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One metadata item of a video container, named the way Wakeline's camera rules name it:
// "mdta/<key>" for keyed metadata, "udta/<code>" for user data of QuickTime files, "uiso/<code>" for
// user data of ISO/MP4 files, "itsk/<code>" for iTunes-style items; the byte 0xA9 spelled "%A9".
struct MetadataItem {
    std::string identifier;
    // Set when the value is text; binary and numeric values have none.
    std::optional<std::string> stringValue;
};

// What a video container says about itself: its metadata items in file order, its creation date and
// its duration. Missing or unreadable facts are absent, never an error.
struct ContainerMetadata {
    std::vector<MetadataItem> items;
    std::optional<Instant> creationDate;
    std::optional<double> duration; // seconds
    // A track of timed metadata (QuickTime handler "meta"), such as a GoPro's GPS and motion
    // samples. Known for QuickTime and ISO files only.
    bool hasTimedMetadataTrack = false;

    // QuickTime and ISO base media files through the box reader (only the header boxes are read);
    // every other container (AVI, Matroska, MPEG transport streams) through libavformat.
    static ContainerMetadata read(const std::string& path);

    // The first item with this identifier.
    const MetadataItem* firstItem(std::string_view identifier) const;
    // The first item with this identifier whose value is text.
    const MetadataItem* firstStringItem(std::string_view identifier) const;
};

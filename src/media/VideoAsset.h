#pragma once

#include "media/MediaAsset.h"

// A video (or audio-only) file: it covers the event axis from its start to its end.
class VideoAsset : public MediaAsset {
public:
    VideoAsset(QUrl url, Instant fileStartTime, double duration, double offset, TimeZone fileTimeZone,
               std::shared_ptr<MediaGroup> mediaGroup)
        : MediaAsset(std::move(url), fileStartTime, duration, offset, std::move(fileTimeZone),
                     std::move(mediaGroup)) {}

    Kind kind() const override { return Kind::video; }
};

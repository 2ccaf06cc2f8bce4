#pragma once

#include "media/MediaAsset.h"

// A photo: an instant on the event axis, with no duration of its own.
class PhotoAsset : public MediaAsset {
public:
    PhotoAsset(QUrl url, Instant fileStartTime, double offset, TimeZone fileTimeZone,
               std::shared_ptr<MediaGroup> mediaGroup)
        : MediaAsset(std::move(url), fileStartTime, 0.0, offset, std::move(fileTimeZone),
                     std::move(mediaGroup)) {}

    Kind kind() const override { return Kind::photo; }
};

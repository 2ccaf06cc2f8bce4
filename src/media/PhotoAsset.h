#pragma once

#include "media/AssetDetection.h"
#include "media/MediaAsset.h"

// A photo: an instant on the event axis, with no duration of its own.
class PhotoAsset : public MediaAsset {
public:
    PhotoAsset(QUrl url, Instant fileStartTime, double offset, TimeZone fileTimeZone,
               std::shared_ptr<MediaGroup> mediaGroup)
        : MediaAsset(std::move(url), fileStartTime, 0.0, offset, std::move(fileTimeZone),
                     std::move(mediaGroup)) {}

    // Works out when the photo was taken: the file name, IPTC, EXIF DateTime, DateTimeOriginal,
    // DateTimeDigitized, the file-system creation date; the first that gives a time wins and is
    // logged. `fileTimeZone` is assumed for readings that carry no zone of their own.
    static AssetDetection<PhotoAsset> detect(const QUrl& url, const TimeZone& fileTimeZone,
                                             std::shared_ptr<MediaGroup> mediaGroup);
    // The same for the program: none when the file cannot be reached; stops the program when no
    // source gives a time.
    static std::shared_ptr<PhotoAsset> create(const QUrl& url, const TimeZone& fileTimeZone,
                                              std::shared_ptr<MediaGroup> mediaGroup);

    Kind kind() const override { return Kind::photo; }
};

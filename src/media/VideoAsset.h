#pragma once

#include "media/AssetDetection.h"
#include "media/MediaAsset.h"

// A video (or audio-only) file: it covers the event axis from its start to its end.
class VideoAsset : public MediaAsset {
public:
    VideoAsset(QUrl url, Instant fileStartTime, double duration, double offset, TimeZone fileTimeZone,
               std::shared_ptr<MediaGroup> mediaGroup)
        : MediaAsset(std::move(url), fileStartTime, duration, offset, std::move(fileTimeZone),
                     std::move(mediaGroup)) {}

    // Works out when the recording began: the file name, the QuickTime creation-date item, the
    // container's creation date read in the zone its camera writes, the file-system creation date,
    // in that order, one log line per source; then the duration and the offset: from the sidecar
    // subtitles' first date, or else from the camera's own GPS (a GoPro's metadata track, a drone's
    // per-cue subtitle dates), which places the clip at its GPS time whatever the camera's clock said.
    // `fileTimeZone` is assumed for readings that carry no zone of their own.
    static AssetDetection<VideoAsset> detect(const QUrl& url, const TimeZone& fileTimeZone,
                                             std::shared_ptr<MediaGroup> mediaGroup);
    // The same for the program: none when the file cannot be reached; stops the program when no
    // source gives a time.
    static std::shared_ptr<VideoAsset> create(const QUrl& url, const TimeZone& fileTimeZone,
                                              std::shared_ptr<MediaGroup> mediaGroup);

    Kind kind() const override { return Kind::video; }

    // What placed the clip when it was detected: "gpmf-gps" or "srt-gps" when the camera's GPS moved
    // it through the offset, otherwise the reading's source ("file-name", "quicktime-creationdate",
    // "container-creation-date", "file-creation-date"). Empty for an asset read from a document.
    const std::string& timeSource() const { return timeSource_; }

private:
    std::string timeSource_;
};

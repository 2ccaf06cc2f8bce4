#pragma once

#include "core/Instant.h"
#include "core/TimeZone.h"
#include "core/UnknownKeys.h"

#include <QByteArray>
#include <QUrl>
#include <memory>

class MediaGroup;

// A time-stamped photo or video file placed on the event axis. `fileStartTime` is the recording's
// wall-clock reading stored as if it were UTC; the zone and the user's offset place it.
class MediaAsset {
public:
    enum class Kind { video, photo };

    virtual ~MediaAsset() = default;
    virtual Kind kind() const = 0;
    bool isPhoto() const { return kind() == Kind::photo; }

    const QUrl& url() const { return url_; }
    Instant fileStartTime() const { return fileStartTime_; }
    double duration() const { return duration_; }
    double offset() const { return offset_; }
    const TimeZone& fileTimeZone() const { return fileTimeZone_; }
    const std::shared_ptr<MediaGroup>& mediaGroup() const { return mediaGroup_; }

    void setFileStartTime(Instant time) { fileStartTime_ = time; }
    void setOffset(double offset) { offset_ = offset; }
    void setFileTimeZone(const TimeZone& zone) { fileTimeZone_ = zone; }
    void setMediaGroup(std::shared_ptr<MediaGroup> group) { mediaGroup_ = std::move(group); }

    // What the document stored with the asset that Wakeline does not use itself (a bookmark made
    // elsewhere, keys of a newer version), written back as it was read.
    const QByteArray& bookmarkData() const { return bookmarkData_; }
    void setBookmarkData(const QByteArray& data) { bookmarkData_ = data; }
    const UnknownKeys& unknownKeys() const { return unknownKeys_; }
    void setUnknownKeys(const UnknownKeys& keys) { unknownKeys_ = keys; }

    // The wall-clock reading moved by its zone's distance from GMT at that reading, plus the offset.
    Instant startTime() const {
        return fileStartTime_ - fileTimeZone_.secondsFromGMT(fileStartTime_) + offset_;
    }
    Instant endTime() const { return startTime() + duration_; }

protected:
    MediaAsset(QUrl url, Instant fileStartTime, double duration, double offset, TimeZone fileTimeZone,
               std::shared_ptr<MediaGroup> mediaGroup)
        : url_(std::move(url)), fileStartTime_(fileStartTime), duration_(duration), offset_(offset),
          fileTimeZone_(std::move(fileTimeZone)), mediaGroup_(std::move(mediaGroup)) {}

private:
    QUrl url_;
    Instant fileStartTime_;
    double duration_;
    double offset_;
    TimeZone fileTimeZone_;
    std::shared_ptr<MediaGroup> mediaGroup_;
    QByteArray bookmarkData_;
    UnknownKeys unknownKeys_;
};

#pragma once

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/LogMetadata.h"
#include "core/TimeZone.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QUuid>
#include <memory>
#include <optional>

class Boat;

// One imported log of one boat: its converted HDF5 file, the loaded data, the user's time offset
// and zone, and the races, events and legs the converter found.
class LogFileAsset {
public:
    // Opens a converted log file. `fileTimeZone` is the zone the document stored for the asset;
    // without one (a fresh import) the zone the converter recorded is used, else UTC.
    // None, with the warnings printed and a short reason for the user in `failure`, when the file
    // or its data cannot be read or cannot be trusted (see DoubleArrayBoatLog::load).
    // The HDF5 work runs on SerialQueue::hdf(); callable from any thread.
    static std::shared_ptr<LogFileAsset> open(const QString& path, std::shared_ptr<Boat> boat, QUuid uuid,
                                              double offset, std::optional<TimeZone> fileTimeZone,
                                              QString* failure = nullptr);

    const std::shared_ptr<Boat>& boat() const { return boat_; }
    const QUuid& uuid() const { return uuid_; }
    const QUrl& url() const { return url_; }
    double offset() const { return offset_; }
    const TimeZone& fileTimeZone() const { return fileTimeZone_; }
    std::optional<Instant> fileStartTime() const { return fileStartTime_; }
    std::optional<Instant> fileEndTime() const { return fileEndTime_; }
    const std::shared_ptr<DoubleArrayBoatLog>& boatLog() const { return boatLog_; }
    const std::optional<FileMetadata>& fileMetadata() const { return fileMetadata_; }
    const std::optional<SegmentMetadata>& metadata() const { return metadata_; }
    const std::optional<ParseContext>& parseContext() const { return parseContext_; }
    const QByteArray& parseContextData() const { return parseContextData_; }

    // Where the log's file now lies, after a save moved it into a package.
    void setUrl(const QUrl& url) { url_ = url; }
    // Both move the log on the event axis at once.
    void setOffset(double offset);
    void setFileTimeZone(const TimeZone& zone);

    // The zone the converter recorded, when it recorded a valid one.
    std::optional<TimeZone> parseContextTimeZone() const;

private:
    LogFileAsset() = default;
    void retime();
    void updateFileTimes();

    std::shared_ptr<Boat> boat_;
    QUuid uuid_;
    QUrl url_;
    double offset_ = 0.0;
    TimeZone fileTimeZone_;
    std::optional<Instant> fileStartTime_;
    std::optional<Instant> fileEndTime_;
    std::shared_ptr<DoubleArrayBoatLog> boatLog_;
    std::optional<FileMetadata> fileMetadata_;
    std::optional<SegmentMetadata> metadata_;
    std::optional<ParseContext> parseContext_;
    QByteArray parseContextData_;
};

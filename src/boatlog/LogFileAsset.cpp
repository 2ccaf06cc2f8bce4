#include "boatlog/LogFileAsset.h"

#include "core/Diagnostics.h"
#include "core/SerialQueue.h"

#include <algorithm>

namespace {

// A metadata object: the JSON text stored one byte per element of the integer dataset
// `/NAME/values`. None when the root group does not list NAME or the dataset cannot be read, and
// none with the reason in `failure` when an element is not a byte.
std::optional<std::string> readMetadataObject(const Hdf5File& file, const std::vector<std::string>& rootNames,
                                              const std::string& name, std::string& failure) {
    if (std::find(rootNames.begin(), rootNames.end(), name) == rootNames.end())
        return std::nullopt;
    const std::string path = "/" + name + "/values";
    auto elements = file.readIntegers(path);
    if (!elements)
        return std::nullopt;
    std::string bytes;
    bytes.reserve(elements->size());
    for (std::int64_t element : *elements) {
        if (element < 0 || element > 255) {
            failure = "the metadata " + path + " holds " + std::to_string(element) + " where a byte belongs";
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(element));
    }
    return bytes;
}

} // namespace

std::shared_ptr<LogFileAsset> LogFileAsset::open(const QString& path, std::shared_ptr<Boat> boat, QUuid uuid,
                                                 double offset, std::optional<TimeZone> fileTimeZone,
                                                 QString* failure) {
    std::shared_ptr<LogFileAsset> asset(new LogFileAsset());
    asset->boat_ = std::move(boat);
    asset->uuid_ = uuid;
    asset->url_ = QUrl::fromLocalFile(path);
    asset->offset_ = offset;
    std::string reason;

    SerialQueue::hdf().sync([&] {
        const std::string url = asset->url_.toString().toStdString();
        auto refuse = [&](const std::string& why) {
            Diagnostics::printLine("Warning: " + why);
            reason = why;
        };
        auto file = Hdf5File::openReadOnly(path.toStdString());
        if (!file) {
            Diagnostics::printLine("Warning: could not open HDF5 file at " + url);
            reason = "not a readable HDF5 file";
            return;
        }
        std::vector<std::string> names = file->rootNames().value_or(std::vector<std::string>{});

        std::string metadataFailure;
        auto meta = readMetadataObject(*file, names, "meta", metadataFailure);
        if (!metadataFailure.empty())
            return refuse(metadataFailure);
        if (meta)
            asset->fileMetadata_ = decodeFileMetadata(*meta);
        if (asset->fileMetadata_ && asset->fileMetadata_->segmentCount.value_or(0) > 1)
            Diagnostics::printLine("Warning: file contains multiple segments, only reading first segment");

        auto context = readMetadataObject(*file, names, "parseContext", metadataFailure);
        if (!metadataFailure.empty())
            return refuse(metadataFailure);
        if (context) {
            asset->parseContextData_ = QByteArray::fromStdString(*context);
            asset->parseContext_ = decodeParseContext(*context);
            if (auto zone = asset->parseContextTimeZone())
                Diagnostics::printLine("Parsed log data timestamps in timezone " + zone->description());
        }
        asset->fileTimeZone_ =
            fileTimeZone ? *fileTimeZone : asset->parseContextTimeZone().value_or(TimeZone::utc());

        auto log =
            DoubleArrayBoatLog::load(*file, "log0", asset->boat_, asset->fileTimeZone_, offset, &reason);
        if (!log)
            return;
        if (log->rowSize() < 1) {
            Diagnostics::printLine("Warning: log file at " + url + " has no columns");
            reason = "the log has no columns";
            return;
        }
        auto segment = readMetadataObject(*file, names, "meta0", metadataFailure);
        if (!metadataFailure.empty())
            return refuse(metadataFailure);
        if (segment) {
            asset->metadata_ = decodeSegmentMetadata(*segment);
            if (!asset->metadata_)
                Diagnostics::printLine("Warning: segment metadata of " + url +
                                       " is not valid JSON, ignoring it");
            else if (asset->metadata_->skippedRecords > 0)
                Diagnostics::printLine("Warning: skipped " +
                                       std::to_string(asset->metadata_->skippedRecords) +
                                       " segment metadata records without a time or type");
        }
        asset->boatLog_ = std::move(log);
    });

    if (!asset->boatLog_) {
        if (failure)
            *failure = QString::fromStdString(reason.empty() ? "the log could not be read" : reason);
        return nullptr;
    }
    asset->updateFileTimes();
    return asset;
}

std::optional<TimeZone> LogFileAsset::parseContextTimeZone() const {
    if (!parseContext_ || !parseContext_->utcOffset)
        return std::nullopt;
    std::int64_t minutes = *parseContext_->utcOffset;
    if (minutes < -18 * 60 || minutes > 18 * 60)
        return std::nullopt;
    return TimeZone::fromSecondsFromGMT(static_cast<int>(minutes * 60));
}

void LogFileAsset::setOffset(double offset) {
    offset_ = offset;
    retime();
}

void LogFileAsset::setFileTimeZone(const TimeZone& zone) {
    fileTimeZone_ = zone;
    retime();
}

void LogFileAsset::retime() {
    boatLog_->retime(fileTimeZone_, offset_);
    updateFileTimes();
}

void LogFileAsset::updateFileTimes() {
    fileStartTime_.reset();
    fileEndTime_.reset();
    if (auto last = boatLog_->lastIndex()) {
        fileStartTime_ = boatLog_->startIndex().time;
        fileEndTime_ = last->time;
    }
}

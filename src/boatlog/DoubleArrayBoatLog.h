#pragma once

#include "boatlog/BoatLog.h"
#include "boatlog/MetricColumnMap.h"
#include "boatlog/hdf5/Hdf5File.h"
#include "core/TimeZone.h"

#include <memory>
#include <string>

// The boat log held in memory as one flat row-major array of doubles, read whole from the
// `axis0`, `axis1` and `block0_values` datasets of a converted log file.
class DoubleArrayBoatLog final : public BoatLog {
public:
    DoubleArrayBoatLog(std::shared_ptr<Boat> boat, std::vector<std::string> columnNames,
                       DoubleArray fileTimeIntervalIndex, DoubleArray values, const TimeZone& timeZone,
                       double offset);

    // Reads group `group` of an open file. None, with the warning printed, when a dataset is
    // missing or unreadable. Runs on SerialQueue::hdf().
    static std::shared_ptr<DoubleArrayBoatLog> load(const Hdf5File& file, const std::string& group,
                                                    std::shared_ptr<Boat> boat, const TimeZone& timeZone,
                                                    double offset);

    // Recomputes the event-axis times: the zone's offset is taken once, at the first record, and
    // applied to the whole log, so a log across a daylight-saving change keeps one offset.
    void retime(const TimeZone& timeZone, double offset);

    std::shared_ptr<Boat> boat() const override { return boat_; }
    BoatLogIndex startIndex() const override;
    std::optional<BoatLogIndex> lastIndex() const override;
    BoatLogIndex indexAfter(BoatLogIndex i) const override;
    BoatLogIndex indexBefore(BoatLogIndex i) const override;
    std::optional<BoatLogIndex> firstIndexAfter(Instant t) const override;
    std::optional<Measurement> value(BoatLogIndex i, const BoatMetric& metric) const override;
    std::vector<BoatMetric> availableMetrics() const override { return metricsMapping_.metrics(); }

    std::int64_t recordCount() const { return static_cast<std::int64_t>(offsetTimeIndex_.size()); }
    std::int64_t rowSize() const { return rowSize_; }
    const std::vector<std::string>& columnNames() const { return columnNames_; }
    const DoubleArray& fileTimeIntervalIndex() const { return fileTimeIntervalIndex_; }
    const std::vector<Instant>& offsetTimeIndex() const { return offsetTimeIndex_; }
    const DoubleArray& values() const { return values_; }
    const MetricColumnMap& metricsMapping() const { return metricsMapping_; }

private:
    std::shared_ptr<Boat> boat_;
    DoubleArray fileTimeIntervalIndex_;
    DoubleArray values_;
    MetricColumnMap metricsMapping_;
    std::int64_t rowSize_ = 0;
    std::vector<Instant> offsetTimeIndex_;
    std::vector<std::string> columnNames_;
    // Records per second over the whole log: where a record of a given time probably lies.
    double recordsPerSecond_ = 0.0;
};

#pragma once

#include "boatlog/BoatLog.h"
#include "boatlog/MetricColumnMap.h"
#include "boatlog/hdf5/Hdf5File.h"
#include "core/TimeZone.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The boat log held in memory as one flat row-major array of doubles, read whole from the
// `axis0`, `axis1` and `blockN_values` datasets of a converted log file.
class DoubleArrayBoatLog final : public BoatLog {
public:
    // Where the columns of a log group lie in its file. pandas writes one block of values per
    // dtype (floats, integers, booleans), each with the names of its columns in `blockN_items`;
    // a group without item lists holds one block of every column in order. Rows are records:
    // rank 2 (records × columns), or rank 1 with the rows one after another. Shared with the
    // converter, which reads converted logs as one of its inputs.
    class FileLayout {
    public:
        // None, with the reason in `failure`, when a dataset is missing or the datasets do not fit
        // together: a block's items naming a column the table lacks, a block of text, values of
        // another shape than records × columns. Reads the names and the times, not the values.
        static std::optional<FileLayout> read(const Hdf5File& file, const std::string& group,
                                              std::string& failure);

        const std::vector<std::string>& columnNames() const { return columnNames_; }
        const DoubleArray& times() const { return times_; }
        DoubleArray takeTimes() { return std::move(times_); }
        std::uint64_t recordCount() const { return recordCount_; }
        std::uint64_t columnCount() const { return columnNames_.size(); }

        // Rows [first, first + count) of every column, row-major, into `out` (count × columns),
        // integers and booleans as doubles. False when the file cannot be read.
        bool readRows(const Hdf5File& file, std::uint64_t first, std::uint64_t count, double* out) const;
        // The whole table, row-major; none when it cannot be read or held.
        std::optional<DoubleArray> readValues(const Hdf5File& file) const;

    private:
        struct Block {
            std::string path;
            std::vector<std::size_t> columns; // the table's column of each of the block's columns
            bool flat = false;                // rank 1: the rows one after another
        };
        // One block holding every column in order: read straight into the table.
        bool direct() const;

        std::vector<std::string> columnNames_;
        DoubleArray times_;
        std::uint64_t recordCount_ = 0;
        std::vector<Block> blocks_;
    };

    DoubleArrayBoatLog(std::shared_ptr<Boat> boat, std::vector<std::string> columnNames,
                       DoubleArray fileTimeIntervalIndex, DoubleArray values, const TimeZone& timeZone,
                       double offset);

    // Reads group `group` of an open file. None, with the warning printed and the reason in
    // `failure`, when a dataset is missing or unreadable, or the log's shape cannot be trusted
    // (see FileLayout; and a time that is not a number or earlier than the one before it, which
    // the binary search of the record times cannot have). Runs on SerialQueue::hdf().
    static std::shared_ptr<DoubleArrayBoatLog> load(const Hdf5File& file, const std::string& group,
                                                    std::shared_ptr<Boat> boat, const TimeZone& timeZone,
                                                    double offset, std::string* failure = nullptr);

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

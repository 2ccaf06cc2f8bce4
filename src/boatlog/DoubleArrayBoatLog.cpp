#include "boatlog/DoubleArrayBoatLog.h"

#include "core/DateFormat.h"
#include "core/Diagnostics.h"
#include "core/FatalError.h"
#include "core/NumberText.h"

#include <algorithm>
#include <chrono>
#include <cmath>

DoubleArrayBoatLog::DoubleArrayBoatLog(std::shared_ptr<Boat> boat, std::vector<std::string> columnNames,
                                       DoubleArray fileTimeIntervalIndex, DoubleArray values,
                                       const TimeZone& timeZone, double offset)
    : boat_(std::move(boat)), fileTimeIntervalIndex_(std::move(fileTimeIntervalIndex)),
      values_(std::move(values)), rowSize_(static_cast<std::int64_t>(columnNames.size())),
      columnNames_(std::move(columnNames)) {
    // A name that occurs twice maps to its last column.
    for (std::size_t i = 0; i < columnNames_.size(); ++i)
        metricsMapping_.set(BoatMetric(columnNames_[i]), static_cast<std::int64_t>(i));
    retime(timeZone, offset);
}

std::shared_ptr<DoubleArrayBoatLog> DoubleArrayBoatLog::load(const Hdf5File& file, const std::string& group,
                                                             std::shared_ptr<Boat> boat,
                                                             const TimeZone& timeZone, double offset) {
    auto started = std::chrono::steady_clock::now();
    const std::string prefix = "/" + group + "/";
    auto names = file.readStrings(prefix + "axis0");
    if (!names) {
        Diagnostics::printLine("Warning: could not find dataset " + prefix + "axis0");
        return nullptr;
    }
    auto times = file.readDoubles(prefix + "axis1");
    if (!times) {
        Diagnostics::printLine("Warning: could not find dataset " + prefix + "axis1");
        return nullptr;
    }
    // Row-major records × columns; a flat array is taken as it stands.
    auto values = file.readDoubles(prefix + "block0_values", 1, 2);
    if (!values) {
        Diagnostics::printLine("Warning: could not find dataset " + prefix + "block0_values");
        return nullptr;
    }
    auto log =
        std::make_shared<DoubleArrayBoatLog>(std::move(boat), std::move(*names), std::move(times->values),
                                             std::move(values->values), timeZone, offset);

    double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::string line = "Loaded " + std::to_string(log->recordCount()) + " records from HDF5 logfile in " +
                       decimalText(elapsed) + " sec";
    if (auto last = log->lastIndex()) {
        DateFormat format("yyyy-MM-dd HH:mm:ss Z", TimeZone::utc());
        line += ", data ranging from " + format.format(log->startIndex().time) + " to " +
                format.format(last->time) + " (timezone: " + timeZone.description() +
                ", offset: " + decimalText(offset) + ")";
    }
    Diagnostics::printLine(line);
    return log;
}

void DoubleArrayBoatLog::retime(const TimeZone& timeZone, double offset) {
    offsetTimeIndex_.clear();
    recordsPerSecond_ = 0.0;
    if (fileTimeIntervalIndex_.empty())
        return;
    double g = timeZone.secondsFromGMT(Instant::fromUnix(fileTimeIntervalIndex_.front()));
    offsetTimeIndex_.reserve(fileTimeIntervalIndex_.size());
    for (double stamp : fileTimeIntervalIndex_)
        offsetTimeIndex_.push_back(Instant::fromUnix(stamp + offset - g));
    double span = offsetTimeIndex_.back() - offsetTimeIndex_.front();
    recordsPerSecond_ = span > 0.0 && std::isfinite(span) ? double(offsetTimeIndex_.size() - 1) / span : 0.0;
}

BoatLogIndex DoubleArrayBoatLog::startIndex() const {
    if (offsetTimeIndex_.empty())
        return {0, Instant::distantPast()};
    return {0, offsetTimeIndex_.front()};
}

std::optional<BoatLogIndex> DoubleArrayBoatLog::lastIndex() const {
    if (offsetTimeIndex_.empty())
        return std::nullopt;
    return BoatLogIndex{recordCount() - 1, offsetTimeIndex_.back()};
}

BoatLogIndex DoubleArrayBoatLog::indexAfter(BoatLogIndex i) const {
    std::int64_t next = i.index + 1;
    if (next < 0 || next > recordCount())
        fatalError("Bounds exceeded");
    if (next == recordCount())
        return {next, Instant::distantFuture()};
    return {next, offsetTimeIndex_[static_cast<std::size_t>(next)]};
}

BoatLogIndex DoubleArrayBoatLog::indexBefore(BoatLogIndex i) const {
    std::int64_t previous = i.index - 1;
    if (previous < 0 || previous >= recordCount())
        fatalError("Bounds exceeded");
    return {previous, offsetTimeIndex_[static_cast<std::size_t>(previous)]};
}

std::optional<BoatLogIndex> DoubleArrayBoatLog::firstIndexAfter(Instant t) const {
    const std::size_t count = offsetTimeIndex_.size();
    if (count == 0 || t < offsetTimeIndex_.front() || t > offsetTimeIndex_.back())
        return std::nullopt;
    // The upper bound: the first record strictly later than t. Converted logs lie on a regular
    // grid, so the record's number is nearly proportional to its time: start there and gallop to
    // a bracket before the binary search. The answer is the plain binary search's; a regular log
    // costs one or two reads of the time index instead of twenty, every view of every tick.
    double estimate = (t - offsetTimeIndex_.front()) * recordsPerSecond_;
    std::size_t guess = estimate > 0.0 ? static_cast<std::size_t>(std::min(estimate, double(count - 1))) : 0;
    std::size_t low;  // a record at or before t, or 0
    std::size_t high; // a record after t, or count
    if (t < offsetTimeIndex_[guess]) {
        high = guess;
        std::size_t step = 1;
        low = guess;
        while (low > 0 && t < offsetTimeIndex_[low]) {
            high = low;
            low = low > step ? low - step : 0;
            step *= 2;
        }
    } else {
        low = guess;
        std::size_t step = 1;
        high = guess + 1;
        while (high < count && !(t < offsetTimeIndex_[high])) {
            low = high;
            high = std::min(count, high + step);
            step *= 2;
        }
    }
    while (low != high) {
        std::size_t mid = low + (high - low) / 2;
        if (t < offsetTimeIndex_[mid])
            high = mid;
        else
            low = mid + 1;
    }
    if (low < count)
        return BoatLogIndex{static_cast<std::int64_t>(low), offsetTimeIndex_[low]};
    return std::nullopt;
}

std::optional<Measurement> DoubleArrayBoatLog::value(BoatLogIndex i, const BoatMetric& metric) const {
    std::int64_t column = metricsMapping_.column(metric);
    if (column == MetricColumnMap::none)
        return std::nullopt;
    std::int64_t p;
    if (__builtin_mul_overflow(i.index, rowSize_, &p) || __builtin_add_overflow(p, column, &p))
        fatalError("Bounds exceeded");
    if (p < 0 || static_cast<std::uint64_t>(p) >= values_.size())
        fatalError("Bounds exceeded");
    double v = values_[static_cast<std::size_t>(p)];
    if (std::isnan(v))
        return std::nullopt;
    return Measurement(v, metric.unit());
}

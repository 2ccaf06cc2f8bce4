#include "boatlog/DoubleArrayBoatLog.h"

#include "core/DateFormat.h"
#include "core/Diagnostics.h"
#include "core/FatalError.h"
#include "core/NumberText.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <unordered_map>

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

namespace {

// Rows read per slab when the blocks are gathered into one table: a few megabytes, so that no
// block is held twice.
constexpr std::uint64_t slabBytes = 4 << 20;

// pandas writes an empty array as a one-element stand-in that carries the real shape in
// attributes; only such stand-ins carry both.
bool isEmptyStandIn(const Hdf5File& file, const std::string& path) {
    return file.hasAttribute(path, "value_type") && file.hasAttribute(path, "shape");
}

// pandas stores a DatetimeIndex as nanoseconds since 1970 (in UTC when it has a zone), and its
// missing time (NaT) as the smallest integer.
std::optional<DoubleArray> readDatetimes(const Hdf5File& file, const std::string& path) {
    auto info = file.info(path);
    if (!info || info->shape.size() != 1)
        return std::nullopt;
    if (info->shape[0] == 1 && isEmptyStandIn(file, path))
        return DoubleArray();
    auto stamps = file.readIntegers(path);
    if (!stamps)
        return std::nullopt;
    DoubleArray seconds(stamps->size());
    constexpr std::int64_t perSecond = 1'000'000'000;
    for (std::size_t i = 0; i < stamps->size(); ++i) {
        std::int64_t ns = (*stamps)[i];
        seconds[i] = ns == std::numeric_limits<std::int64_t>::min()
                         ? NAN
                         : double(ns / perSecond) + double(ns % perSecond) / double(perSecond);
    }
    return seconds;
}

std::string counted(std::uint64_t n, const char* noun) {
    return std::to_string(n) + " " + noun + (n == 1 ? "" : "s");
}

std::string quoted(const std::string& name) {
    return "\"" + name + "\"";
}

// The record times must be numbers that never go backwards: the binary search of firstIndexAfter
// answers wrong records, or none, between times out of order. Equal neighbours are fine.
std::optional<std::string> timeProblem(const DoubleArray& times) {
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (std::isnan(times[i]))
            return "the time of record " + std::to_string(i) + " is not a number";
        if (std::isinf(times[i]))
            return "the time of record " + std::to_string(i) + " is infinite";
        if (i > 0 && times[i] < times[i - 1])
            return "the times go backwards: record " + std::to_string(i) + " (" + shortestText(times[i]) +
                   ") is earlier than record " + std::to_string(i - 1) + " (" + shortestText(times[i - 1]) +
                   ")";
    }
    return std::nullopt;
}

} // namespace

std::optional<DoubleArrayBoatLog::FileLayout>
DoubleArrayBoatLog::FileLayout::read(const Hdf5File& file, const std::string& group, std::string& failure) {
    const std::string prefix = "/" + group + "/";
    auto refuse = [&](std::string reason) -> std::optional<FileLayout> {
        failure = std::move(reason);
        return std::nullopt;
    };
    auto missing = [&](const std::string& name) { return refuse("could not find dataset " + prefix + name); };
    auto blockPath = [&](std::size_t block, const char* part) {
        return prefix + "block" + std::to_string(block) + part;
    };
    FileLayout layout;

    // A damaged header can claim any number of names; more than the file has bytes cannot be.
    auto namesInfo = file.info(prefix + "axis0");
    auto fileSize = file.fileSize();
    if (!namesInfo || namesInfo->shape.size() != 1 || !fileSize || namesInfo->shape[0] > *fileSize)
        return missing("axis0");
    auto names = file.readStrings(prefix + "axis0");
    if (!names)
        return missing("axis0");
    layout.columnNames_ = std::move(*names);

    // Attributes are consulted only where pandas' own storage of times may be at hand: decoding
    // them is one more way for a damaged file into the library, which plain logs never take.
    const std::string timesPath = prefix + "axis1";
    auto timesInfo = file.info(timesPath);
    if (!timesInfo)
        return missing("axis1");
    if (timesInfo->integer && file.readStringAttribute(timesPath, "kind") == "datetime64") {
        auto stamps = readDatetimes(file, timesPath);
        if (!stamps)
            return missing("axis1");
        layout.times_ = std::move(*stamps);
    } else if (!(timesInfo->shape == std::vector<std::uint64_t>{1} && isEmptyStandIn(file, timesPath))) {
        auto times = file.readDoubles(timesPath);
        if (!times)
            return missing("axis1");
        layout.times_ = std::move(times->values);
    }
    layout.recordCount_ = layout.times_.size();
    const std::size_t columns = layout.columnNames_.size();

    std::size_t blockCount = 0;
    while (file.exists(blockPath(blockCount, "_values")))
        ++blockCount;
    if (blockCount == 0 || file.exists(blockPath(blockCount, "_items")))
        return missing("block" + std::to_string(blockCount) + "_values");

    if (!file.exists(blockPath(0, "_items"))) {
        // The plain layout: one block of every column in order.
        if (blockCount > 1)
            return refuse("the values lie in " + std::to_string(blockCount) +
                          " blocks without the names of their columns (" + blockPath(0, "_items") + ")");
        Block block{blockPath(0, "_values"), std::vector<std::size_t>(columns)};
        for (std::size_t c = 0; c < columns; ++c)
            block.columns[c] = c;
        layout.blocks_.push_back(std::move(block));
    } else {
        // The k-th column of a name among the blocks is the k-th column of that name in the table:
        // pandas keeps each block's columns in table order, and duplicate names are legal.
        std::unordered_map<std::string, std::vector<std::size_t>> columnsNamed;
        for (std::size_t c = 0; c < columns; ++c)
            columnsNamed[layout.columnNames_[c]].push_back(c);
        std::unordered_map<std::string, std::size_t> taken;
        std::vector<bool> placed(columns, false);
        for (std::size_t b = 0; b < blockCount; ++b) {
            const std::string itemsPath = blockPath(b, "_items");
            auto itemsInfo = file.info(itemsPath);
            if (!itemsInfo || itemsInfo->shape.size() != 1 || itemsInfo->shape[0] > *fileSize)
                return missing("block" + std::to_string(b) + "_items");
            auto items = file.readStrings(itemsPath);
            if (!items)
                return missing("block" + std::to_string(b) + "_items");
            Block block{blockPath(b, "_values"), {}};
            for (const std::string& name : *items) {
                auto found = columnsNamed.find(name);
                if (found == columnsNamed.end())
                    return refuse(itemsPath + " names a column " + quoted(name) + " that " + prefix +
                                  "axis0 does not have");
                std::size_t& k = taken[name];
                if (k == found->second.size())
                    return refuse("the blocks hold more columns named " + quoted(name) + " than " + prefix +
                                  "axis0 has");
                placed[found->second[k]] = true;
                block.columns.push_back(found->second[k++]);
            }
            layout.blocks_.push_back(std::move(block));
        }
        for (std::size_t c = 0; c < columns; ++c)
            if (!placed[c])
                return refuse("column " + quoted(layout.columnNames_[c]) + " has no values in any block");
    }

    const bool plain = layout.blocks_.size() == 1;
    for (Block& block : layout.blocks_) {
        auto info = file.info(block.path);
        if (!info)
            return missing(block.path.substr(prefix.size()));
        const std::string what = plain ? "the values" : "the values in " + block.path;
        const std::string holder =
            block.columns.empty() ? what : "column " + quoted(layout.columnNames_[block.columns.front()]);
        if (info->kind == Hdf5File::ElementKind::text)
            return refuse(holder + " holds text or objects, not numbers");
        if (info->kind == Hdf5File::ElementKind::other)
            return refuse(holder + " holds values that are not numbers");
        if (!file.storesData(block.path))
            return refuse(what + " are not stored in the file");
        // Without records there is nothing to read, whatever pandas wrote to stand for it.
        if (layout.recordCount_ == 0)
            continue;
        const std::uint64_t records = layout.recordCount_;
        const std::uint64_t width = block.columns.size();
        const std::string needs =
            " where " + counted(records, "record") + " × " + counted(width, "column") + " need ";
        std::uint64_t need = 0;
        if (__builtin_mul_overflow(records, width, &need))
            return refuse(what + " cannot hold " + counted(records, "record") + " × " +
                          counted(width, "column"));
        const auto& shape = info->shape;
        std::uint64_t held = 0;
        bool heldOverflows = false;
        if (shape.size() == 1)
            held = shape[0];
        else if (shape.size() == 2)
            heldOverflows = __builtin_mul_overflow(shape[0], shape[1], &held);
        else
            return refuse(what + " have " + std::to_string(shape.size()) +
                          " dimensions where a table has two");
        if (shape.size() == 2 && shape[1] == width && shape[0] != records)
            return refuse(what + " hold " + counted(shape[0], "row") + " where " + prefix + "axis1 holds " +
                          counted(records, "time"));
        if (heldOverflows || held != need)
            return refuse(what + " hold " + (heldOverflows ? "too many numbers" : counted(held, "number")) +
                          needs + std::to_string(need));
        if (shape.size() == 2 && shape[0] != records)
            return refuse(what + " are laid out " + std::to_string(shape[0]) + " × " +
                          std::to_string(shape[1]) + needs + std::to_string(records) + " × " +
                          std::to_string(width));
        block.flat = shape.size() == 1;
    }
    return layout;
}

bool DoubleArrayBoatLog::FileLayout::direct() const {
    if (blocks_.size() != 1 || blocks_[0].columns.size() != columnNames_.size())
        return false;
    for (std::size_t c = 0; c < blocks_[0].columns.size(); ++c)
        if (blocks_[0].columns[c] != c)
            return false;
    return true;
}

bool DoubleArrayBoatLog::FileLayout::readRows(const Hdf5File& file, std::uint64_t first, std::uint64_t count,
                                              double* out) const {
    if (first > recordCount_ || count > recordCount_ - first)
        return false;
    const std::uint64_t columns = columnNames_.size();
    if (count == 0 || columns == 0)
        return true;
    if (direct()) {
        const Block& block = blocks_[0];
        return block.flat ? file.readDoubleRows(block.path, first * columns, count * columns, out)
                          : file.readDoubleRows(block.path, first, count, out);
    }
    std::vector<double> slab;
    for (const Block& block : blocks_) {
        const std::uint64_t width = block.columns.size();
        if (width == 0)
            continue;
        slab.resize(count * width);
        bool read = block.flat ? file.readDoubleRows(block.path, first * width, count * width, slab.data())
                               : file.readDoubleRows(block.path, first, count, slab.data());
        if (!read)
            return false;
        for (std::uint64_t r = 0; r < count; ++r) {
            const double* from = slab.data() + r * width;
            double* row = out + r * columns;
            for (std::uint64_t i = 0; i < width; ++i)
                row[block.columns[i]] = from[i];
        }
    }
    return true;
}

std::optional<DoubleArray> DoubleArrayBoatLog::FileLayout::readValues(const Hdf5File& file) const {
    const std::uint64_t columns = columnNames_.size();
    std::uint64_t total = 0;
    if (__builtin_mul_overflow(recordCount_, columns, &total))
        return std::nullopt;
    if (total == 0)
        return DoubleArray();
    if (direct()) {
        // The common case, a converted log: one read straight into the table.
        auto data = file.readDoubles(blocks_[0].path, 1, 2);
        if (!data || data->values.size() != total)
            return std::nullopt;
        return std::move(data->values);
    }
    DoubleArray values;
    try {
        values.resize(total);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    } catch (const std::length_error&) {
        return std::nullopt;
    }
    const std::uint64_t slabRows = std::max<std::uint64_t>(1, slabBytes / (8 * columns));
    for (std::uint64_t first = 0; first < recordCount_; first += slabRows) {
        if (!readRows(file, first, std::min(slabRows, recordCount_ - first), values.data() + first * columns))
            return std::nullopt;
    }
    return values;
}

std::shared_ptr<DoubleArrayBoatLog> DoubleArrayBoatLog::load(const Hdf5File& file, const std::string& group,
                                                             std::shared_ptr<Boat> boat,
                                                             const TimeZone& timeZone, double offset,
                                                             std::string* failure) {
    auto started = std::chrono::steady_clock::now();
    auto refuse = [&](const std::string& reason) -> std::shared_ptr<DoubleArrayBoatLog> {
        Diagnostics::printLine("Warning: " + reason);
        if (failure)
            *failure = reason;
        return nullptr;
    };
    std::string reason;
    auto layout = FileLayout::read(file, group, reason);
    if (!layout)
        return refuse(reason);
    if (auto problem = timeProblem(layout->times()))
        return refuse(*problem);
    auto values = layout->readValues(file);
    if (!values)
        return refuse("could not read the values of /" + group);
    auto log = std::make_shared<DoubleArrayBoatLog>(
        std::move(boat), layout->columnNames(), layout->takeTimes(), std::move(*values), timeZone, offset);

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

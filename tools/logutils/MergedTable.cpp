#include "MergedTable.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace {
constexpr double missing = std::numeric_limits<double>::quiet_NaN();
} // namespace

TimeGrid::SortReport TimeGrid::sortRows(InputTable& table) {
    SortReport report;
    const std::size_t rows = table.rowCount();
    Values& times = table.times;
    bool sorted = std::is_sorted(times.begin(), times.end());
    if (!sorted) {
        report.wasUnsorted = true;
        std::vector<std::size_t> order(rows);
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return times[a] < times[b]; });
        // One column at a time, so that sorting needs one spare column of memory, not a table.
        Values moved(rows);
        auto permute = [&](Values& values) {
            for (std::size_t i = 0; i < rows; ++i)
                moved[i] = values[order[i]];
            values.swap(moved);
        };
        permute(times);
        for (auto& column : table.columns)
            permute(column.values);
    }
    // Equal times: one row, each column keeping the last value the rows wrote.
    if (std::adjacent_find(times.begin(), times.end()) == times.end())
        return report;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < rows;) {
        std::size_t j = i + 1;
        while (j < rows && times[j] == times[i])
            ++j;
        times[kept] = times[i];
        for (auto& column : table.columns) {
            double value = column.values[i];
            for (std::size_t k = i + 1; k < j; ++k)
                if (!std::isnan(column.values[k]))
                    value = column.values[k];
            column.values[kept] = value;
        }
        report.duplicates += static_cast<std::int64_t>(j - i - 1);
        ++kept;
        i = j;
    }
    times.resize(kept);
    for (auto& column : table.columns)
        column.values.resize(kept);
    return report;
}

std::optional<double> TimeGrid::sampleRate(const InputTable& table) {
    if (table.rowCount() < 2)
        return std::nullopt;
    std::vector<double> intervals(table.rowCount() - 1);
    for (std::size_t i = 1; i < table.rowCount(); ++i)
        intervals[i - 1] = table.times[i] - table.times[i - 1];
    auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    if (!(*middle > 0.0))
        return std::nullopt;
    return 1.0 / *middle;
}

double TimeGrid::roundedRate(double rate) {
    static constexpr double rates[] = {1, 2, 4, 5, 10, 20, 25};
    double best = rates[0];
    for (double r : rates)
        if (std::fabs(std::log(rate / r)) < std::fabs(std::log(rate / best)))
            best = r;
    return best;
}

TimeGrid::Grid TimeGrid::makeGrid(const std::vector<const InputTable*>& inputs, double rate) {
    // The stretches of each input, then their union.
    std::vector<std::pair<double, double>> stretches;
    for (const InputTable* table : inputs) {
        const Values& t = table->times;
        for (std::size_t i = 0; i < t.size();) {
            std::size_t j = i;
            while (j + 1 < t.size() && t[j + 1] - t[j] <= maximumGap)
                ++j;
            stretches.emplace_back(t[i], t[j]);
            i = j + 1;
        }
    }
    std::sort(stretches.begin(), stretches.end());
    std::vector<std::pair<double, double>> joined;
    for (const auto& s : stretches) {
        if (!joined.empty() && s.first - joined.back().second <= maximumGap)
            joined.back().second = std::max(joined.back().second, s.second);
        else
            joined.push_back(s);
    }
    Grid grid;
    std::int64_t total = 0;
    for (const auto& [start, end] : joined)
        total += std::max<std::int64_t>(
            0, static_cast<std::int64_t>(std::floor((end + sameInstant) * rate)) -
                   static_cast<std::int64_t>(std::ceil((start - sameInstant) * rate)) + 1);
    grid.times.reserve(static_cast<std::size_t>(total));
    for (const auto& [start, end] : joined) {
        auto first = static_cast<std::int64_t>(std::ceil((start - sameInstant) * rate));
        auto last = static_cast<std::int64_t>(std::floor((end + sameInstant) * rate));
        if (first > last)
            continue;
        ++grid.spans;
        for (std::int64_t k = first; k <= last; ++k)
            grid.times.push_back(static_cast<double>(k) / rate);
    }
    return grid;
}

void MergedTable::addSource(const std::string& name, const InputTable& table, const Values& values,
                            bool circular) {
    auto found = std::find(names_.begin(), names_.end(), name);
    std::size_t index = static_cast<std::size_t>(found - names_.begin());
    if (found == names_.end()) {
        names_.push_back(name);
        sources_.emplace_back();
    }
    auto known = std::find_if(tables_.begin(), tables_.end(),
                              [&](const Table& t) { return t.times == table.times.data(); });
    std::size_t tableIndex = static_cast<std::size_t>(known - tables_.begin());
    if (known == tables_.end()) {
        tables_.emplace_back();
        tables_.back().times = table.times.data();
        tables_.back().size = table.times.size();
    }
    Source source{tableIndex, values.data(), circular, false};
    if (circular)
        source.signedAngles = std::any_of(values.begin(), values.end(), [](double v) { return v < 0.0; });
    sources_[index].push_back(source);
}

void MergedTable::plan(Table& table, const Values& grid, std::uint64_t first, std::uint64_t count) {
    table.right.resize(count);
    table.weight.resize(count);
    table.kind.resize(count);
    const double* times = table.times;
    std::size_t r = table.cursor;
    for (std::uint64_t i = 0; i < count; ++i) {
        const double t = grid[first + i];
        while (r < table.size && times[r] < t - TimeGrid::sameInstant)
            ++r;
        table.right[i] = r;
        if (r < table.size && times[r] <= t + TimeGrid::sameInstant) {
            table.kind[i] = exact;
            table.weight[i] = 0.0;
        } else if (r > 0 && r < table.size && times[r] - times[r - 1] <= TimeGrid::maximumGap) {
            table.kind[i] = between;
            table.weight[i] = (t - times[r - 1]) / (times[r] - times[r - 1]);
        } else {
            table.kind[i] = outside;
        }
    }
    table.cursor = r;
}

double MergedTable::blend(const Source& s, double left, double right, double w) const {
    if (!s.circular)
        return left + w * (right - left);
    // The short way round, in the convention the column is written in.
    double d = right - left;
    d -= 360.0 * std::nearbyint(d / 360.0);
    double v = left + w * d;
    if (s.signedAngles) {
        if (v <= -180.0)
            v += 360.0;
        else if (v > 180.0)
            v -= 360.0;
    } else {
        if (v < 0.0)
            v += 360.0;
        else if (v >= 360.0)
            v -= 360.0;
    }
    return v;
}

double MergedTable::sample(Source& s, double t) const {
    const Table& table = tables_[s.table];
    const double* times = table.times;
    // Move to the first real sample not before t, remembering the last one before it.
    while (s.next < table.size &&
           (times[s.next] < t - TimeGrid::sameInstant || std::isnan(s.values[s.next]))) {
        if (!std::isnan(s.values[s.next]))
            s.last = static_cast<std::ptrdiff_t>(s.next);
        ++s.next;
    }
    if (s.next == table.size)
        return missing;
    const double right = s.values[s.next];
    if (times[s.next] <= t + TimeGrid::sameInstant)
        return right;
    if (s.last < 0)
        return missing;
    const double t0 = times[s.last], t1 = times[s.next];
    if (t1 - t0 > TimeGrid::maximumGap)
        return missing;
    return blend(s, s.values[s.last], right, (t - t0) / (t1 - t0));
}

void MergedTable::fill(const Values& grid, std::uint64_t first, std::uint64_t count, double* out) {
    for (auto& table : tables_)
        plan(table, grid, first, count);
    const std::size_t columns = names_.size();
    // Column by column within blocks of rows small enough that the block stays in cache.
    constexpr std::uint64_t blockRows = 256;
    std::vector<char> contiguous(tables_.size());
    for (std::uint64_t block = 0; block < count; block += blockRows) {
        const std::uint64_t blockEnd = std::min(count, block + blockRows);
        // A table whose rows fall on the grid times of the whole block, one after another, as
        // with a single input at its own rate: its columns are copied, not interpolated.
        for (std::size_t t = 0; t < tables_.size(); ++t) {
            const Table& table = tables_[t];
            bool rowByRow = true;
            for (std::uint64_t i = block; i < blockEnd && rowByRow; ++i)
                rowByRow = table.kind[i] == exact && table.right[i] == table.right[block] + (i - block);
            contiguous[t] = rowByRow;
        }
        for (std::size_t c = 0; c < columns; ++c) {
            double* cell = out + block * columns + c;
            if (sources_[c].size() == 1 && contiguous[sources_[c].front().table]) {
                Source& source = sources_[c].front();
                const double* values = source.values + tables_[source.table].right[block];
                for (std::uint64_t i = block; i < blockEnd; ++i, cell += columns) {
                    double v = values[i - block];
                    *cell = std::isnan(v) ? sample(source, grid[first + i]) : v;
                }
                continue;
            }
            for (std::uint64_t i = block; i < blockEnd; ++i, cell += columns) {
                double v = missing;
                for (auto& source : sources_[c]) {
                    const Table& table = tables_[source.table];
                    const std::size_t r = table.right[i];
                    const unsigned char kind = table.kind[i];
                    if (kind == outside)
                        continue;
                    if (kind == exact) {
                        v = source.values[r];
                    } else {
                        const double left = source.values[r - 1], right = source.values[r];
                        const double w = table.weight[i];
                        v = source.circular ? blend(source, left, right, w) : left + w * (right - left);
                    }
                    // Neighbouring rows without this column's value: its own samples decide.
                    if (std::isnan(v))
                        v = sample(source, grid[first + i]);
                    if (!std::isnan(v))
                        break;
                }
                *cell = v;
            }
        }
    }
}

#include "MergedTable.h"

#include <algorithm>
#include <cmath>
#include <functional>
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
    Values intervals(table.rowCount() - 1); // every one written below, so not zeroed first
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
    // Grid times k / rate in [start, end], widened by sameInstant: [first, last] (first > last
    // when there is none).
    auto gridSteps = [rate](double start, double end) {
        return std::pair{static_cast<std::int64_t>(std::ceil((start - sameInstant) * rate)),
                         static_cast<std::int64_t>(std::floor((end + sameInstant) * rate))};
    };
    // The stretches of each input, then the union of those with a grid time. The samples of a
    // stretch without one keep rows of their own; they would add only empty rows to the grid.
    std::vector<std::pair<double, double>> stretches;
    Values lone;
    for (const InputTable* table : inputs) {
        const Values& t = table->times;
        for (std::size_t i = 0; i < t.size();) {
            std::size_t j = i;
            while (j + 1 < t.size() && t[j + 1] - t[j] <= maximumGap)
                ++j;
            const auto [first, last] = gridSteps(t[i], t[j]);
            if (first <= last)
                stretches.emplace_back(t[i], t[j]);
            else
                lone.insert(lone.end(), t.begin() + static_cast<std::ptrdiff_t>(i),
                            t.begin() + static_cast<std::ptrdiff_t>(j) + 1);
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
    for (const auto& [start, end] : joined) {
        const auto [first, last] = gridSteps(start, end);
        total += std::max<std::int64_t>(0, last - first + 1);
    }
    grid.times.reserve(static_cast<std::size_t>(total));
    for (const auto& [start, end] : joined) {
        const auto [first, last] = gridSteps(start, end);
        if (first > last)
            continue;
        ++grid.spans;
        for (std::int64_t k = first; k <= last; ++k)
            grid.times.push_back(static_cast<double>(k) / rate);
    }
    if (lone.empty())
        return grid;
    std::sort(lone.begin(), lone.end());
    // Two inputs' points at the same instant share a row; a point of one input may fall on a grid
    // time of another's stretch, whose row it then shares.
    lone.erase(std::unique(lone.begin(), lone.end(), [](double a, double b) { return b - a <= sameInstant; }),
               lone.end());
    Values times;
    times.reserve(grid.times.size() + lone.size());
    std::size_t g = 0;
    for (double t : lone) {
        while (g < grid.times.size() && grid.times[g] < t - sameInstant)
            times.push_back(grid.times[g++]);
        if (g < grid.times.size() && grid.times[g] <= t + sameInstant)
            continue;
        times.push_back(t);
        ++grid.lonePoints;
    }
    times.insert(times.end(), grid.times.begin() + static_cast<std::ptrdiff_t>(g), grid.times.end());
    grid.times.swap(times);
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

void MergedTable::fillColumn(std::size_t c, const Values& grid, std::uint64_t first, std::uint64_t block,
                             std::uint64_t blockEnd, double* cell, std::size_t stride) {
    if (sources_[c].size() == 1 && contiguous_[sources_[c].front().table]) {
        Source& source = sources_[c].front();
        const double* values = source.values + tables_[source.table].right[block];
        for (std::uint64_t i = block; i < blockEnd; ++i, cell += stride) {
            double v = values[i - block];
            *cell = std::isnan(v) ? sample(source, grid[first + i]) : v;
        }
        return;
    }
    for (std::uint64_t i = block; i < blockEnd; ++i, cell += stride) {
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

void MergedTable::markContiguous(std::uint64_t block, std::uint64_t blockEnd) {
    // A table whose rows fall on the grid times of the whole block, one after another, as with a
    // single input at its own rate: its columns are copied, not interpolated.
    contiguous_.resize(tables_.size());
    for (std::size_t t = 0; t < tables_.size(); ++t) {
        const Table& table = tables_[t];
        bool rowByRow = true;
        for (std::uint64_t i = block; i < blockEnd && rowByRow; ++i)
            rowByRow = table.kind[i] == exact && table.right[i] == table.right[block] + (i - block);
        contiguous_[t] = rowByRow;
    }
}

void MergedTable::fill(const Values& grid, std::uint64_t first, std::uint64_t count, double* out) {
    for (auto& table : tables_)
        plan(table, grid, first, count);
    const std::size_t columns = names_.size();
    // Column by column within blocks of rows small enough that the block stays in cache.
    for (std::uint64_t block = 0; block < count; block += blockRows) {
        const std::uint64_t blockEnd = std::min(count, block + blockRows);
        markContiguous(block, blockEnd);
        for (std::size_t c = 0; c < columns; ++c)
            fillColumn(c, grid, first, block, blockEnd, out + block * columns + c, columns);
    }
}

void MergedTable::loadColumns(const Values& grid, const std::vector<std::string>& wanted,
                              const std::function<void(const std::string&, Column)>& take) {
    // Tables whose rows are the grid's, one for one.
    std::vector<char> onGrid(tables_.size());
    for (std::size_t t = 0; t < tables_.size(); ++t) {
        const Table& table = tables_[t];
        bool same = table.size == grid.size();
        for (std::size_t i = 0; same && i < grid.size(); ++i)
            same = std::abs(table.times[i] - grid[i]) <= TimeGrid::sameInstant;
        onGrid[t] = same;
    }
    std::vector<std::size_t> indices;
    std::vector<Column> columns;
    for (const auto& name : wanted) {
        auto found = std::find(names_.begin(), names_.end(), name);
        if (found == names_.end())
            continue;
        const auto c = static_cast<std::size_t>(found - names_.begin());
        const std::vector<Source>& sources = sources_[c];
        // A hole would be filled from the samples around it: only a column without one is
        // the input's as it stands.
        if (sources.size() == 1 && onGrid[sources.front().table] &&
            std::none_of(sources.front().values, sources.front().values + grid.size(),
                         [](double v) { return std::isnan(v); })) {
            take(name, Column{{}, std::span<const double>(sources.front().values, grid.size())});
            continue;
        }
        indices.push_back(c);
        columns.push_back(Column{Values(grid.size()), {}});
    }
    if (indices.empty())
        return;
    constexpr std::uint64_t slabRows = 1 << 14;
    for (std::uint64_t first = 0; first < grid.size(); first += slabRows) {
        const std::uint64_t count = std::min<std::uint64_t>(slabRows, grid.size() - first);
        for (auto& table : tables_)
            plan(table, grid, first, count);
        for (std::uint64_t block = 0; block < count; block += blockRows) {
            const std::uint64_t blockEnd = std::min(count, block + blockRows);
            markContiguous(block, blockEnd);
            for (std::size_t w = 0; w < indices.size(); ++w)
                fillColumn(indices[w], grid, first, block, blockEnd, columns[w].values.data() + first + block,
                           1);
        }
    }
    rewind();
    for (std::size_t w = 0; w < indices.size(); ++w)
        take(names_[indices[w]], std::move(columns[w]));
}

void MergedTable::rewind() {
    for (auto& table : tables_)
        table.cursor = 0;
    for (auto& column : sources_)
        for (auto& source : column) {
            source.next = 0;
            source.last = -1;
        }
}

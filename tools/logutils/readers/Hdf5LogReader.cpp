#include "readers/Hdf5LogReader.h"

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/hdf5/Hdf5File.h"
#include "readers/TimeText.h"

#include <algorithm>
#include <cmath>

namespace {
// Rows read per slab when the row-major table is turned into columns: a few megabytes, so that
// the table is never held twice.
constexpr std::uint64_t slabBytes = 8 << 20;
} // namespace

bool Hdf5LogReader::recognises(std::string_view head) {
    // The signature sits at 0, or after a user block at 512, 1024, 2048, … bytes.
    constexpr std::string_view signature("\x89HDF\r\n\x1a\n", 8);
    for (std::size_t at = 0; at + signature.size() <= head.size(); at = at == 0 ? 512 : at * 2)
        if (head.substr(at, signature.size()) == signature)
            return true;
    return false;
}

bool Hdf5LogReader::read(const std::string& path, InputTable& table, std::string& error) {
    auto file = Hdf5File::openReadOnly(path);
    if (!file) {
        error = "not a readable HDF5 file";
        return false;
    }
    // The desktop program's own reading of the group: every block mapped by its column names.
    auto layout = DoubleArrayBoatLog::FileLayout::read(*file, "log0", error);
    if (!layout)
        return false;
    const std::uint64_t rows = layout->recordCount();
    const std::uint64_t columns = layout->columnCount();
    if (columns == 0) {
        error = "the boat log has no columns";
        return false;
    }
    table.kind = "converted log";
    table.columns.resize(columns);
    for (std::uint64_t c = 0; c < columns; ++c) {
        table.columns[c].name = layout->columnNames()[c];
        table.columns[c].values.resize(rows);
    }
    const std::uint64_t slabRows = std::max<std::uint64_t>(1, slabBytes / (8 * columns));
    std::vector<double> slab;
    for (std::uint64_t first = 0; first < rows; first += slabRows) {
        std::uint64_t count = std::min(slabRows, rows - first);
        slab.resize(count * columns);
        if (!layout->readRows(*file, first, count, slab.data())) {
            error = "cannot read the boat log's values";
            return false;
        }
        for (std::uint64_t r = 0; r < count; ++r)
            for (std::uint64_t c = 0; c < columns; ++c)
                table.columns[c].values[first + r] = slab[r * columns + c];
    }
    for (auto& column : table.columns)
        column.numbers = std::count_if(column.values.begin(), column.values.end(),
                                       [](double v) { return !std::isnan(v); });
    // Rows without a finite time cannot be placed; rows are kept otherwise, as written.
    const DoubleArray& times = layout->times();
    std::uint64_t kept = 0;
    for (std::uint64_t r = 0; r < rows; ++r) {
        if (!plausibleTime(times[r])) {
            table.skipped.skipLine(static_cast<std::int64_t>(r) + 1, "a record without a valid time");
            continue;
        }
        table.times.push_back(times[r]);
        if (kept != r)
            for (auto& column : table.columns)
                column.values[kept] = column.values[r];
        ++kept;
    }
    for (auto& column : table.columns)
        column.values.resize(kept);

    if (auto bytes = file->readIntegers("/parseContext/values")) {
        std::string text;
        for (std::int64_t b : *bytes)
            if (b >= 0 && b <= 255)
                text.push_back(static_cast<char>(b));
        table.parseContext = std::move(text);
    }
    table.finishColumns();
    return true;
}

#pragma once

#include "readers/InputTable.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Several inputs as one table on a regular time grid. The desktop program interpolates between
// neighbouring rows and shows nothing where either is missing, so rows must be dense: each column
// is resampled from its own samples onto the grid, never across more than `maximumGap`.
namespace TimeGrid {

// Neighbouring samples further apart than this are not interpolated, and a stretch this long
// without a sample in any input gets no rows.
constexpr double maximumGap = 10.0;
// Times this close are the same instant: a grid time computed as k / rate and a time read from
// text differ in the last bits, and days since 1899 written with ten decimals are 9 µs apart.
constexpr double sameInstant = 1e-4;

struct SortReport {
    bool wasUnsorted = false;
    std::int64_t duplicates = 0; // rows folded into a later row of the same time
};
// Sorts the rows by time (stable), and folds rows of equal time into one in which, per column,
// the last value written wins.
SortReport sortRows(InputTable& table);

// The typical sampling rate of a sorted table in Hz (from the median interval), or none below two
// rows.
std::optional<double> sampleRate(const InputTable& table);
// The grid rate nearest to `rate` among 1, 2, 4, 5, 10, 20 and 25 Hz (nearest by ratio).
double roundedRate(double rate);

struct Grid {
    Values times;
    std::int64_t spans = 0;
};
// Times k / rate over the stretches where some input has samples: stretches closer than
// maximumGap join, longer gaps get no rows. The tables must be sorted.
Grid makeGrid(const std::vector<const InputTable*>& inputs, double rate);

} // namespace TimeGrid

// The output's columns, each fed by one or more input columns in priority order: where two inputs
// carry the same column, the first one named wins wherever it has data. Values are computed slab
// by slab as the writer asks for them, so the merged table never exists in memory as a whole.
class MergedTable {
public:
    // Adds `values` (aligned with `table.times`) to the output column `name`, after the sources
    // already given for that name.
    void addSource(const std::string& name, const InputTable& table, const Values& values, bool circular);

    const std::vector<std::string>& names() const { return names_; }
    std::size_t columnCount() const { return names_.size(); }

    // Fills rows [first, first + count) of the grid, row-major, columnCount() values per row.
    // Slabs must be asked for in ascending order.
    void fill(const Values& grid, std::uint64_t first, std::uint64_t count, double* out);

private:
    struct Source {
        std::size_t table; // index into tables_
        const double* values;
        bool circular;
        bool signedAngles;        // (-180, 180] rather than [0, 360)
        std::size_t next = 0;     // first sample not before the last grid time asked for
        std::ptrdiff_t last = -1; // last sample before it
    };
    // Where each grid time of a slab falls among a table's rows, worked out once for all of the
    // table's columns: most cells then take the two neighbouring rows' values without a search.
    struct Table {
        const double* times;
        std::size_t size;
        std::size_t cursor = 0;         // first row not before the last grid time planned
        std::vector<std::size_t> right; // first row not before the grid time
        std::vector<double> weight;     // of the right row; 0 for a row at the grid time
        std::vector<unsigned char> kind;
    };
    enum Kind : unsigned char { exact, between, outside };

    void plan(Table& table, const Values& grid, std::uint64_t first, std::uint64_t count);
    double blend(const Source& source, double left, double right, double weight) const;
    // A cell whose neighbouring rows lack the column's value: searched among its own samples.
    double sample(Source& source, double t) const;

    std::vector<std::string> names_;
    std::vector<std::vector<Source>> sources_;
    std::vector<Table> tables_;
};

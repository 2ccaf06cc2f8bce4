#pragma once

#include "readers/InputTable.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
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
    std::int64_t lonePoints = 0; // rows at an input's own time, off the regular grid
};
// Times k / rate over the stretches where some input has samples: stretches closer than
// maximumGap join, longer gaps get no rows. The tables must be sorted.
//
// A stretch of one input that no grid time falls in (a track sparser than maximumGap, such as a
// phone's one point a minute, is all such stretches) would lose its samples: they have no
// neighbour to be interpolated from. So each of its samples becomes a row at its own time, among
// the grid's rows (or on the grid row of that very time); on that row the other inputs' columns
// are resampled as on any grid row, and on the grid rows around it the sparse input has no value,
// as across any long gap. Such a stretch does not widen the grid: it would add only empty rows.
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
    // A whole column as fill() gives it: its own values, or, when they are an input's as they
    // stand (a single input on the grid row by row, without holes), a view of that input.
    struct Column {
        Values values;
        std::span<const double> input;
    };
    // The columns of `wanted` that the table has, each handed to `take` with its name.
    // Afterwards fill() starts again from the grid's first row.
    void loadColumns(const Values& grid, const std::vector<std::string>& wanted,
                     const std::function<void(const std::string&, Column)>& take);

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

    // Rows per block of fill(): small enough that a block of every column stays in cache.
    static constexpr std::uint64_t blockRows = 256;

    void plan(Table& table, const Values& grid, std::uint64_t first, std::uint64_t count);
    void markContiguous(std::uint64_t block, std::uint64_t blockEnd);
    // Rows [block, blockEnd) of the planned slab that starts at grid row `first`, of column c,
    // each `stride` values after the one before.
    void fillColumn(std::size_t c, const Values& grid, std::uint64_t first, std::uint64_t block,
                    std::uint64_t blockEnd, double* cell, std::size_t stride);
    void rewind();
    double blend(const Source& source, double left, double right, double weight) const;
    // A cell whose neighbouring rows lack the column's value: searched among its own samples.
    double sample(Source& source, double t) const;

    std::vector<std::string> names_;
    std::vector<std::vector<Source>> sources_;
    std::vector<Table> tables_;
    std::vector<char> contiguous_; // by table, for the block being filled
};

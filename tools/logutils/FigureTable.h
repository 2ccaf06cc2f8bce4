#pragma once

#include "readers/InputTable.h"

#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

// The columns that derived figures and manoeuvre detection work on, on the output's time grid:
// the measured ones they need, loaded from the merged inputs, and the ones derived here. A column
// the inputs carry is measured even where it has no value, and is never derived over.
class FigureTable {
public:
    // A column's values, one per row of the grid.
    using Column = std::span<const double>;

    FigureTable(const Values& times, const std::vector<std::string>& measuredNames);

    const Values& times() const { return times_; }
    std::size_t size() const { return times_.size(); }
    // The grid's step in seconds (its rate's inverse); 1 for a table of one row.
    double step() const { return step_; }

    bool measured(const std::string& name) const { return measured_.count(name) > 0; }
    bool has(const std::string& name) const { return measured(name) || columns_.count(name) > 0; }
    // A column's values, when it is measured and loaded, or derived; nullptr otherwise.
    const Column* find(const std::string& name) const;
    // The first of `names` that the table has.
    const Column* findFirst(std::initializer_list<const char*> names) const;

    void load(const std::string& name, Values values);
    // A measured column whose values are those of an input as they stand (it lies on the grid
    // row by row): no copy is made, so `values` must outlive the table.
    void view(const std::string& name, Column values);
    // A new derived column, all NaN. Deriving a column the table has is a programming error.
    Values& derive(const std::string& name);
    const std::vector<std::string>& derivedNames() const { return derived_; }

    // The measured columns that figures and detectors read.
    static const std::vector<std::string>& usedNames();

private:
    struct Stored {
        Values owned;
        Column values; // of `owned`, or of an input
    };

    const Values& times_;
    double step_ = 1.0;
    std::set<std::string> measured_;
    std::map<std::string, Stored> columns_;
    std::vector<std::string> derived_;
};

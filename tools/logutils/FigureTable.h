#pragma once

#include "readers/InputTable.h"

#include <map>
#include <set>
#include <string>
#include <vector>

// The columns that derived figures and manoeuvre detection work on, on the output's time grid:
// the measured ones they need, loaded from the merged inputs, and the ones derived here. A column
// the inputs carry is measured even where it has no value, and is never derived over.
class FigureTable {
public:
    FigureTable(const Values& times, const std::vector<std::string>& measuredNames);

    const Values& times() const { return times_; }
    std::size_t size() const { return times_.size(); }
    // The grid's step in seconds (its rate's inverse); 1 for a table of one row.
    double step() const { return step_; }

    bool measured(const std::string& name) const { return measured_.count(name) > 0; }
    bool has(const std::string& name) const { return measured(name) || columns_.count(name) > 0; }
    // A column's values, when it is measured and loaded, or derived; nullptr otherwise.
    const std::vector<double>* find(const std::string& name) const;
    // The first of `names` that the table has.
    const std::vector<double>* findFirst(std::initializer_list<const char*> names) const;

    void load(const std::string& name, std::vector<double> values);
    // A new derived column, all NaN. Deriving a column the table has is a programming error.
    std::vector<double>& derive(const std::string& name);
    const std::vector<std::string>& derivedNames() const { return derived_; }

    // The measured columns that figures and detectors read.
    static const std::vector<std::string>& usedNames();

private:
    const Values& times_;
    double step_ = 1.0;
    std::set<std::string> measured_;
    std::map<std::string, std::vector<double>> columns_;
    std::vector<std::string> derived_;
};

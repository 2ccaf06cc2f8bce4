#include "FigureTable.h"

#include "core/FatalError.h"

#include <algorithm>
#include <cmath>
#include <limits>

FigureTable::FigureTable(const Values& times, const std::vector<std::string>& measuredNames)
    : times_(times), measured_(measuredNames.begin(), measuredNames.end()) {
    double step = std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < times_.size() && i < 1000; ++i)
        if (times_[i] > times_[i - 1])
            step = std::min(step, times_[i] - times_[i - 1]);
    if (std::isfinite(step))
        step_ = step;
}

const FigureTable::Column* FigureTable::find(const std::string& name) const {
    auto found = columns_.find(name);
    return found == columns_.end() ? nullptr : &found->second.values;
}

const FigureTable::Column* FigureTable::findFirst(std::initializer_list<const char*> names) const {
    for (const char* name : names)
        if (auto column = find(name))
            return column;
    return nullptr;
}

void FigureTable::load(const std::string& name, Values values) {
    Stored& stored = columns_[name];
    stored.owned = std::move(values);
    stored.values = stored.owned;
}

void FigureTable::view(const std::string& name, Column values) {
    Stored& stored = columns_[name];
    stored.owned = {};
    stored.values = values;
}

Values& FigureTable::derive(const std::string& name) {
    if (has(name))
        fatalError("FigureTable: " + name + " is already a column");
    derived_.push_back(name);
    Stored& stored = columns_[name];
    stored.owned.assign(times_.size(), std::numeric_limits<double>::quiet_NaN());
    stored.values = stored.owned;
    return stored.owned;
}

const std::vector<std::string>& FigureTable::usedNames() {
    static const std::vector<std::string> names = {
        "Lat",     "Lon",       "SOG",        "COG",       "Heading",        "BoatSpeed",  "AWA",
        "AWS",     "TWA",       "TWS",        "TWD",       "Portlat",        "Portlon",    "Stbdlat",
        "Stbdlon", "TimeToGun", "TimeToLine", "BelowLine", "DistanceToLine", "TimeToBurn", "VMG"};
    return names;
}

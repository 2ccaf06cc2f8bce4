#pragma once

#include "MergedTable.h"
#include "readers/InputTable.h"

#include <cmath>
#include <cstdlib>
#include <vector>

// What every reader promises whatever its input: columns as long as the times, times that can
// be placed on a grid; and the merge after it must cope with what the reader let through.
inline void checkTable(InputTable& table) {
    for (const auto& column : table.columns)
        if (column.values.size() != table.rowCount())
            std::abort();
    for (double t : table.times)
        if (!std::isfinite(t))
            std::abort();
    if (table.rowCount() == 0 || table.columns.empty())
        return;
    TimeGrid::sortRows(table);
    TimeGrid::Grid grid =
        TimeGrid::makeGrid({&table}, TimeGrid::roundedRate(TimeGrid::sampleRate(table).value_or(1)));
    if (grid.times.size() > (1u << 20))
        return; // a legal but long grid: nothing more to learn from it here
    MergedTable merged;
    for (const auto& column : table.columns)
        merged.addSource(column.name, table, column.values, column.name.size() % 2 == 0);
    std::vector<double> out(grid.times.size() * merged.columnCount());
    merged.fill(grid.times, 0, grid.times.size(), out.data());
}

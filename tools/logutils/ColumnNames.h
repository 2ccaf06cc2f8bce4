#pragma once

#include <string>

// How a column of an input is stored in the converted log: under a metric's raw key when its name
// is one, or is a usual name of the same channel (an alias: "BSP", "Mk Lat", "TmToGun", matched
// without regard to case and spacing); otherwise under its own name, as a custom metric. A unit
// written after the name ("SOG (m/s)", "Forestay [kg]") is converted to the metric's storage unit.
struct ColumnName {
    std::string name;
    double factor = 1.0; // stored value = value read × factor
    bool circular = false;
};

ColumnName mapColumnName(const std::string& inputName);

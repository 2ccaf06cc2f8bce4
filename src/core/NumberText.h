#pragma once

#include <string>

// The shortest decimal text that reads back as the same double ("12.5", "3", "1e-07").
std::string shortestText(double value);
// The same, with ".0" after an integral value ("3.0"), as the program's log lines show numbers.
std::string decimalText(double value);

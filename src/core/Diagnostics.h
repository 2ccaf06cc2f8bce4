#pragma once

#include <cstdio>
#include <string_view>

// Where the program's diagnostic lines go ("Loaded … records", "Warning: …"): standard output
// by default. Command-line verbs that print JSON on stdout send them to stderr instead.
class Diagnostics {
public:
    static void printLine(std::string_view line);
    static void setStream(std::FILE* stream);
};

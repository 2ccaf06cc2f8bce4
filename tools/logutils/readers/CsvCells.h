#pragma once

#include <cmath>
#include <fast_float/fast_float.h>
#include <string>
#include <string_view>
#include <vector>

// Reading the fields of a delimited line in place: no splitting into strings, one pass, numbers
// by fast_float straight from the line.
class CsvCells {
public:
    enum class Cell { number, empty, bad };

    explicit CsvCells(char delimiter = ',', char decimalPoint = '.')
        : delimiter_(delimiter), options_(fast_float::chars_format::general, decimalPoint) {}

    char delimiter() const { return delimiter_; }

    // Reads the field that starts at `p` as a number. Leaves `p` at the delimiter that ends the
    // field, or at `end`. Blank fields, "NaN" and the usual missing-value marks are empty.
    Cell number(const char*& p, const char* end, double& value) const {
        while (p != end && *p == ' ')
            ++p;
        if (p == end || *p == delimiter_)
            return Cell::empty;
        const char* start = p;
        if (*p == '+')
            ++p;
        auto result = fast_float::from_chars_advanced(p, end, value, options_);
        if (result.ec == std::errc()) {
            const char* q = result.ptr;
            while (q != end && *q == ' ')
                ++q;
            if (q == end || *q == delimiter_) {
                p = q;
                return std::isfinite(value) ? Cell::number : Cell::empty;
            }
        }
        p = start;
        return slowNumber(p, end, value);
    }

    // Moves `p` past the field that starts there, to its ending delimiter or `end`; honours
    // double quotes. Gives the field's text without surrounding blanks and quotes.
    std::string_view skip(const char*& p, const char* end) const;

    // Splits a whole line into its fields' texts (header lines; not for the rows of a log).
    void split(std::string_view line, std::vector<std::string>& fields) const;

private:
    Cell slowNumber(const char*& p, const char* end, double& value) const;

    char delimiter_;
    fast_float::parse_options options_;
};

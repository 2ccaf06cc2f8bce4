#pragma once

#include <cmath>
#include <cstdint>
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
        : delimiter_(delimiter), decimalPoint_(decimalPoint),
          options_(fast_float::chars_format::general, decimalPoint) {}

    char delimiter() const { return delimiter_; }

    // Reads the field that starts at `p` as a number. Leaves `p` at the delimiter that ends the
    // field, or at `end`. Blank fields, "NaN" and the usual missing-value marks are empty.
    Cell number(const char*& p, const char* end, double& value) const {
        while (p != end && *p == ' ')
            ++p;
        if (p == end || *p == delimiter_)
            return Cell::empty;
        if (plainDecimal(p, end, value))
            return Cell::number;
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
    // Most cells of a log are short plain decimals ("-12.375"). When their digits fit a double
    // exactly, dividing by the exact power of ten rounds once, correctly: the very double that
    // fast_float answers, at a fraction of its cost. Anything else is left to fast_float.
    bool plainDecimal(const char*& p, const char* end, double& value) const {
        static constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                 1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
        const char* q = p;
        const bool negative = *q == '-';
        q += negative;
        std::uint64_t digits = 0;
        const char* first = q;
        while (q != end && static_cast<unsigned char>(*q - '0') < 10)
            digits = digits * 10 + static_cast<unsigned char>(*q++ - '0');
        if (q == first)
            return false;
        std::size_t decimals = 0;
        if (q != end && *q == decimalPoint_) {
            const char* fraction = ++q;
            while (q != end && static_cast<unsigned char>(*q - '0') < 10)
                digits = digits * 10 + static_cast<unsigned char>(*q++ - '0');
            decimals = static_cast<std::size_t>(q - fraction);
            if (decimals == 0)
                return false;
        }
        // 19 digits cannot overflow; 2^53 and 10^22 are the largest a double holds exactly.
        const auto length = static_cast<std::size_t>(q - first) - (decimals > 0);
        if (length > 19 || digits > (std::uint64_t{1} << 53) || decimals > 22 ||
            (q != end && *q != delimiter_))
            return false;
        const double magnitude = static_cast<double>(digits) / powersOfTen[decimals];
        value = negative ? -magnitude : magnitude;
        p = q;
        return true;
    }

    Cell slowNumber(const char*& p, const char* end, double& value) const;

    char delimiter_;
    char decimalPoint_;
    fast_float::parse_options options_;
};

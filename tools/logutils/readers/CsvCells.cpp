#include "readers/CsvCells.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

namespace {

bool isMissingMark(std::string_view text) {
    static constexpr std::array<std::string_view, 9> marks = {"-",    "--",   "n/a", "na", "nan",
                                                              "null", "none", "?",   "---"};
    if (text.size() > 4)
        return false;
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::find(marks.begin(), marks.end(), lower) != marks.end();
}

} // namespace

std::string_view CsvCells::skip(const char*& p, const char* end) const {
    while (p != end && (*p == ' ' || *p == '\t') && *p != delimiter_)
        ++p;
    if (p != end && *p == '"') {
        const char* start = ++p;
        // A doubled quote is a quote inside the field; the text then keeps both.
        while (p != end && !(*p == '"' && (p + 1 == end || p[1] != '"')))
            p += (*p == '"') ? 2 : 1;
        std::string_view text(start, static_cast<std::size_t>(p - start));
        while (p != end && *p != delimiter_)
            ++p;
        return text;
    }
    const char* start = p;
    while (p != end && *p != delimiter_)
        ++p;
    const char* stop = p;
    while (stop != start && (stop[-1] == ' ' || stop[-1] == '\t'))
        --stop;
    return std::string_view(start, static_cast<std::size_t>(stop - start));
}

void CsvCells::split(std::string_view line, std::vector<std::string>& fields) const {
    fields.clear();
    const char* p = line.data();
    const char* end = p + line.size();
    while (true) {
        fields.emplace_back(skip(p, end));
        if (p == end)
            break;
        ++p;
    }
}

// The rare cells: quoted numbers, missing-value marks, and text that is no number.
CsvCells::Cell CsvCells::slowNumber(const char*& p, const char* end, double& value) const {
    std::string_view text = skip(p, end);
    if (text.empty() || isMissingMark(text))
        return Cell::empty;
    const char* first = text.data();
    const char* last = first + text.size();
    if (*first == '+')
        ++first;
    auto result = fast_float::from_chars_advanced(first, last, value, options_);
    if (result.ec != std::errc() || result.ptr != last)
        return Cell::bad;
    return std::isfinite(value) ? Cell::number : Cell::empty;
}

#pragma once

#include "core/UninitializedAllocator.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A column of doubles that grows without zero-filling: a reader writes every cell it adds.
using Values = std::vector<double, UninitializedAllocator<double>>;

// What a reader passed over, counted, with the earliest instance described: a log of a million
// lines with one bad line per second must not print a million messages.
class SkipTally {
public:
    struct Count {
        std::int64_t count = 0;
        std::int64_t firstLine = 0;
        std::string firstWhat; // "not a number \"7.2x\""

        std::string first() const { return "line " + std::to_string(firstLine) + ": " + firstWhat; }
    };

    void skipLine(std::int64_t lineNumber, std::string_view reason) { note(lines_, lineNumber, reason, {}); }
    void skipValue(std::int64_t lineNumber, std::string_view reason, std::string_view text = {}) {
        note(values_, lineNumber, reason, text);
    }
    // Adds `count` skipped values whose earliest was at `lineNumber` for `what`.
    void addValues(std::int64_t count, std::int64_t lineNumber, const std::string& what);
    // Adds the tally of the part of a file that follows this one's part, whose line numbers
    // start after `linesBefore` lines.
    void append(const SkipTally& later, std::int64_t linesBefore);

    const Count& lines() const { return lines_; }
    const Count& values() const { return values_; }

    // "not a number \"7.2x\"", the offending text cut short and made printable.
    static std::string describe(std::string_view reason, std::string_view text);

private:
    static void note(Count& count, std::int64_t lineNumber, std::string_view reason, std::string_view text);

    Count lines_;
    Count values_;
};

struct InputColumn {
    std::string name;
    Values values; // one per row; NaN where the row holds no sample of this column
    // Cells that held a number, and cells that held something else. A column without a single
    // number carries nothing: an unused channel, or text (notes, a status word); it is dropped
    // without complaint.
    std::int64_t numbers = 0;
    std::int64_t badCells = 0;
    std::int64_t firstBadLine = 0;
    std::string firstBad; // described as in SkipTally, without the line

    void noteBadCell(std::int64_t lineNumber, std::string_view text);
};

// One input file as read: rows in file order, times in seconds since 1970, before names are
// mapped and before rows are sorted or merged.
struct InputTable {
    std::string kind;      // how the file was read, for the progress log
    Values times;          // one per row
    bool utcTimes = false; // times are UTC; otherwise wall-clock time of an unknown zone
    std::vector<InputColumn> columns;
    // A converted log's own parse context (JSON), when it has one.
    std::optional<std::string> parseContext;
    SkipTally skipped;
    // Lines for the progress log on what the reader chose (which of several sources, say).
    std::vector<std::string> notes;

    std::size_t rowCount() const { return times.size(); }

    // Drops columns without numbers and moves the bad cells of the others into `skipped`. Readers call it
    // once, at the end.
    void finishColumns();
};

#include "readers/InputTable.h"

#include <algorithm>

std::string SkipTally::describe(std::string_view reason, std::string_view text) {
    std::string description(reason);
    if (text.empty())
        return description;
    // Enough of the offending text to recognise it, never a whole binary line.
    constexpr std::size_t shown = 24;
    description += " \"";
    for (char c : text.substr(0, shown))
        description += (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) ? '?' : c;
    if (text.size() > shown)
        description += "...";
    description += '"';
    return description;
}

void SkipTally::note(Count& count, std::int64_t lineNumber, std::string_view reason, std::string_view text) {
    if (count.count++ == 0) {
        count.firstLine = lineNumber;
        count.firstWhat = describe(reason, text);
    }
}

void SkipTally::addValues(std::int64_t count, std::int64_t lineNumber, const std::string& what) {
    if (count <= 0)
        return;
    if (values_.count == 0 || lineNumber < values_.firstLine) {
        values_.firstLine = lineNumber;
        values_.firstWhat = what;
    }
    values_.count += count;
}

void SkipTally::append(const SkipTally& later, std::int64_t linesBefore) {
    for (auto [count, other] : {std::pair{&lines_, &later.lines_}, std::pair{&values_, &later.values_}}) {
        if (other->count == 0)
            continue;
        if (count->count == 0) {
            count->firstLine = other->firstLine + linesBefore;
            count->firstWhat = other->firstWhat;
        }
        count->count += other->count;
    }
}

void InputColumn::noteBadCell(std::int64_t lineNumber, std::string_view text) {
    if (badCells++ == 0) {
        firstBadLine = lineNumber;
        firstBad = SkipTally::describe("not a number in column \"" + name + "\":", text);
    }
}

void InputTable::finishColumns() {
    for (const auto& column : columns)
        if (column.numbers > 0)
            skipped.addValues(column.badCells, column.firstBadLine, column.firstBad);
    columns.erase(
        std::remove_if(columns.begin(), columns.end(), [](const InputColumn& c) { return c.numbers == 0; }),
        columns.end());
}

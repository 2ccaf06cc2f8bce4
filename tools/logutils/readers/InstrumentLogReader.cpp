#include "readers/InstrumentLogReader.h"

#include "readers/CsvCells.h"
#include "readers/TimeText.h"

#include <cmath>
#include <limits>
#include <unordered_map>
#include <vector>

namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();
// Channel numbers of real logs stay in the hundreds; a larger one is a damaged line.
constexpr int maximumChannel = 1 << 16;

bool startsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i])
            return false;
    return true;
}

bool integerText(std::string_view text, int& value) {
    if (text.empty() || text.size() > 9)
        return false;
    value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    return true;
}

class Reader {
public:
    Reader(LineReader& lines, InputTable& table) : lines_(lines), table_(table) {}

    bool run(std::string& error) {
        std::string_view line;
        table_.kind = "instrument log";
        while (lines_.next(line)) {
            if (line.empty())
                continue;
            if (line.front() == '!') {
                headerLine(line);
            } else if (names_.empty()) {
                table_.skipped.skipLine(lines_.lineNumber(), "a record before any header");
            } else {
                dataLine(line);
            }
        }
        if (!lines_.readError().empty()) {
            error = "read error: " + lines_.readError();
            return false;
        }
        if (names_.empty()) {
            error = "no \"!Boat,Utc,…\" header";
            return false;
        }
        table_.kind = sparse_ ? "instrument log, sparse form" : "instrument log, dense form";
        table_.utcTimes = true;
        table_.finishColumns();
        return true;
    }

private:
    void headerLine(std::string_view line) {
        if (!startsWithNoCase(line, "!boat,"))
            return; // "!v11.16.1" and the like
        cells_.split(line, fields_);
        int number = 0;
        if (fields_.size() > 1 && integerText(fields_[1], number)) {
            channelLine();
        } else {
            // A names line. On its own it announces the dense form; a channel line may follow.
            names_.assign(fields_.begin() + 1, fields_.end());
            sparse_ = false;
            fieldColumns_.clear();
        }
    }

    // Channels get their columns when their first value arrives: a header lists every channel the
    // program knows, a log uses a few dozen.
    void channelLine() {
        sparse_ = true;
        channelNames_.clear();
        channelColumns_.clear();
        for (std::size_t i = 2; i < fields_.size() && i - 1 < names_.size(); ++i) {
            // The first name is the time's, whose channel never appears in a row.
            int channel = 0;
            if (!integerText(fields_[i], channel) || channel >= maximumChannel)
                continue;
            if (static_cast<std::size_t>(channel) >= channelNames_.size()) {
                channelNames_.resize(static_cast<std::size_t>(channel) + 1, unmapped);
                channelColumns_.resize(static_cast<std::size_t>(channel) + 1, unmapped);
            }
            channelNames_[static_cast<std::size_t>(channel)] = static_cast<int>(i - 1);
        }
    }

    void mapDenseFields() {
        // Fields are boat, time, then one per name after the time's.
        fieldColumns_.assign(2, unmapped);
        for (std::size_t i = 1; i < names_.size(); ++i)
            fieldColumns_.push_back(mappedColumn(names_[i]));
    }

    int channelColumn(double channel) {
        if (!(channel >= 0.0 && channel < static_cast<double>(channelNames_.size()) &&
              channel == std::floor(channel)))
            return unmapped;
        auto index = static_cast<std::size_t>(channel);
        if (channelColumns_[index] == unmapped && channelNames_[index] != unmapped)
            channelColumns_[index] = mappedColumn(names_[static_cast<std::size_t>(channelNames_[index])]);
        return channelColumns_[index];
    }

    // Columns are made when a header names them; a name seen again (a header repeated when the
    // program restarted) keeps its column.
    static constexpr int unmapped = -1;
    int mappedColumn(const std::string& name) {
        auto found = columnByName_.find(name);
        if (found != columnByName_.end())
            return found->second;
        int index = static_cast<int>(table_.columns.size());
        InputColumn column;
        column.name = name;
        column.values.reserve(expectedRows_);
        column.values.assign(table_.rowCount(), missing);
        table_.columns.push_back(std::move(column));
        columnByName_.emplace(name, index);
        row_.push_back(missing);
        return index;
    }

    void dataLine(std::string_view line) {
        if (expectedRows_ == 0)
            reserve(line.size());
        const char* p = line.data();
        const char* end = p + line.size();
        const std::int64_t lineNumber = lines_.lineNumber();
        double boat = 0.0, days = 0.0;
        if (cells_.number(p, end, boat) != CsvCells::Cell::number || p == end) {
            table_.skipped.skipLine(lineNumber, "no boat number at the start");
            return;
        }
        ++p;
        if (cells_.number(p, end, days) != CsvCells::Cell::number) {
            table_.skipped.skipLine(lineNumber, "cannot read the time");
            return;
        }
        if (!boat_) {
            boat_ = boat;
        } else if (boat != *boat_) {
            // Other boat numbers are other boats (tracking data); this log is one boat's.
            table_.skipped.skipLine(lineNumber, "a record of another boat");
            return;
        }
        double seconds = daysToUnixSeconds(days);
        // Days since 1899 between the years 1900 and 2200: anything else is a damaged number.
        if (!(days > 1.0 && days < 110000.0)) {
            table_.skipped.skipLine(lineNumber, "time out of range");
            return;
        }
        if (!sparse_ && fieldColumns_.empty())
            mapDenseFields();
        std::fill(row_.begin(), row_.end(), missing);
        int values = sparse_ ? sparsePairs(p, end, lineNumber) : denseFields(p, end, lineNumber);
        if (values < 0)
            return;
        if (values == 0) {
            table_.skipped.skipLine(lineNumber, "a record without values");
            return;
        }
        table_.times.push_back(seconds);
        for (std::size_t c = 0; c < row_.size(); ++c)
            table_.columns[c].values.push_back(row_[c]);
    }

    // Rows estimated from the file size and the first record, so that columns rarely move while
    // they grow; a reservation costs address space only, untouched pages stay free.
    void reserve(std::size_t lineLength) {
        expectedRows_ =
            std::min<std::size_t>(lines_.size() / std::max<std::size_t>(lineLength, 16) + 16, 1 << 26);
        table_.times.reserve(expectedRows_);
        for (auto& column : table_.columns)
            column.values.reserve(expectedRows_);
    }

    int sparsePairs(const char* p, const char* end, std::int64_t lineNumber) {
        int values = 0;
        while (p != end) {
            ++p; // the delimiter
            const char* start = p;
            double channel = 0.0;
            CsvCells::Cell cell = cells_.number(p, end, channel);
            if (cell == CsvCells::Cell::empty && p == end)
                break; // a trailing delimiter
            int c = cell == CsvCells::Cell::number ? channelColumn(channel) : unmapped;
            bool known = c != unmapped;
            if (!known)
                table_.skipped.skipValue(lineNumber, "unknown channel",
                                         std::string_view(start, static_cast<std::size_t>(p - start)));
            if (p == end) {
                if (known)
                    table_.skipped.skipValue(lineNumber, "a channel without a value");
                break;
            }
            ++p;
            start = p;
            double value = 0.0;
            cell = cells_.number(p, end, value);
            if (!known)
                continue;
            InputColumn& column = table_.columns[static_cast<std::size_t>(c)];
            if (cell == CsvCells::Cell::number) {
                row_[static_cast<std::size_t>(c)] = value;
                ++column.numbers;
                ++values;
            } else if (cell == CsvCells::Cell::bad) {
                column.noteBadCell(lineNumber, std::string_view(start, static_cast<std::size_t>(p - start)));
            }
        }
        return values;
    }

    int denseFields(const char* p, const char* end, std::int64_t lineNumber) {
        int values = 0;
        std::size_t field = 2;
        while (p != end) {
            ++p;
            const char* start = p;
            double value = 0.0;
            CsvCells::Cell cell = cells_.number(p, end, value);
            if (field >= fieldColumns_.size()) {
                if (cell == CsvCells::Cell::empty && p == end)
                    break; // a trailing delimiter
                table_.skipped.skipLine(lineNumber, "more fields than the header names");
                return -1;
            }
            int c = fieldColumns_[field++];
            if (c == unmapped)
                continue;
            InputColumn& column = table_.columns[static_cast<std::size_t>(c)];
            if (cell == CsvCells::Cell::number) {
                row_[static_cast<std::size_t>(c)] = value;
                ++column.numbers;
                ++values;
            } else if (cell == CsvCells::Cell::bad) {
                column.noteBadCell(lineNumber, std::string_view(start, static_cast<std::size_t>(p - start)));
            }
        }
        return values;
    }

    LineReader& lines_;
    InputTable& table_;
    CsvCells cells_;
    std::vector<std::string> fields_;
    std::vector<std::string> names_;
    std::unordered_map<std::string, int> columnByName_;
    std::vector<int> channelNames_;   // by channel number: index into names_
    std::vector<int> channelColumns_; // by channel number
    std::vector<int> fieldColumns_;   // by field of a dense row
    std::vector<double> row_;
    std::optional<double> boat_;
    std::size_t expectedRows_ = 0;
    bool sparse_ = false;
};

} // namespace

bool InstrumentLogReader::recognises(std::string_view head) {
    if (head.substr(0, 3) == "\xEF\xBB\xBF")
        head.remove_prefix(3);
    return startsWithNoCase(head, "!boat,");
}

bool InstrumentLogReader::read(LineReader& lines, InputTable& table, std::string& error) {
    return Reader(lines, table).run(error);
}

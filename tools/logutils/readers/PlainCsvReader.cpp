#include "readers/PlainCsvReader.h"

#include "readers/CsvCells.h"
#include "readers/TimeText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();
// Rows tried for telling how the times are written before the file is given up.
constexpr int detectionRows = 20;

// A header name folded for matching: lower case, without blanks, underscores and dots, and
// without a trailing "(…)" or "[…]", which is given apart as `note`.
struct FoldedName {
    std::string base;
    std::string note;
};

FoldedName fold(std::string_view name) {
    FoldedName folded;
    std::string* target = &folded.base;
    for (char c : name) {
        if (c == '(' || c == '[') {
            target = &folded.note;
            continue;
        }
        if (c == ' ' || c == '_' || c == '.' || c == ')' || c == ']' || c == '\t')
            continue;
        target->push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    }
    return folded;
}

// Names of time columns, best first.
constexpr std::array<std::string_view, 14> timeNames = {
    "utc",         "timestamp", "datetime", "date/time", "utctime",  "gmt",       "gpstime",
    "datetimeutc", "time",      "isotime",  "epoch",     "unixtime", "localtime", "date"};

enum class Encoding { unknown, unixSeconds, unixMilliseconds, days, iso, dateAndTime };

class Reader {
public:
    Reader(LineReader& lines, InputTable& table) : lines_(lines), table_(table) {}

    bool run(std::string& error) {
        char delimiter = sniffDelimiter(lines_.head());
        std::string_view line;
        do {
            if (!lines_.next(line)) {
                error =
                    lines_.readError().empty() ? "the file is empty" : "read error: " + lines_.readError();
                return false;
            }
        } while (line.find_first_not_of(" \t") == std::string_view::npos || line.front() == '#');
        if (line.find('\0') != std::string_view::npos) {
            error = "not a text file";
            return false;
        }
        cells_ = CsvCells(delimiter, decimalPoint(lines_.head(), delimiter));
        std::vector<std::string> names;
        cells_.split(line, names);
        if (!findTimeColumns(names)) {
            error = "no time column (Utc, Time, Timestamp, DateTime, …) in the first line";
            return false;
        }
        fieldCount_ = names.size();
        fieldColumns_.assign(fieldCount_, unmapped);
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (static_cast<int>(i) == timeField_ || static_cast<int>(i) == dateField_)
                continue;
            InputColumn column;
            column.name = names[i].empty() ? "Unnamed: " + std::to_string(i) : names[i];
            fieldColumns_[i] = static_cast<int>(table_.columns.size());
            table_.columns.push_back(std::move(column));
        }
        row_.assign(table_.columns.size(), missing);
        reserve(line.size());
        table_.kind = std::string("table, ") + delimiterName(delimiter) + " separated";

        while (lines_.next(line)) {
            if (line.find_first_not_of(" \t") == std::string_view::npos)
                continue;
            if (!dataLine(line) && encoding_ == Encoding::unknown && ++failedDetections_ >= detectionRows) {
                error =
                    "cannot read the times in column \"" + names[static_cast<std::size_t>(timeField_)] + "\"";
                return false;
            }
        }
        if (!lines_.readError().empty()) {
            error = "read error: " + lines_.readError();
            return false;
        }
        table_.finishColumns();
        return true;
    }

private:
    static char sniffDelimiter(std::string_view head) {
        // The candidate found most often in the first line, preferring one that the second line
        // has as often: "Time;Speed (kn, avg)" is semicolon separated.
        std::array<std::string_view, 2> lines{};
        for (auto& l : lines) {
            std::size_t stop = head.find('\n');
            l = head.substr(0, stop);
            head = stop == std::string_view::npos ? std::string_view() : head.substr(stop + 1);
        }
        auto count = [](std::string_view l, char d) {
            std::size_t n = 0;
            bool quoted = false;
            for (char c : l) {
                quoted = c == '"' ? !quoted : quoted;
                n += !quoted && c == d;
            }
            return n;
        };
        char best = ',';
        std::size_t bestScore = 0;
        for (char d : {',', ';', '\t'}) {
            std::size_t inHeader = count(lines[0], d);
            std::size_t score = inHeader * 2 + (inHeader > 0 && count(lines[1], d) == inHeader ? 1 : 0);
            if (score > bestScore) {
                best = d;
                bestScore = score;
            }
        }
        return best;
    }

    // Semicolon and tab separated exports of European spreadsheets write "7,25": fields of the
    // first lines that are one number with a comma outnumber those with a dot ("01.06.2023" is
    // neither).
    static char decimalPoint(std::string_view head, char delimiter) {
        if (delimiter == ',')
            return '.';
        std::size_t commas = 0, dots = 0;
        std::size_t start = 0;
        for (std::size_t i = 0; i <= head.size(); ++i) {
            if (i < head.size() && head[i] != delimiter && head[i] != '\n')
                continue;
            std::string_view field = head.substr(start, i - start);
            start = i + 1;
            std::size_t separators = 0, digits = 0;
            char separator = 0;
            for (char c : field) {
                if (std::isdigit(static_cast<unsigned char>(c)))
                    ++digits;
                else if (c == ',' || c == '.')
                    ++separators, separator = c;
                else if (c != '-' && c != '\r' && c != ' ')
                    separators = 2; // not a plain number
            }
            if (separators == 1 && digits >= 2)
                (separator == ',' ? commas : dots) += 1;
        }
        return commas > dots ? ',' : '.';
    }

    static const char* delimiterName(char delimiter) {
        return delimiter == ';' ? "semicolon" : (delimiter == '\t' ? "tab" : "comma");
    }

    bool findTimeColumns(const std::vector<std::string>& names) {
        std::size_t bestRank = timeNames.size();
        for (std::size_t i = 0; i < names.size(); ++i) {
            FoldedName folded = fold(names[i]);
            auto found = std::find(timeNames.begin(), timeNames.end(), folded.base);
            if (found == timeNames.end())
                continue;
            std::size_t rank = static_cast<std::size_t>(found - timeNames.begin());
            if (folded.base == "date" && dateField_ < 0)
                dateField_ = static_cast<int>(i);
            if (rank < bestRank) {
                bestRank = rank;
                timeField_ = static_cast<int>(i);
                namedUtc_ = folded.base.find("utc") != std::string::npos ||
                            folded.base.find("gmt") != std::string::npos ||
                            folded.note.find("utc") != std::string::npos ||
                            folded.note.find("gmt") != std::string::npos || folded.note == "z";
                inMilliseconds_ = folded.note == "ms";
            }
        }
        if (dateField_ == timeField_)
            dateField_ = -1;
        return timeField_ >= 0;
    }

    void reserve(std::size_t headerLength) {
        // Rows estimated from the file size, so that columns rarely move while they grow; a
        // reservation costs address space only, untouched pages stay free.
        std::size_t estimate =
            static_cast<std::size_t>(lines_.size() / std::max<std::size_t>(headerLength, 16));
        estimate = std::min<std::size_t>(estimate + 16, 1 << 26);
        table_.times.reserve(estimate);
        for (auto& column : table_.columns)
            column.values.reserve(estimate);
    }

    // False when the line's time could not be read.
    bool dataLine(std::string_view line) {
        const char* p = line.data();
        const char* end = p + line.size();
        const std::int64_t lineNumber = lines_.lineNumber();
        std::fill(row_.begin(), row_.end(), missing);
        std::string_view timeText, dateText;
        int values = 0;
        std::size_t field = 0;
        pendingBad_.clear();
        while (true) {
            if (field >= fieldCount_) {
                const char* rest = p;
                if (cells_.skip(rest, end).empty() && rest == end)
                    break; // a trailing delimiter
                table_.skipped.skipLine(lineNumber, "more fields than the header has");
                return true;
            }
            if (static_cast<int>(field) == timeField_) {
                timeText = cells_.skip(p, end);
            } else if (static_cast<int>(field) == dateField_) {
                dateText = cells_.skip(p, end);
            } else {
                const char* start = p;
                double value = 0.0;
                CsvCells::Cell cell = cells_.number(p, end, value);
                int c = fieldColumns_[field];
                if (cell == CsvCells::Cell::number) {
                    row_[static_cast<std::size_t>(c)] = value;
                    ++values;
                } else if (cell == CsvCells::Cell::bad) {
                    pendingBad_.push_back({c, std::string_view(start, static_cast<std::size_t>(p - start))});
                }
            }
            ++field;
            if (p == end)
                break;
            ++p;
        }
        if (field < fieldCount_) {
            table_.skipped.skipLine(lineNumber, "fewer fields than the header has");
            return true;
        }
        double seconds = 0.0;
        if (!readTime(timeText, dateText, seconds)) {
            table_.skipped.skipLine(lineNumber, "cannot read the time");
            return false;
        }
        if (!plausibleTime(seconds)) {
            table_.skipped.skipLine(lineNumber, "time out of range");
            return true;
        }
        for (const auto& bad : pendingBad_)
            table_.columns[static_cast<std::size_t>(bad.column)].noteBadCell(lineNumber, bad.text);
        if (values == 0) {
            if (pendingBad_.empty())
                table_.skipped.skipLine(lineNumber, "a record without values");
            return true;
        }
        table_.times.push_back(seconds);
        for (std::size_t c = 0; c < row_.size(); ++c) {
            table_.columns[c].values.push_back(row_[c]);
            table_.columns[c].numbers += !std::isnan(row_[c]);
        }
        return true;
    }

    bool readTime(std::string_view text, std::string_view date, double& seconds) {
        if (encoding_ == Encoding::unknown && !detect(text, date))
            return false;
        switch (encoding_) {
        case Encoding::unixSeconds:
        case Encoding::unixMilliseconds:
        case Encoding::days:
            return numberFromText(text, seconds);
        case Encoding::iso: {
            auto time = parseDateTime(text);
            if (!time)
                return false;
            seconds = time->seconds;
            return true;
        }
        case Encoding::dateAndTime: {
            auto day = parseDate(date);
            auto time = parseTimeOfDay(text);
            if (!day || !time)
                return false;
            seconds = *day + time->seconds;
            return true;
        }
        case Encoding::unknown:
            break;
        }
        return false;
    }

    bool numberFromText(std::string_view text, double& seconds) const {
        double value = 0.0;
        const char* p = text.data();
        if (text.empty() || cells_.number(p, text.data() + text.size(), value) != CsvCells::Cell::number ||
            p != text.data() + text.size())
            return false;
        seconds = fromNumber(value);
        return std::isfinite(seconds);
    }

    double fromNumber(double value) const {
        switch (encoding_) {
        case Encoding::unixSeconds:
            return value;
        case Encoding::unixMilliseconds:
            return value / 1000.0;
        case Encoding::days:
            return daysToUnixSeconds(value);
        default:
            return missing;
        }
    }

    // Tells from the first readable time how the column writes its times.
    bool detect(std::string_view text, std::string_view date) {
        double value = 0.0;
        const char* p = text.data();
        if (!text.empty() && cells_.number(p, text.data() + text.size(), value) == CsvCells::Cell::number &&
            p == text.data() + text.size()) {
            double magnitude = std::fabs(value);
            // 1e8 s is 1973, 1e11 s the year 5138; 1e4 days since 1899 are 1927, 1e6 days 4637.
            if (inMilliseconds_ || magnitude >= 1e11)
                encoding_ = Encoding::unixMilliseconds;
            else if (magnitude >= 1e8)
                encoding_ = Encoding::unixSeconds;
            else if (magnitude >= 1e4 && magnitude < 1e6)
                encoding_ = Encoding::days;
            else
                return false;
            table_.utcTimes = encoding_ != Encoding::days || namedUtc_;
            return true;
        }
        if (auto time = parseDateTime(text)) {
            encoding_ = Encoding::iso;
            table_.utcTimes = time->hasZone || namedUtc_;
            return true;
        }
        if (auto time = parseTimeOfDay(text); time && dateField_ >= 0 && parseDate(date)) {
            encoding_ = Encoding::dateAndTime;
            table_.utcTimes = time->hasZone || namedUtc_;
            return true;
        }
        return false;
    }

    struct BadCell {
        int column;
        std::string_view text;
    };
    static constexpr int unmapped = -1;

    LineReader& lines_;
    InputTable& table_;
    CsvCells cells_;
    int timeField_ = -1;
    int dateField_ = -1;
    bool namedUtc_ = false;
    bool inMilliseconds_ = false;
    Encoding encoding_ = Encoding::unknown;
    int failedDetections_ = 0;
    std::size_t fieldCount_ = 0;
    std::vector<int> fieldColumns_;
    std::vector<double> row_;
    std::vector<BadCell> pendingBad_;
};

} // namespace

bool PlainCsvReader::read(LineReader& lines, InputTable& table, std::string& error) {
    return Reader(lines, table).run(error);
}

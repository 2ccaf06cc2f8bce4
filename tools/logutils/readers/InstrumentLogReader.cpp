#include "readers/InstrumentLogReader.h"

#include "readers/CsvCells.h"
#include "readers/TimeText.h"

#include <atomic>
#include <cmath>
#include <exception>
#include <future>
#include <limits>
#include <memory>
#include <system_error>
#include <thread>
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

bool isNamesOrChannelLine(std::string_view line) {
    return startsWithNoCase(line, "!boat,");
}

class Reader {
public:
    Reader(LineReader& lines, InputTable& table, std::uint64_t halvesFrom)
        : lines_(lines), table_(table), halvesFrom_(halvesFrom) {}

    bool run(std::string& error) {
        std::string_view line;
        table_.kind = "instrument log";
        while (true) {
            if (half_ && lines_.position() >= half_->start && joinSecondHalf(error))
                break;
            if (!error.empty())
                return false;
            if (!lines_.next(line))
                break;
            if (line.empty())
                continue;
            if (line.front() == '!') {
                headerLine(line);
            } else if (names_.empty()) {
                table_.skipped.skipLine(lines_.lineNumber(), "a record before any header");
            } else {
                dataLine(line);
                if (!half_ && boat_ && !splitTried_)
                    startSecondHalf();
            }
        }
        if (half_)
            half_->stop = true; // read error: the second half is no use
        half_.reset();
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
    // The second half of a large log, read on a thread of its own with the header as it stood
    // when the records began. A names or channel line further on (a program restarted) changes
    // how the records after it read: then the second half is void, and read again here.
    struct SecondHalf {
        std::uint64_t start = 0;
        std::optional<LineReader> lines;
        InputTable table;
        std::unique_ptr<Reader> reader;
        std::atomic<bool> stop = false;
        bool finished = false; // read to the end, not voided
        // Set by the first half when its own header changed: the second half may have finished
        // before it heard, and its records still read with the old header.
        bool voided = false;
        // What the thread threw (out of memory, say): handed to the first half, which throws it
        // on its own thread when it joins, since an exception must not end a thread of its own.
        std::exception_ptr failure;
        std::thread thread;

        ~SecondHalf() {
            stop = true;
            if (thread.joinable())
                thread.join();
        }
    };

    // Reading as the second half: the header state of the reader that splits, nothing else.
    Reader(LineReader& lines, InputTable& table, const Reader& first)
        : lines_(lines), table_(table), halvesFrom_(std::numeric_limits<std::uint64_t>::max()),
          names_(first.names_), channelNames_(first.channelNames_),
          channelColumns_(first.channelNames_.size(), unmapped), boat_(first.boat_), sparse_(first.sparse_) {}

    void readSecondHalf(SecondHalf& half) {
        std::string_view line;
        while (!half.stop.load(std::memory_order_relaxed) && lines_.next(line)) {
            if (line.empty())
                continue;
            if (line.front() != '!')
                dataLine(line);
            else if (isNamesOrChannelLine(line))
                return;
        }
        half.finished = !half.stop.load(std::memory_order_relaxed);
    }

    // Once the first records are in, so that both halves begin with the same boat and columns.
    void startSecondHalf() {
        splitTried_ = true;
        const std::uint64_t here = lines_.position();
        if (lines_.size() <= here || lines_.size() - here < halvesFrom_ ||
            std::thread::hardware_concurrency() < 2)
            return;
        auto start = lines_.lineStartFrom(here + (lines_.size() - here) / 2);
        std::string error;
        std::optional<LineReader> rest = start ? lines_.from(*start, error) : std::nullopt;
        if (!rest)
            return;
        half_ = std::make_unique<SecondHalf>();
        SecondHalf& half = *half_;
        half.start = *start;
        half.lines.emplace(std::move(*rest));
        half.reader.reset(new Reader(*half.lines, half.table, *this));
        half.thread = std::thread([&half] {
            try {
                half.reader->readSecondHalf(half);
            } catch (...) {
                half.failure = std::current_exception();
            }
        });
    }

    // At the end of the first half: takes in the second half's records. True when done; false
    // when reading goes on here, or with `error` when it cannot.
    bool joinSecondHalf(std::string& error) {
        std::unique_ptr<SecondHalf> half = std::move(half_);
        half->thread.join();
        if (half->failure)
            std::rethrow_exception(half->failure);
        if (!half->lines->readError().empty()) {
            error = "read error: " + half->lines->readError();
            return false;
        }
        if (!half->finished || half->voided)
            return false;
        appendTable(half->table, half->reader->columnByName_, lines_.lineNumber());
        return true;
    }

    void appendTable(InputTable& later, const std::unordered_map<std::string, int>& laterColumns,
                     std::int64_t linesBefore) {
        const std::size_t rows = table_.rowCount();
        // Columns first seen in the second half come after the others, as when read in one go.
        std::vector<InputColumn*> sources;
        for (auto& column : later.columns)
            mappedColumn(column.name);
        sources.assign(table_.columns.size(), nullptr);
        for (const auto& [name, index] : laterColumns)
            sources[static_cast<std::size_t>(columnByName_.at(name))] =
                &later.columns[static_cast<std::size_t>(index)];
        auto appendColumns = [&](std::size_t first, std::size_t last) {
            for (std::size_t c = first; c < last; ++c) {
                InputColumn& column = table_.columns[c];
                InputColumn* source = sources[c];
                if (!source) {
                    column.values.resize(rows + later.rowCount(), missing);
                    continue;
                }
                column.values.insert(column.values.end(), source->values.begin(), source->values.end());
                Values().swap(source->values); // so that the two halves are never held twice
                column.numbers += source->numbers;
                if (column.badCells == 0 && source->badCells > 0) {
                    column.firstBadLine = source->firstBadLine + linesBefore;
                    column.firstBad = source->firstBad;
                }
                column.badCells += source->badCells;
            }
        };
        // Half of the columns on another thread: the copy is mostly the faulting in of the rows'
        // fresh memory, and the second half's thread is done by now.
        const std::size_t middle = table_.columns.size() / 2;
        std::future<void> otherColumns;
        try {
            otherColumns = std::async(std::launch::async, appendColumns, middle, table_.columns.size());
        } catch (const std::system_error&) {
            appendColumns(middle, table_.columns.size()); // no thread to be had
        }
        try {
            appendColumns(0, middle);
            table_.times.insert(table_.times.end(), later.times.begin(), later.times.end());
        } catch (...) {
            if (otherColumns.valid())
                otherColumns.wait();
            throw;
        }
        if (otherColumns.valid())
            otherColumns.get();
        table_.skipped.append(later.skipped, linesBefore);
    }

    void headerLine(std::string_view line) {
        if (!isNamesOrChannelLine(line))
            return; // "!v11.16.1" and the like
        if (half_) {
            half_->voided = true;
            half_->stop = true;
        }
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
        // Columns go on huge pages from 4 MiB on: one that nearly fills that much (the second half
        // of a log of a million rows) is given it, rather than be faulted in 4 KiB at a time.
        constexpr std::size_t hugeColumnRows = 2 * UninitializedAllocator<double>::hugePage / sizeof(double);
        if (expectedRows_ >= hugeColumnRows / 2)
            expectedRows_ = std::max(expectedRows_, hugeColumnRows);
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
            values += storeCell(c, cell, value, lineNumber,
                                std::string_view(start, static_cast<std::size_t>(p - start)));
        }
        return values;
    }

    // One parsed cell of column c into the row being built; 1 when it held a number.
    int storeCell(int c, CsvCells::Cell cell, double value, std::int64_t lineNumber, std::string_view text) {
        InputColumn& column = table_.columns[static_cast<std::size_t>(c)];
        if (cell == CsvCells::Cell::number) {
            row_[static_cast<std::size_t>(c)] = value;
            ++column.numbers;
            return 1;
        }
        if (cell == CsvCells::Cell::bad)
            column.noteBadCell(lineNumber, text);
        return 0;
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
            values += storeCell(c, cell, value, lineNumber,
                                std::string_view(start, static_cast<std::size_t>(p - start)));
        }
        return values;
    }

    LineReader& lines_;
    InputTable& table_;
    const std::uint64_t halvesFrom_;
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
    bool splitTried_ = false;
    std::unique_ptr<SecondHalf> half_;
};

} // namespace

bool InstrumentLogReader::recognises(std::string_view head) {
    if (head.substr(0, 3) == "\xEF\xBB\xBF")
        head.remove_prefix(3);
    return startsWithNoCase(head, "!boat,");
}

bool InstrumentLogReader::read(LineReader& lines, InputTable& table, std::string& error,
                               std::uint64_t halvesFrom) {
    return Reader(lines, table, halvesFrom).run(error);
}

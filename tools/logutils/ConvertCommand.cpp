#include "ConvertCommand.h"

#include "ColumnNames.h"
#include "DerivedFigures.h"
#include "FigureTable.h"
#include "MergedTable.h"
#include "PandasFrameWriter.h"
#include "SegmentRecords.h"
#include "StartLineFigures.h"
#include "WindEstimate.h"
#include "XmlArena.h"
#include "boatlog/LogMetadata.h"
#include "core/Diagnostics.h"
#include "core/SerialQueue.h"
#include "core/TimeZone.h"
#include "readers/GpxReader.h"
#include "readers/Hdf5LogReader.h"
#include "readers/InstrumentLogReader.h"
#include "readers/KmlReader.h"
#include "readers/LineReader.h"
#include "readers/NmeaReader.h"
#include "readers/PlainCsvReader.h"
#include "readers/VccReader.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fast_float/fast_float.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <span>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string megabytes(double bytes) {
    return fixed(bytes / 1e6, bytes < 1e7 ? 2 : 1) + " MB";
}

std::string rateText(double rate) {
    return (rate == std::floor(rate) ? std::to_string(static_cast<long long>(rate)) : fixed(rate, 3)) + " Hz";
}

void say(const std::string& line) {
    Diagnostics::printLine(line);
}

// The failure: one line on stderr for the progress log, and the exit code.
int fail(const std::string& reason) {
    std::fprintf(stderr, "Error: %s\n", reason.c_str());
    std::fflush(stderr);
    return 2;
}

std::optional<double> numberArgument(const std::string& text) {
    double value = 0.0;
    auto result = fast_float::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

// Peak resident memory of this process, for the closing line.
std::optional<double> peakMemoryBytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0)
            return std::strtod(line.c_str() + 6, nullptr) * 1024.0;
    return std::nullopt;
}

// The output is written under a temporary name beside it and renamed when complete; an
// interrupted run removes it, so that no half-written log is ever found under the real name.
char pendingOutput[4096];

void removePendingOutput(int signal) {
    if (pendingOutput[0])
        ::unlink(pendingOutput);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

class PendingOutput {
public:
    explicit PendingOutput(const std::string& output)
        : path_(output + ".partial-" + std::to_string(::getpid())) {
        std::snprintf(pendingOutput, sizeof pendingOutput, "%s", path_.c_str());
        std::signal(SIGINT, removePendingOutput);
        std::signal(SIGTERM, removePendingOutput);
        std::signal(SIGHUP, removePendingOutput);
    }
    ~PendingOutput() {
        if (!committed_)
            ::unlink(path_.c_str());
        pendingOutput[0] = '\0';
    }
    PendingOutput(const PendingOutput&) = delete;
    PendingOutput& operator=(const PendingOutput&) = delete;

    const std::string& path() const { return path_; }

    // Renaming over an existing file makes ext4 allocate and start writing out every block of
    // the new one at once (its guard for programs that replace files without syncing them), which
    // took as long as writing the log. Exchanging the two names does not; the old log, now under
    // the temporary name, is then removed, by the signal handler too should one come in between.
    bool commit(const std::string& output, std::string& error) {
        struct stat existing {};
        if (::lstat(output.c_str(), &existing) == 0 && S_ISREG(existing.st_mode) &&
            ::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, output.c_str(), RENAME_EXCHANGE) == 0) {
            committed_ = true;
            ::unlink(path_.c_str());
            return true;
        }
        std::error_code code;
        std::filesystem::rename(path_, output, code);
        if (code) {
            error = "cannot move the finished log to " + output + ": " + code.message();
            return false;
        }
        committed_ = true;
        return true;
    }

private:
    std::string path_;
    bool committed_ = false;
};

// The output's HDF5 file, created before any input is read, so that an output that cannot be
// written fails at once rather than after minutes of reading. It lives on the HDF5 queue: made,
// written and closed there.
class OutputFile {
public:
    explicit OutputFile(const std::string& path) {
        SerialQueue::hdf().sync([&] { file_ = Hdf5File::create(path); });
    }
    ~OutputFile() {
        try {
            close();
        } catch (...) {
            file_.reset(); // the queue could not take the task (out of memory): nothing else runs there now
        }
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool isOpen() const { return file_.has_value(); }
    // Only on the HDF5 queue.
    Hdf5File& file() { return *file_; }
    void close() {
        if (file_)
            SerialQueue::hdf().sync([&] { file_.reset(); });
    }

private:
    std::optional<Hdf5File> file_;
};

// Wall-clock seconds of each stage, for --timings: where a slow conversion spends its time.
// Detection runs while the frame is written, so those two overlap.
struct StageTimes {
    double read = 0.0, merge = 0.0, derive = 0.0, detect = 0.0, write = 0.0;

    std::string text() const {
        return "Stage times: read " + fixed(read, 3) + " s, merge " + fixed(merge, 3) + " s, derive " +
               fixed(derive, 3) + " s, detect " + fixed(detect, 3) + " s, write " + fixed(write, 3) +
               " s (detect runs while writing)";
    }
};

struct Input {
    std::string path;
    InputTable table;
    std::vector<ColumnName> names; // by column
};

enum class ReadResult { read, skipped, failed };

// A whole file, read into memory that is neither zeroed first nor faulted in 4 KiB at a time.
using FileBytes = std::vector<char, UninitializedAllocator<char>>;

// Bytes [begin, end) of the file into the same bytes of `text`; how many could be read.
std::size_t readPart(int fd, FileBytes& text, std::size_t begin, std::size_t end) {
    std::size_t at = begin;
    while (at < end) {
        const ssize_t n = ::pread(fd, text.data() + at, end - at, static_cast<off_t>(at));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        at += static_cast<std::size_t>(n);
    }
    return at - begin;
}

bool readWhole(const std::string& path, FileBytes& text, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (fd < 0 || ::fstat(fd, &status) != 0) {
        if (fd >= 0)
            ::close(fd);
        error = "cannot read the file";
        return false;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    text.resize(size);
    // A large file in two halves at once: faulting in the fresh memory costs as much as copying
    // the bytes, and the other core has nothing to do yet.
    std::size_t middle = size >= (8 << 20) && std::thread::hardware_concurrency() > 1 ? size / 2 : size;
    std::future<std::size_t> secondHalf;
    if (middle < size) {
        try {
            secondHalf = std::async(std::launch::async, [&] { return readPart(fd, text, middle, size); });
        } catch (const std::system_error&) {
            middle = size; // no thread to be had: all of it here
        }
    }
    const std::size_t first = readPart(fd, text, 0, middle);
    const std::size_t second = secondHalf.valid() ? secondHalf.get() : 0;
    ::close(fd);
    // A file cut short meanwhile keeps what was read without a gap.
    text.resize(first < middle ? first : middle + second);
    return true;
}

// The XML track formats are parsed whole, in place.
template <typename Read>
bool readXml(const std::string& path, InputTable& table, std::string& reason, Read read) {
    FileBytes text;
    if (!readWhole(path, text, reason))
        return false;
    XmlArena arena;
    return read(std::span<char>(text.data(), text.size()), table, reason);
}

ReadResult readInput(Input& input, std::string& error) {
    const std::string& path = input.path;
    say("Reading " + path);
    const auto started = Clock::now();
    std::string reason;
    auto lines = LineReader::openFile(path, reason);
    if (!lines) {
        error = "cannot open " + path + ": " + reason;
        return ReadResult::failed;
    }
    const double bytes = static_cast<double>(lines->size());
    bool read = false;
    if (lines->head().empty()) {
        reason = "the file is empty";
    } else if (Hdf5LogReader::recognises(lines->head())) {
        lines.reset();
        SerialQueue::hdf().sync([&] { read = Hdf5LogReader::read(path, input.table, reason); });
    } else if (InstrumentLogReader::recognises(lines->head())) {
        read = InstrumentLogReader::read(*lines, input.table, reason);
    } else if (NmeaReader::recognises(lines->head())) {
        read = NmeaReader::read(*lines, input.table, reason);
    } else if (GpxReader::recognises(lines->head())) {
        lines.reset();
        read =
            readXml(path, input.table, reason, [](std::span<char> text, InputTable& table, std::string& why) {
                return GpxReader::read(text, table, why);
            });
    } else if (KmlReader::recognises(lines->head())) {
        lines.reset();
        read = readXml(path, input.table, reason, KmlReader::read);
    } else if (VccReader::recognises(lines->head())) {
        lines.reset();
        read = readXml(path, input.table, reason, VccReader::read);
    } else {
        read = PlainCsvReader::read(*lines, input.table, reason);
    }
    if (read && input.table.rowCount() == 0)
        reason = "no records", read = false;
    if (read && input.table.columns.empty())
        reason = "no columns with values", read = false;

    const InputTable& table = input.table;
    const auto& lineSkips = table.skipped.lines();
    const auto& valueSkips = table.skipped.values();
    if (lineSkips.count > 0)
        say("Skipped " + std::to_string(lineSkips.count) + (lineSkips.count == 1 ? " line" : " lines") +
            " of " + path + ", first at " + lineSkips.first());
    if (valueSkips.count > 0)
        say("Skipped " + std::to_string(valueSkips.count) + (valueSkips.count == 1 ? " value" : " values") +
            " of " + path + ", first at " + valueSkips.first());
    if (!read) {
        say("Skipped " + path + ": " + reason);
        return ReadResult::skipped;
    }
    for (const auto& note : table.notes)
        say(note + " in " + path);
    const double seconds = std::max(secondsSince(started), 1e-6);
    say("Read " + std::to_string(table.rowCount()) + " records, " + std::to_string(table.columns.size()) +
        " columns from " + path + " (" + table.kind + "): " + megabytes(bytes) + " in " + fixed(seconds, 2) +
        " s, " + fixed(bytes / 1e6 / seconds, 1) + " MB/s");
    return ReadResult::read;
}

// Brings every input onto one clock: UTC when any input knows its zone, else the wall-clock time
// as read. Answers the parse context's utcOffset (minutes east of UTC), when there is one.
std::optional<std::int64_t> alignClocks(std::vector<Input>& inputs, const std::optional<TimeZone>& zone) {
    for (auto& input : inputs) {
        if (!input.table.parseContext)
            continue;
        auto context = decodeParseContext(*input.table.parseContext);
        if (context && context->utcOffset) {
            // A converted log with a known zone: back to UTC.
            const double shift = static_cast<double>(*context->utcOffset) * 60.0;
            for (double& t : input.table.times)
                t -= shift;
            input.table.utcTimes = true;
        }
    }
    bool anyUtc = false, anyWallClock = false;
    double firstTime = INFINITY;
    for (const auto& input : inputs) {
        (input.table.utcTimes ? anyUtc : anyWallClock) = true;
        firstTime = std::min(firstTime, input.table.times.front());
    }
    auto offsetAt = [&](double wallClock) { return zone->secondsFromGMT(Instant::fromUnix(wallClock)); };
    if (!anyUtc) {
        if (!zone) {
            say("Times carry no zone: kept as the wall-clock time they show");
            return std::nullopt;
        }
        int offset = offsetAt(firstTime);
        say("Times carry no zone: kept as wall-clock time of " + zone->identifier());
        return offset / 60;
    }
    for (auto& input : inputs) {
        if (input.table.utcTimes)
            continue;
        if (zone) {
            // One offset for the whole input, as the desktop program reads a log.
            const double offset = offsetAt(input.table.times.front());
            for (double& t : input.table.times)
                t -= offset;
            say("Times of " + input.path + " carry no zone: read in " + zone->identifier());
        } else {
            say("Warning: times of " + input.path +
                " carry no zone; read as UTC to match the other inputs (name their zone with --zone)");
        }
    }
    return 0;
}

SegmentRecords detectRecords(const FigureTable& figures) {
    SegmentRecords records;
    records.races = RaceDetector::detect(figures);
    Values estimated;
    std::span<const double> angles;
    if (const auto* twa = figures.find("TWA"))
        angles = *twa;
    else if (WindEstimate::estimateAngles(figures, estimated))
        angles = estimated;
    if (!angles.empty()) {
        const std::span<const double> times(figures.times().data(), figures.times().size());
        records.manoeuvres = ManoeuvreDetector::detect(times, angles);
        records.legs = LegDetector::detect(times, angles);
    }
    return records;
}

} // namespace

bool ConvertCommand::parseArguments(const std::vector<std::string>& arguments, ConvertOptions& options,
                                    std::string& error) {
    bool haveLength = false, haveOffset = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string argument = arguments[i];
        std::optional<std::string> attached;
        if (argument.rfind("--", 0) == 0 && argument.find('=') != std::string::npos) {
            attached = argument.substr(argument.find('=') + 1);
            argument = argument.substr(0, argument.find('='));
        }
        auto value = [&]() -> std::optional<std::string> {
            if (attached)
                return attached;
            if (i + 1 < arguments.size())
                return arguments[++i];
            error = argument + " needs a value";
            return std::nullopt;
        };
        auto number = [&](double& target) {
            auto text = value();
            if (!text)
                return false;
            auto parsed = numberArgument(*text);
            if (!parsed) {
                error = argument + " needs a number, not \"" + *text + "\"";
                return false;
            }
            target = *parsed;
            return true;
        };
        if (argument == "-o" || argument == "--output") {
            auto text = value();
            if (!text)
                return false;
            options.output = *text;
        } else if (argument == "--boatLength") {
            if (!number(options.boatLength))
                return false;
            haveLength = true;
        } else if (argument == "--gpsOffset") {
            if (!number(options.gpsOffset))
                return false;
            haveOffset = true;
        } else if (argument == "--rate") {
            double rate = 0.0;
            if (!number(rate))
                return false;
            if (!(rate > 0.0 && rate <= 1000.0)) {
                error = "--rate needs a rate in Hz above 0 and at most 1000";
                return false;
            }
            options.rate = rate;
        } else if (argument == "--timings") {
            options.timings = true;
        } else if (argument == "--zone") {
            auto text = value();
            if (!text)
                return false;
            options.zone = *text;
        } else if (argument.size() > 1 && argument.front() == '-') {
            error = "unknown option " + argument;
            return false;
        } else {
            options.inputs.push_back(argument);
        }
    }
    if (options.output.empty())
        error = "no output file (-o OUT)";
    else if (!haveLength)
        error = "no boat length (--boatLength L)";
    else if (!haveOffset)
        error = "no GPS offset (--gpsOffset G)";
    else if (options.inputs.empty())
        error = "no input files";
    return error.empty();
}

int ConvertCommand::run(const ConvertOptions& options) {
    const auto started = Clock::now();
    std::optional<TimeZone> zone;
    if (options.zone) {
        zone = TimeZone::fromIdentifier(*options.zone);
        if (!zone)
            return fail("unknown time zone \"" + *options.zone + "\"");
    }
    PendingOutput pending(options.output);
    OutputFile output(pending.path());
    if (!output.isOpen())
        return fail("cannot create " + options.output);
    StageTimes stages;

    auto stageStart = Clock::now();
    std::vector<Input> inputs;
    inputs.reserve(options.inputs.size());
    for (const auto& path : options.inputs) {
        Input input;
        input.path = path;
        std::string error;
        ReadResult result = readInput(input, error);
        if (result == ReadResult::failed)
            return fail(error);
        if (result == ReadResult::read)
            inputs.push_back(std::move(input));
    }
    if (inputs.empty())
        return fail(options.inputs.size() == 1 ? "nothing to convert in " + options.inputs.front()
                                               : "nothing to convert in any of the " +
                                                     std::to_string(options.inputs.size()) + " input files");
    stages.read = secondsSince(stageStart);

    stageStart = Clock::now();
    // Names and storage units.
    for (auto& input : inputs) {
        for (auto& column : input.table.columns) {
            input.names.push_back(mapColumnName(column.name));
            if (double factor = input.names.back().factor; factor != 1.0)
                for (double& v : column.values)
                    v *= factor;
        }
    }
    const std::optional<std::int64_t> utcOffset = alignClocks(inputs, zone);

    std::vector<const InputTable*> tables;
    std::optional<double> densest;
    for (auto& input : inputs) {
        TimeGrid::SortReport report = TimeGrid::sortRows(input.table);
        if (report.wasUnsorted)
            say("Sorted the records of " + input.path + " by time");
        if (report.duplicates > 0)
            say("Merged " + std::to_string(report.duplicates) + " records of " + input.path +
                " into records of the same time");
        if (auto rate = TimeGrid::sampleRate(input.table))
            densest = std::max(densest.value_or(0.0), *rate);
        tables.push_back(&input.table);
    }
    const double rate = options.rate ? *options.rate : TimeGrid::roundedRate(densest.value_or(1.0));
    TimeGrid::Grid grid = TimeGrid::makeGrid(tables, rate);
    if (grid.times.empty())
        return fail("no records to write"); // every input has a row, on the grid or at its own time

    MergedTable merged;
    for (auto& input : inputs)
        for (std::size_t c = 0; c < input.table.columns.size(); ++c)
            merged.addSource(input.names[c].name, input.table, input.table.columns[c].values,
                             input.names[c].circular);
    std::string layout;
    if (grid.spans > 0)
        layout = " in " + std::to_string(grid.spans) + (grid.spans == 1 ? " stretch" : " stretches");
    if (grid.lonePoints > 0)
        layout += (grid.spans > 0 ? " and " : ", ") + std::to_string(grid.lonePoints) +
                  (grid.lonePoints == 1 ? " lone point at its own time" : " lone points at their own times");
    say("Merging " + std::to_string(inputs.size()) + (inputs.size() == 1 ? " input" : " inputs") + " at " +
        rateText(rate) + (options.rate ? "" : " (the densest input's rate)") + ": " +
        std::to_string(grid.times.size()) + " records" + layout + ", " +
        std::to_string(merged.columnCount()) + " columns");

    FigureTable figures(grid.times, merged.names());
    merged.loadColumns(grid.times, FigureTable::usedNames(),
                       [&](const std::string& name, MergedTable::Column column) {
                           if (column.input.empty())
                               figures.load(name, std::move(column.values));
                           else
                               figures.view(name, column.input);
                       });
    stages.merge = secondsSince(stageStart);

    stageStart = Clock::now();
    DerivedFigures::derive(figures);
    StartLineFigures::derive(figures, options.boatLength, options.gpsOffset);
    if (!figures.derivedNames().empty()) {
        std::string names;
        for (const auto& name : figures.derivedNames())
            names += (names.empty() ? "" : ", ") + name;
        say("Derived " + names + " (not in the inputs)");
    }
    stages.derive = secondsSince(stageStart);

    // Tacks, legs and starts go into the metadata, written after the frame: they are found on
    // another thread meanwhile. The figures are only read from here on. (The future waits for its
    // thread when destroyed, so the thread never outlives the figures on any way out.)
    std::future<SegmentRecords> detecting = std::async(std::launch::async, [&figures, &stages] {
        const auto detectStart = Clock::now();
        SegmentRecords records = detectRecords(figures);
        stages.detect = secondsSince(detectStart);
        return records;
    });

    stageStart = Clock::now();
    std::vector<std::string> outputNames = merged.names();
    for (const auto& name : figures.derivedNames())
        outputNames.push_back(name);
    std::vector<const FigureTable::Column*> derivedColumns;
    for (const auto& name : figures.derivedNames())
        derivedColumns.push_back(figures.find(name));
    const std::size_t mergedCount = merged.columnCount(), outputCount = outputNames.size();
    Values slab;
    std::string error;
    bool written = false;
    SerialQueue::hdf().sync([&] {
        PandasFrameWriter writer(output.file());
        written = writer.writeRootAttributes() &&
                  writer.writeFrame("log0", outputNames, grid.times.data(), grid.times.size(),
                                    [&](std::uint64_t first, std::uint64_t count, double* out) {
                                        if (derivedColumns.empty())
                                            return merged.fill(grid.times, first, count, out);
                                        slab.resize(count * mergedCount);
                                        merged.fill(grid.times, first, count, slab.data());
                                        for (std::uint64_t r = 0; r < count; ++r) {
                                            double* row = out + r * outputCount;
                                            std::copy_n(slab.data() + r * mergedCount, mergedCount, row);
                                            for (std::size_t d = 0; d < derivedColumns.size(); ++d)
                                                row[mergedCount + d] = (*derivedColumns[d])[first + r];
                                        }
                                    });
    });
    stages.write = secondsSince(stageStart);
    const SegmentRecords records = detecting.get();
    say("Found " + std::to_string(records.races.size()) +
        (records.races.size() == 1 ? " start, " : " starts, ") +
        std::to_string(std::count_if(records.manoeuvres.begin(), records.manoeuvres.end(),
                                     [](const auto& m) { return m.tack; })) +
        " tacks, " +
        std::to_string(std::count_if(records.manoeuvres.begin(), records.manoeuvres.end(),
                                     [](const auto& m) { return !m.tack; })) +
        " gybes, " + std::to_string(records.legs.size()) + (records.legs.size() == 1 ? " leg" : " legs"));
    nlohmann::ordered_json context = nlohmann::ordered_json::object();
    if (utcOffset)
        context["utcOffset"] = *utcOffset;
    const std::string segments = records.json(utcOffset), parseContext = context.dump();
    stageStart = Clock::now();
    SerialQueue::hdf().sync([&] {
        PandasFrameWriter writer(output.file());
        written = written && writer.writeJson("meta", R"({"segmentCount": 1})") &&
                  writer.writeJson("meta0", segments) && writer.writeJson("parseContext", parseContext) &&
                  output.file().flush();
    });
    output.close();
    if (!written)
        return fail("cannot write " + options.output + " (is the disk full?)");
    if (!pending.commit(options.output, error))
        return fail(error);
    stages.write += secondsSince(stageStart);

    std::error_code code;
    const double size = static_cast<double>(std::filesystem::file_size(options.output, code));
    say("Wrote " + std::to_string(grid.times.size()) + " records, " + std::to_string(outputCount) +
        " columns to " + options.output + " (" + megabytes(code ? 0.0 : size) + ")");
    std::string done = "Converted in " + fixed(secondsSince(started), 2) + " s";
    if (auto peak = peakMemoryBytes())
        done += ", peak memory " + megabytes(*peak);
    say(done);
    if (options.timings) {
        std::fprintf(stderr, "%s\n", stages.text().c_str());
        std::fflush(stderr);
    }
    return 0;
}

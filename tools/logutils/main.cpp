#include "ConvertCommand.h"
#include "InfoCommand.h"

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

namespace {

const char* const usage =
    "usage: logutils-cli convert -o OUT --boatLength L --gpsOffset G [--rate HZ] [--zone ID] [--timings]\n"
    "                            INPUT...\n"
    "       logutils-cli info FILE\n"
    "       logutils-cli --help | --version\n";

const char* const help =
    "\n"
    "convert  Reads instrument logs and writes them as one Wakeline boat log (HDF5) to OUT.\n"
    "  INPUT          instrument CSV logs of navigation programs (sparse or dense form), CSV\n"
    "                 tables with a time column (comma, semicolon or tab separated), NMEA 0183\n"
    "                 logs, GPX, KML and VCC tracks, and boat logs converted earlier (.hdf5);\n"
    "                 formats are told by content; several inputs are merged onto one time grid\n"
    "                 (the points of a track sparser than 10 s keep rows at their own times)\n"
    "                 SOG, COG, TWS, TWA, TWD, VMG and the start-line figures are derived where\n"
    "                 the inputs lack them; tacks, gybes, legs and starts go into the metadata\n"
    "  --boatLength L the boat's length in metres\n"
    "  --gpsOffset G  the GPS antenna's distance forward of the stern in metres (the bow is\n"
    "                 boatLength - gpsOffset ahead of it)\n"
    "  --rate HZ      records per second of the output (default: the densest input's rate,\n"
    "                 rounded to 1, 2, 4, 5, 10, 20 or 25)\n"
    "  --zone ID      the time zone (IANA name or GMT+hhmm) of inputs whose times carry none\n"
    "  --timings      one more line on stderr: the seconds that reading, merging, deriving,\n"
    "                 detecting and writing took\n"
    "  Progress goes to stdout line by line; a failure is one line on stderr and exit code 2,\n"
    "  and leaves no output file.\n"
    "\n"
    "info     Prints a JSON summary of a boat log: records, columns, availableMetrics, start and\n"
    "         end (Unix seconds), segmentCount, utcOffsetMinutes, raceRecords, eventRecords,\n"
    "         legRecords.\n";

int usageError(const std::string& reason) {
    std::fprintf(stderr, "Error: %s\n%s", reason.c_str(), usage);
    return 2;
}

// Whatever goes wrong ends as every failure does: one line, exit code 2. (The output's partial
// file has gone by then: unwinding to here removed it.)
int failure(const char* reason) {
    std::fprintf(stderr, "Error: %s\n", reason);
    std::fflush(stderr);
    return 2;
}

int runCommand(int argc, char* argv[]) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty())
        return usageError("no command");
    const std::string command = arguments.front();
    arguments.erase(arguments.begin());
    if (command == "--help" || command == "-h" || command == "help") {
        std::printf("%s%s", usage, help);
        return 0;
    }
    if (command == "--version") {
        std::printf("logutils-cli %s\n", LOGUTILS_VERSION);
        return 0;
    }
    if (command == "convert") {
        ConvertOptions options;
        std::string error;
        if (!ConvertCommand::parseArguments(arguments, options, error))
            return usageError(error);
        return ConvertCommand::run(options);
    }
    if (command == "info") {
        if (arguments.size() != 1)
            return usageError("info takes one file");
        return InfoCommand::run(arguments.front());
    }
    return usageError("unknown command \"" + command + "\"");
}

} // namespace

int main(int argc, char* argv[]) {
    try {
        return runCommand(argc, argv);
    } catch (const std::bad_alloc&) {
        return failure("out of memory");
    } catch (const std::exception& error) {
        return failure(error.what());
    } catch (...) {
        return failure("an unexpected failure");
    }
}

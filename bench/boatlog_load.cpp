// Loads one boat-log group from a file, the way the program opens a log, and prints on stdout
//
//   {"mode": "load", "seconds": …, "records": …, "columns": …, "first": …, "last": …, "peak_rss_bytes": …}
//
// With --baseline it does everything except opening and loading the file, so that the
// orchestrating script can take this program's own footprint off the peak memory.
//
// Usage: boatlog_load [--baseline] FILE [GROUP]

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/hdf5/Hdf5File.h"
#include "core/Diagnostics.h"
#include "core/SerialQueue.h"
#include "core/TimeZone.h"
#include "core/UserDefaults.h"
#include "metrics/Boat.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <hdf5.h>
#include <string>
#include <vector>

namespace {

// The process's peak resident set, from the kernel's high-water mark. Not getrusage(): a child's
// ru_maxrss also carries the high-water mark of the process that spawned it.
long long peakResidentBytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stoll(line.substr(6)) * 1024; // "VmHWM:   123456 kB"
    }
    return -1;
}

// JSON has no NaN; a missing value goes out as null.
std::string number(double v) {
    if (!std::isfinite(v))
        return "null";
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.17g", v);
    return buffer;
}

int usage() {
    std::fprintf(stderr, "usage: boatlog_load [--baseline] FILE [GROUP]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    bool baseline = false;
    std::string path;
    std::string group = "log0";
    std::vector<std::string> positional;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--baseline") == 0)
            baseline = true;
        else if (argv[i][0] == '-')
            return usage();
        else
            positional.emplace_back(argv[i]);
    }
    if (positional.empty() || positional.size() > 2)
        return usage();
    path = positional[0];
    if (positional.size() == 2)
        group = positional[1];

    // Stdout carries the JSON alone; the "Loaded … records" line goes to stderr.
    Diagnostics::setStream(stderr);
    UserDefaults::useFile("/tmp/wakeline-bench-settings.ini");
    auto boat = Boat::create("Bench", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    TimeZone zone = TimeZone::utc();
    // Start the queue and the HDF5 library outside the timed part, in both modes: the Python
    // contenders have likewise initialised it when they import h5py or tables.
    SerialQueue::hdf().sync([] { H5open(); });

    if (baseline) {
        std::printf("{\"mode\": \"baseline\", \"peak_rss_bytes\": %lld}\n", peakResidentBytes());
        return 0;
    }

    std::shared_ptr<DoubleArrayBoatLog> log;
    std::string failure;
    bool opened = false;
    auto started = std::chrono::steady_clock::now();
    SerialQueue::hdf().sync([&] {
        auto file = Hdf5File::openReadOnly(path);
        if (!file)
            return;
        opened = true;
        log = DoubleArrayBoatLog::load(*file, group, boat, zone, 0.0, &failure);
    });
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (!opened) {
        std::fprintf(stderr, "boatlog_load: cannot open %s\n", path.c_str());
        return 1;
    }
    if (!log) {
        std::fprintf(stderr, "boatlog_load: cannot load group %s of %s: %s\n", group.c_str(), path.c_str(),
                     failure.c_str());
        return 1;
    }

    // The first and last values let the script check that every contender read the same numbers.
    const DoubleArray& values = log->values();
    double first = values.empty() ? NAN : values.front();
    double last = values.empty() ? NAN : values.back();
    std::printf(
        "{\"mode\": \"load\", \"seconds\": %.9f, \"records\": %lld, \"columns\": %lld, \"first\": %s, "
        "\"last\": %s, \"peak_rss_bytes\": %lld}\n",
        seconds, static_cast<long long>(log->recordCount()), static_cast<long long>(log->rowSize()),
        number(first).c_str(), number(last).c_str(), peakResidentBytes());
    return 0;
}

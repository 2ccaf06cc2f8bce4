// libFuzzer target: the desktop program's own loading of a boat log on arbitrary files, then the
// lookups of playback at instants drawn from the input. A file is either refused with a reason or
// loads into a log whose every lookup answers; nothing in it may stop the program. The HDF5
// library needs a path, so each input is written to one scratch file of this process first.
#include "boatlog/BoatLogView.h"
#include "boatlog/LogFileAsset.h"
#include "core/Diagnostics.h"
#include "metrics/Boat.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <unistd.h>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

// Every metric of the view answers; a stored NaN is no value. (A blend of two infinities may be
// NaN: that is arithmetic, not the store.)
void readAll(const BoatLogView& view, const std::vector<BoatMetric>& metrics) {
    for (const auto& metric : metrics) {
        auto value = view.value(metric);
        check(!value || view.interpolated() || !std::isnan(value->value()));
    }
}

// The first record strictly later than `t`, by a plain linear reading of the times.
void checkFirstIndexAfter(const DoubleArrayBoatLog& log, Instant t) {
    const auto& times = log.offsetTimeIndex();
    auto found = log.firstIndexAfter(t);
    if (!found) {
        check(times.empty() || !(t >= times.front() && t < times.back()));
        return;
    }
    check(found->index >= 0 && found->index < log.recordCount());
    auto i = static_cast<std::size_t>(found->index);
    check(found->time == times[i] && t < times[i]);
    check(i == 0 || !(t < times[i - 1]));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = "/tmp/fuzz_desktop_log-" + std::to_string(::getpid()) + ".hdf5";
    static const bool quiet = [] {
        Diagnostics::setStream(std::fopen("/dev/null", "w"));
        return true;
    }();
    (void)quiet;
    static const auto boat = Boat::create("Fuzz", "", RgbColor::pureRed(), Boat::DisplayMode::Main);

    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);

    QString failure;
    auto asset =
        LogFileAsset::open(QString::fromStdString(path), boat, QUuid(), 0.0, TimeZone::utc(), &failure);
    if (!asset) {
        check(!failure.isEmpty());
        return 0;
    }
    const DoubleArrayBoatLog& log = *asset->boatLog();
    const std::int64_t count = log.recordCount();
    check(log.values().size() == static_cast<std::size_t>(count * log.rowSize()));
    const auto metrics = log.availableMetrics();

    // The instants: drawn from the input's own bytes, so that a finding replays exactly.
    std::uint64_t seed = 14695981039346656037ull;
    for (std::size_t i = 0; i < size; ++i)
        seed = (seed ^ data[i]) * 1099511628211ull;
    std::mt19937_64 random(seed);
    const Instant first = log.startIndex().time;
    const Instant last = log.lastIndex() ? log.lastIndex()->time : first;
    auto instant = [&]() -> Instant {
        switch (random() % 5) {
        case 0: // anywhere around the log
            return first + (std::uniform_real_distribution<double>(-15.0, 15.0)(random) +
                            std::uniform_real_distribution<double>(0.0, 1.0)(random) * (last - first));
        case 1: // exactly on a record
            return count > 0 ? log.offsetTimeIndex()[random() % count] : first;
        case 2: { // just beside a record
            Instant on = count > 0 ? log.offsetTimeIndex()[random() % count] : first;
            double beside = random() % 2 ? INFINITY : -INFINITY;
            return Instant(std::nextafter(on.secondsSinceReference(), beside));
        }
        case 3: // half-way between neighbours
            if (count > 1) {
                auto i = random() % (count - 1);
                return log.offsetTimeIndex()[i] +
                       (log.offsetTimeIndex()[i + 1] - log.offsetTimeIndex()[i]) / 2;
            }
            return first;
        default: { // any double at all, NaN and infinities included
            double any;
            std::uint64_t bits = random();
            std::memcpy(&any, &bits, sizeof any);
            return Instant(any);
        }
        }
    };

    auto lookUp = [&] {
        for (int k = 0; k < 48; ++k) {
            Instant t = instant();
            checkFirstIndexAfter(log, t);
            for (bool interpolated : {false, true})
                if (auto view = log.view(t, interpolated))
                    readAll(*view, metrics);
        }
        for (int k = 0; k < 16 && count > 0; ++k) {
            BoatLogIndex i{static_cast<std::int64_t>(random() % count), {}};
            readAll(BoatLogView(log.directView(i)), metrics);
            BoatLogIndex after = log.indexAfter(i);
            check(after.index == i.index + 1);
            if (i.index > 0)
                check(log.indexBefore(i).time == log.offsetTimeIndex()[i.index - 1]);
        }
    };
    lookUp();
    // The user's offset moves the whole log; the lookups must hold there too.
    asset->setOffset(std::uniform_real_distribution<double>(-86400.0, 86400.0)(random));
    lookUp();
    return 0;
}

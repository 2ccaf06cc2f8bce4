#pragma once

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/LogFileAsset.h"
#include "core/TimeZone.h"
#include "document/Document.h"
#include "map/MapCoordinate.h"
#include "metrics/Boat.h"
#include "support/LogFixture.h"

#include <QTemporaryDir>
#include <QUuid>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// Boat logs for the map's checks: records at a fixed rate from a start instant, each column's
// value from a function of the record's time (NaN for a missing value).
struct LogRecipe {
    double startUnix = 1686052800.0; // 2023-06-06 12:00:00 UTC
    double rate = 1.0;               // records per second
    std::size_t count = 0;
    std::vector<std::string> columns;
    std::function<double(const std::string& column, double secondsFromStart)> value;

    Instant start() const { return Instant::fromUnix(startUnix); }

    LogFixture fixture() const {
        LogFixture f;
        f.columns = columns;
        for (std::size_t r = 0; r < count; ++r) {
            const double seconds = static_cast<double>(r) / rate;
            f.times.push_back(startUnix + seconds);
            for (const auto& column : columns)
                f.values.push_back(value(column, seconds));
        }
        return f;
    }

    std::shared_ptr<DoubleArrayBoatLog> log(std::shared_ptr<Boat> boat) const {
        LogFixture f = fixture();
        return std::make_shared<DoubleArrayBoatLog>(
            std::move(boat), columns, DoubleArray(f.times.begin(), f.times.end()),
            DoubleArray(f.values.begin(), f.values.end()), TimeZone::utc(), 0.0);
    }

    // Writes the log into `dir` and gives it to `boat` in `document`.
    void addTo(Document& document, const std::shared_ptr<Boat>& boat, const QTemporaryDir& dir) const {
        const QString path = dir.filePath(QUuid::createUuid().toString(QUuid::WithoutBraces) + ".hdf5");
        ASSERT_TRUE(fixture().write(path));
        DiagnosticsCapture quiet;
        auto asset = LogFileAsset::open(path, boat, QUuid::createUuid(), 0, TimeZone::utc());
        ASSERT_TRUE(asset);
        document.addLogAsset(boat, asset);
    }
};

// Metres north and east of `origin` on a flat earth: close enough for a few hundred metres and
// independent of the code under test.
inline MapCoordinate offsetFrom(MapCoordinate origin, double north, double east) {
    constexpr double metresPerDegree = 6372797.6 * M_PI / 180.0;
    return {origin.latitude + north / metresPerDegree,
            origin.longitude + east / (metresPerDegree * std::cos(origin.latitude * M_PI / 180.0))};
}

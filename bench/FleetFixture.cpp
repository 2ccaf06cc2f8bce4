#include "FleetFixture.h"

#include "boatlog/LogFileAsset.h"
#include "boatlog/hdf5/Hdf5File.h"
#include "core/Diagnostics.h"
#include "core/SerialQueue.h"
#include "core/TimeZone.h"
#include "map/Geodesy.h"
#include "race/Race.h"

#include <QUuid>
#include <cmath>

namespace {
void writeLog(const QString& path, int boat) {
    const auto& columns = FleetFixture::columns();
    const std::size_t records = static_cast<std::size_t>(FleetFixture::logSeconds * FleetFixture::rate);
    std::vector<double> times(records);
    std::vector<double> values(records * columns.size());
    for (std::size_t r = 0; r < records; ++r) {
        const double s = static_cast<double>(r) / FleetFixture::rate;
        times[r] = FleetFixture::startUnix + s;
        const double course = std::fmod(boat * 17.0 + s * 0.2, 360.0);
        const MapCoordinate p = Geodesy::destination(FleetFixture::pin, boat * 18.0, 300.0 + 2.0 * s);
        const double row[] = {p.latitude,
                              p.longitude,
                              course,
                              course,
                              10.0,
                              14.0,
                              42.0,
                              FleetFixture::gunSeconds - s,
                              100.0,
                              50.0,
                              10.0,
                              FleetFixture::pin.latitude + 0.02,
                              FleetFixture::pin.longitude,
                              6.5};
        std::copy(std::begin(row), std::end(row),
                  values.begin() + static_cast<std::ptrdiff_t>(r * columns.size()));
    }
    writeBoatLog(path, columns, times, values);
}
} // namespace

void writeBoatLog(const QString& path, const std::vector<std::string>& columns,
                  const std::vector<double>& times, const std::vector<double>& values) {
    SerialQueue::hdf().sync([&] {
        auto file = Hdf5File::create(path.toStdString());
        file->createGroup("/log0");
        file->writeStrings("/log0/axis0", columns, Hdf5File::StringStorage::fixedLength);
        file->writeDoubles("/log0/axis1", times.data(), {times.size()});
        file->writeDoubles("/log0/block0_values", values.data(), {times.size(), columns.size()});
    });
}

void setStartRace(Document& document, MapCoordinate pin, Instant gun) {
    auto race = std::make_shared<Race>();
    race->setTime(gun);
    const MapCoordinate committee = Geodesy::destination(pin, 90, 300);
    race->setPinLat(QString::number(pin.latitude, 'g', 17));
    race->setPinLon(QString::number(pin.longitude, 'g', 17));
    race->setRcLat(QString::number(committee.latitude, 'g', 17));
    race->setRcLon(QString::number(committee.longitude, 'g', 17));
    document.setRaces({race});
}

const std::vector<std::string>& FleetFixture::columns() {
    static const std::vector<std::string> names = {
        "Lat",       "Lon",       "Heading",    "COG",        "TWD",   "TWS",   "TargetTWA",
        "TimeToGun", "BelowLine", "TimeToLine", "TimeToBurn", "MkLat", "MkLon", "BoatSpeed"};
    return names;
}

FleetFixture::FleetFixture() {
    // The load reports would mix with the benchmark's own output.
    Diagnostics::setStream(stderr);
    std::vector<Document::BoatPtr> boats;
    for (int b = 0; b < boatCount; ++b)
        boats.push_back(Boat::create(QString("Boat %1").arg(b), QString::number(b),
                                     {std::fmod(0.1 + b * 0.37, 1.0), 0.3, std::fmod(0.9 - b * 0.21, 1.0)},
                                     b == 0 ? Boat::DisplayMode::Main : Boat::DisplayMode::Other));
    boats[0]->setBoatLength(12);
    document.setBoats(boats);
    for (int b = 0; b < boatCount; ++b) {
        const QString path = dir.filePath(QString("boat%1.hdf5").arg(b));
        writeLog(path, b);
        const auto& boat = boats[static_cast<std::size_t>(b)];
        document.addLogAsset(boat, LogFileAsset::open(path, boat, QUuid::createUuid(), 0, TimeZone::utc()));
    }
    setStartRace(document, pin, Instant::fromUnix(startUnix + gunSeconds));
}

Instant FleetFixture::tick(std::size_t i) {
    return Instant::fromUnix(startUnix + gunSeconds - 280.0 + static_cast<double>(i % 5000) * 0.04);
}

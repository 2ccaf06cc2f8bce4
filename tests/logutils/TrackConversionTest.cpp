#include "ConverterFixture.h"
#include "document/Document.h"
#include "document/LegDerivation.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QUuid>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <gtest/gtest.h>
#include <numbers>
#include <sstream>

namespace {

const double t0 = 1685620800.0; // 2023-06-01T12:00:00Z
constexpr double radians = std::numbers::pi / 180.0;

std::string nmeaCoordinate(double degrees, bool latitude) {
    const double a = std::abs(degrees);
    const double whole = std::floor(a);
    char text[40];
    std::snprintf(text, sizeof text, latitude ? "%02d%07.4f,%c" : "%03d%07.4f,%c", static_cast<int>(whole),
                  (a - whole) * 60, latitude ? (degrees < 0 ? 'S' : 'N') : (degrees < 0 ? 'W' : 'E'));
    return text;
}

// Twenty minutes in 12 kn of wind from the north: a beat with tacks at 150, 300 and 450 s, then
// a run with gybes at 800 and 1000 s. Instruments give heading, boat speed and apparent wind.
std::string raceLog() {
    std::ostringstream log;
    double lat = 54.5, lon = 10.25;
    for (int s = 0; s < 1200; ++s) {
        const bool beat = s < 600;
        const double heading = beat ? ((s / 150) % 2 ? 315.0 : 45.0) : ((s - 600) / 200 == 1 ? 150.0 : 210.0);
        const double speed = beat ? 6.0 : 8.0;
        const double twa = std::remainder(0.0 - heading, 360.0);
        const double x = 12.0 * std::cos(twa * radians) + speed, y = 12.0 * std::sin(twa * radians);
        const double awa = std::atan2(y, x) / radians, aws = std::hypot(x, y);
        char body[200];
        std::snprintf(body, sizeof body, "GPRMC,12%02d%02d,A,%s,%s,%.2f,%.1f,010623,,,A", s / 60, s % 60,
                      nmeaCoordinate(lat, true).c_str(), nmeaCoordinate(lon, false).c_str(), speed, heading);
        log << nmeaSentence(body);
        std::snprintf(body, sizeof body, "HCHDT,%.1f,T", heading);
        log << nmeaSentence(body);
        std::snprintf(body, sizeof body, "VWVHW,,T,,M,%.2f,N,,K", speed);
        log << nmeaSentence(body);
        std::snprintf(body, sizeof body, "WIMWV,%.1f,R,%.2f,N,A", awa < 0 ? awa + 360 : awa, aws);
        log << nmeaSentence(body);
        const double metres = speed * 1852.0 / 3600.0;
        lat += metres * std::cos(heading * radians) / 6372797.6 / radians;
        lon += metres * std::sin(heading * radians) / 6372797.6 / radians / std::cos(lat * radians);
    }
    return log.str();
}

} // namespace

// From an NMEA log to the desktop program's tacks, gybes and legs, through the file's metadata.
TEST(TrackConversion, NmeaRaceToTacksGybesAndLegs) {
    ConverterRun run;
    QString input = run.write("race.log", raceLog());
    QString output = run.path("race.hdf5");
    auto outcome = run.convert(output, {input});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find("Derived TWA, TWS, TWD, VMG"), std::string::npos) << outcome.out;

    auto asset = run.open(output);
    ASSERT_TRUE(asset);
    EXPECT_NEAR(cell(*asset, 100, "TWA"), -45.0, 0.2);
    EXPECT_NEAR(cell(*asset, 100, "TWS"), 12.0, 0.05);
    EXPECT_NEAR(std::remainder(cell(*asset, 100, "TWD"), 360.0), 0.0, 0.2);
    EXPECT_NEAR(cell(*asset, 700, "VMG"), -8.0 * std::cos(30 * radians), 0.05);
    EXPECT_NEAR(cell(*asset, 100, "SOG"), 6.0, 0.01); // measured, kept

    ASSERT_TRUE(asset->metadata());
    const SegmentMetadata& meta = *asset->metadata();
    EXPECT_EQ(meta.skippedRecords, 0);
    std::vector<std::string> kinds;
    for (const auto& event : meta.events)
        kinds.push_back(event.eventType);
    EXPECT_EQ(kinds, (std::vector<std::string>{"Tack", "Tack", "Tack", "Gybe", "Gybe"}));
    ASSERT_FALSE(meta.events.empty());
    EXPECT_EQ(meta.events[0].time, "2023-06-01T12:02:30.0+0000");
    ASSERT_EQ(meta.legs.size(), 2u);
    EXPECT_EQ(meta.legs[0].eventType, "Upwind");
    EXPECT_EQ(meta.legs[1].eventType, "Downwind");

    Document document;
    auto main = Boat::create("Main", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    document.setBoats({main});
    document.addLogAsset(main, asset);
    LegDerivation::apply(document);
    ASSERT_EQ(document.tackTimes().size(), 3u);
    EXPECT_EQ(document.tackTimes()[0], Instant::fromUnix(t0 + 150));
    ASSERT_EQ(document.gybeTimes().size(), 2u);
    EXPECT_EQ(document.gybeTimes()[1], Instant::fromUnix(t0 + 1000));
    ASSERT_EQ(document.legs().size(), 2u);
    EXPECT_EQ(document.legs()[0].type, SailingLegType::Upwind);
    EXPECT_EQ(document.legs()[1].type, SailingLegType::Downwind);
    EXPECT_NEAR(document.legs()[1].end - document.legs()[0].start, 1199.0, 1.0);
    EXPECT_TRUE(document.races().empty());
}

// A countdown in the log gives a race with its line; the start-line figures are the bow's.
TEST(TrackConversion, RaceFromTheCountdownWithStartLineFigures) {
    ConverterRun run;
    std::ostringstream csv;
    csv << "Time,Lat,Lon,HDG,SOG,COG,TmToGun,Portlat,Portlon,Stbdlat,Stbdlon\n";
    // The line runs east at 54.5°N; the boat sails north towards it at 3.9 kn (2 m/s).
    for (int s = 0; s < 400; ++s) {
        char row[200];
        const double lat = 54.5 - (200.0 - 2.0 * s) / 6372797.6 / radians;
        std::snprintf(row, sizeof row, "%.1f,%.9f,10.005,0,%.6f,0,%s,54.5,10.0,54.5,10.01\n", t0 + s, lat,
                      2.0 * 3600 / 1852, s <= 120 ? std::to_string(120 - s).c_str() : "");
        csv << row;
    }
    QString input = run.write("start.csv", csv.str());
    QString output = run.path("start.hdf5");
    // The antenna 2 m forward of the stern of a 12 m boat: the bow is 10 m ahead of it.
    auto outcome = run.run({"convert", "-o", output, "--boatLength", "12", "--gpsOffset", "2", input});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    auto asset = run.open(output);
    ASSERT_TRUE(asset);
    EXPECT_NEAR(cell(*asset, 0, "BelowLine"), 190.0, 0.1);
    EXPECT_NEAR(cell(*asset, 0, "DistanceToLine"), 190.0, 0.1);
    EXPECT_NEAR(cell(*asset, 0, "TimeToLine"), 95.0, 0.1);
    EXPECT_NEAR(cell(*asset, 0, "TimeToBurn"), 25.0, 0.1);
    ASSERT_TRUE(asset->metadata());
    ASSERT_EQ(asset->metadata()->races.size(), 1u);
    const RaceMetadata& race = asset->metadata()->races[0];
    EXPECT_EQ(race.time, "2023-06-01T12:02:00.0+0000");
    EXPECT_EQ(race.raceType, "Race");
    EXPECT_EQ(race.Portlon, 10.0);
    EXPECT_EQ(race.Stbdlon, 10.01);

    Document document;
    auto main = Boat::create("Main", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    document.setBoats({main});
    document.addLogAsset(main, asset);
    LegDerivation::apply(document);
    ASSERT_EQ(document.races().size(), 1u);
    EXPECT_EQ(document.races()[0]->name(), "Race 1");
    EXPECT_EQ(document.races()[0]->time(), Instant::fromUnix(t0 + 120));
    EXPECT_EQ(document.races()[0]->pinLat(), "54.5");
}

namespace {

std::string isoTime(double unixSeconds) {
    const auto whole = static_cast<std::time_t>(std::floor(unixSeconds));
    std::tm utc{};
    gmtime_r(&whole, &utc);
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<int>(std::lround((unixSeconds - static_cast<double>(whole)) * 1000)));
    return text;
}

// hhmmss.ss of a time of the day t0 lies in.
std::string nmeaTime(double unixSeconds) {
    const double s = unixSeconds - 1685577600.0;
    char text[20];
    std::snprintf(text, sizeof text, "%02d%02d%05.2f", static_cast<int>(s / 3600),
                  static_cast<int>(s / 60) % 60, std::fmod(s, 60.0));
    return text;
}

// A position in NMEA's degrees and minutes, to a millionth of a minute.
std::string nmeaPosition(double lat, double lon) {
    char text[60];
    std::snprintf(text, sizeof text, "%02d%09.6f,N,%03d%09.6f,E", static_cast<int>(lat),
                  (lat - std::floor(lat)) * 60, static_cast<int>(lon), (lon - std::floor(lon)) * 60);
    return text;
}

} // namespace

// A phone's or a watch's track of one point a minute, at times between the grid's seconds, keeps
// every point at its own time, alone and beside a denser log.
TEST(TrackConversion, SparseTracksKeepTheirPointsAtTheirOwnTimes) {
    ConverterRun run;
    const int points = 12;
    auto timeOf = [&](int k) { return t0 + 3.512 + 60.0 * k; };
    auto latOf = [](int k) { return 54.5 + 0.001 * k; };
    auto lonOf = [](int k) { return 10.25 + 0.0015 * k; };
    std::string gpx =
        "<?xml version=\"1.0\"?>\n<gpx version=\"1.1\" xmlns=\"http://www.topografix.com/GPX/1/1\">"
        "<trk><trkseg>\n";
    std::string kml = "<?xml version=\"1.0\"?>\n<kml xmlns=\"http://www.opengis.net/kml/2.2\" "
                      "xmlns:gx=\"http://www.google.com/kml/ext/2.2\"><Document><Placemark><gx:Track>\n";
    std::string nmea, coordinates;
    for (int k = 0; k < points; ++k) {
        char text[200];
        std::snprintf(text, sizeof text, "<trkpt lat=\"%.6f\" lon=\"%.6f\"><time>%s</time></trkpt>\n",
                      latOf(k), lonOf(k), isoTime(timeOf(k)).c_str());
        gpx += text;
        kml += "<when>" + isoTime(timeOf(k)) + "</when>\n";
        std::snprintf(text, sizeof text, "<gx:coord>%.6f %.6f 0</gx:coord>\n", lonOf(k), latOf(k));
        coordinates += text;
        nmea += nmeaSentence("GPRMC," + nmeaTime(timeOf(k)) + ",A," + nmeaPosition(latOf(k), lonOf(k)) +
                             ",4.1,45.0,010623,,,A");
    }
    gpx += "</trkseg></trk></gpx>\n";
    kml += coordinates + "</gx:Track></Placemark></Document></kml>\n";

    auto expectOwnPoints = [&](const QString& output, const char* what) {
        auto asset = run.open(output);
        ASSERT_TRUE(asset) << what;
        const auto& times = asset->boatLog()->fileTimeIntervalIndex();
        ASSERT_EQ(times.size(), static_cast<std::size_t>(points)) << what;
        for (int k = 0; k < points; ++k) {
            EXPECT_NEAR(times[static_cast<std::size_t>(k)], timeOf(k), 0.006) << what << " " << k;
            EXPECT_NEAR(cell(*asset, k, "Lat"), latOf(k), 1e-6) << what << " " << k;
            EXPECT_NEAR(cell(*asset, k, "Lon"), lonOf(k), 1e-6) << what << " " << k;
        }
    };
    for (const auto& [name, text] :
         {std::pair{"sparse.gpx", gpx}, {"sparse.kml", kml}, {"sparse.nmea", nmea}}) {
        const QString output = run.path(QString(name) + ".hdf5");
        auto outcome = run.convert(output, {run.write(name, text)});
        ASSERT_EQ(outcome.exitCode, 0) << name << ": " << outcome.out << outcome.err;
        EXPECT_NE(outcome.out.find("12 records, 12 lone points at their own times"), std::string::npos)
            << outcome.out;
        expectOwnPoints(output, name);
    }

    // Beside a 1 Hz log of minutes 3 to 6: its rows on the grid, the track's points at their own
    // times, inside that stretch too, where the log's columns are resampled for them.
    std::string csv = "Utc,BoatSpeed\n";
    for (int s = 180; s <= 360; ++s)
        csv += std::to_string(static_cast<long long>(t0) + s) + "," + std::to_string(5.0 + s / 100.0) + "\n";
    const QString output = run.path("both.hdf5");
    auto outcome = run.convert(output, {run.write("speed.csv", csv), run.path("sparse.gpx")});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    auto asset = run.open(output);
    ASSERT_TRUE(asset);
    const auto& times = asset->boatLog()->fileTimeIntervalIndex();
    ASSERT_EQ(times.size(), 181u + points);
    int lonePoints = 0;
    for (std::size_t r = 0; r < times.size(); ++r) {
        const bool gridRow = times[r] == std::round(times[r]);
        if (gridRow) {
            EXPECT_TRUE(std::isnan(cell(*asset, static_cast<std::int64_t>(r), "Lat"))) << r;
            continue;
        }
        const int k = lonePoints++;
        EXPECT_NEAR(times[r], timeOf(k), 0.006);
        EXPECT_NEAR(cell(*asset, static_cast<std::int64_t>(r), "Lat"), latOf(k), 1e-6);
        const double speed = cell(*asset, static_cast<std::int64_t>(r), "BoatSpeed");
        if (timeOf(k) > t0 + 180 && timeOf(k) < t0 + 360)
            EXPECT_NEAR(speed, 5.0 + (timeOf(k) - t0) / 100.0, 1e-6) << k;
        else
            EXPECT_TRUE(std::isnan(speed)) << k;
    }
    EXPECT_EQ(lonePoints, points);
}

// Two receivers: GP on time, GN a second behind and four metres away, its sentences of second
// s - 1 arriving after GP's of second s (and first in the log). The positions are GP's, at their
// own times, and the log says so.
TEST(TrackConversion, SeveralNmeaPositionSourcesReadTheFreshOne) {
    ConverterRun run;
    auto latOf = [](double s) { return 54.5 + s * 2.0 / 6372797.6 / radians; }; // 2 m/s north
    const double eastOfGp = 4.0 / 6372797.6 / radians / std::cos(54.5 * radians);
    auto gn = [&](int s) {
        const double t = t0 + s;
        return nmeaSentence("GNRMC," + nmeaTime(t) + ",A," + nmeaPosition(latOf(s), 10.25 + eastOfGp) +
                            ",3.9,0.0,010623,,,A") +
               nmeaSentence("GNGLL," + nmeaPosition(latOf(s), 10.25 + eastOfGp) + "," + nmeaTime(t) + ",A,A");
    };
    std::string log = gn(-2);
    const int seconds = 60;
    for (int s = 0; s < seconds; ++s) {
        const double t = t0 + s;
        log += nmeaSentence("GPRMC," + nmeaTime(t) + ",A," + nmeaPosition(latOf(s), 10.25) +
                            ",3.9,0.0,010623,,,A");
        log += nmeaSentence("GPGGA," + nmeaTime(t) + "," + nmeaPosition(latOf(s), 10.25) +
                            ",1,09,0.9,3.0,M,,M,,");
        log += nmeaSentence("IIMWV,045.0,R,10.0,N,A");
        log += gn(s - 1);
    }
    const QString output = run.path("two.hdf5");
    auto outcome = run.convert(output, {run.write("two.nmea", log)});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find("Positions from GPRMC (dated, 0.0 s behind the newest fix) and GPGGA"),
              std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.out.find("not from GNRMC (dated, 1.0 s behind the newest fix), GNGLL"),
              std::string::npos)
        << outcome.out;

    auto asset = run.open(output);
    ASSERT_TRUE(asset);
    const auto& times = asset->boatLog()->fileTimeIntervalIndex();
    int compared = 0;
    for (std::size_t r = 0; r < times.size(); ++r) {
        const double s = times[r] - t0;
        if (s < 0)
            continue;
        EXPECT_NEAR(cell(*asset, static_cast<std::int64_t>(r), "Lat"), latOf(s), 1e-7) << s;
        EXPECT_NEAR(cell(*asset, static_cast<std::int64_t>(r), "Lon"), 10.25, 1e-7) << s;
        ++compared;
    }
    EXPECT_EQ(compared, seconds);
}

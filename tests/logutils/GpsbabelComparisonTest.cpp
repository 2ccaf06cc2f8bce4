#include "logutils/ConverterFixture.h"
#include "readers/GpxReader.h"
#include "readers/KmlReader.h"
#include "readers/NmeaReader.h"
#include "readers/TimeText.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <pugixml.hpp>
#include <sstream>

namespace {

struct Fix {
    double time, lat, lon;
};

// The track points gpsbabel reads from `path`, by way of its own GPX output.
std::vector<Fix> gpsbabelFixes(const QString& format, const QString& path, const QString& output) {
    QProcess process;
    process.start("gpsbabel", {"-t", "-i", format, "-f", path, "-o", "gpx", "-F", output});
    process.waitForFinished(60000);
    std::vector<Fix> fixes;
    pugi::xml_document document;
    if (!document.load_file(output.toStdString().c_str()))
        return fixes;
    for (auto point : document.select_nodes("//trkpt")) {
        auto time = parseDateTime(point.node().child_value("time"));
        if (time)
            fixes.push_back({time->seconds, point.node().attribute("lat").as_double(),
                             point.node().attribute("lon").as_double()});
    }
    return fixes;
}

std::string readAll(const QString& path) {
    std::ifstream file(path.toStdString(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// Every point gpsbabel has is a row of ours at the same time and place, and we have no
// positions it lacks.
void expectSameFixes(const InputTable& table, const std::vector<Fix>& theirs, const char* what) {
    ASSERT_FALSE(theirs.empty()) << what;
    const InputColumn *lat = nullptr, *lon = nullptr;
    for (const auto& column : table.columns) {
        if (column.name == "Lat")
            lat = &column;
        if (column.name == "Lon")
            lon = &column;
    }
    ASSERT_TRUE(lat && lon) << what;
    std::size_t ours = 0;
    for (std::size_t r = 0; r < table.rowCount(); ++r)
        ours += std::isfinite(lat->values[r]);
    EXPECT_EQ(ours, theirs.size()) << what;
    std::size_t row = 0;
    for (const Fix& fix : theirs) {
        while (row < table.rowCount() && table.times[row] < fix.time - 1e-3)
            ++row;
        ASSERT_LT(row, table.rowCount()) << what << ": no row at " << fix.time;
        EXPECT_NEAR(table.times[row], fix.time, 1e-3) << what;
        EXPECT_NEAR(lat->values[row], fix.lat, 1e-8) << what << " at " << fix.time;
        EXPECT_NEAR(lon->values[row], fix.lon, 1e-8) << what << " at " << fix.time;
    }
}

} // namespace

TEST(GpsbabelComparison, PositionsAndTimesAgree) {
    if (QStandardPaths::findExecutable("gpsbabel").isEmpty())
        GTEST_SKIP() << "gpsbabel is not installed";
    QTemporaryDir dir;

    // NMEA: RMC and GGA, both hemispheres, fractional seconds, across midnight.
    std::ostringstream nmea;
    for (int s = 0; s < 40; ++s) {
        const int t = 23 * 3600 + 59 * 60 + 40 + s;
        char time[16], body[160];
        std::snprintf(time, sizeof time, "%02d%02d%02d.%d0", (t / 3600) % 24, (t / 60) % 60, t % 60,
                      s % 2 * 5);
        const double latMinutes = 30.0 + s * 0.0125, lonMinutes = 10.1234 + s * 0.0007;
        std::snprintf(body, sizeof body, "GPGGA,%s,41%07.4f,S,002%07.4f,W,1,08,0.9,5.0,M,,M,,", time,
                      latMinutes, lonMinutes);
        nmea << nmeaSentence(body);
        std::snprintf(body, sizeof body, "GPRMC,%s,A,41%07.4f,S,002%07.4f,W,5.5,120.0,%s,,,A", time,
                      latMinutes, lonMinutes, t < 86400 ? "310523" : "010623");
        nmea << nmeaSentence(body);
    }
    const QString nmeaPath = dir.filePath("track-fixture.nmea");
    std::ofstream(nmeaPath.toStdString()) << nmea.str();
    InputTable nmeaTable;
    std::string error;
    std::string text = readAll(nmeaPath);
    LineReader lines = LineReader::fromMemory(text);
    ASSERT_TRUE(NmeaReader::read(lines, nmeaTable, error)) << error;
    expectSameFixes(nmeaTable, gpsbabelFixes("nmea", nmeaPath, dir.filePath("nmea.gpx")), "NMEA");

    // GPX 1.1 with fractional times and a second segment.
    std::ostringstream gpx;
    gpx << "<?xml version=\"1.0\"?>\n<gpx version=\"1.1\" creator=\"t\" "
           "xmlns=\"http://www.topografix.com/GPX/1/1\">"
           "<trk><trkseg>\n";
    for (int s = 0; s < 30; ++s) {
        if (s == 15)
            gpx << "</trkseg><trkseg>\n";
        char point[200];
        std::snprintf(point, sizeof point,
                      "<trkpt lat=\"%.9f\" lon=\"%.9f\"><time>2023-06-01T12:00:%02d.%03dZ</time></trkpt>\n",
                      39.4 + s * 1.37e-5, -0.32 - s * 2.11e-5, s, (s * 250) % 1000);
        gpx << point;
    }
    gpx << "</trkseg></trk></gpx>\n";
    const QString gpxPath = dir.filePath("track-fixture.gpx");
    std::ofstream(gpxPath.toStdString()) << gpx.str();
    InputTable gpxTable;
    text = readAll(gpxPath);
    ASSERT_TRUE(GpxReader::read(text, gpxTable, error)) << error;
    expectSameFixes(gpxTable, gpsbabelFixes("gpx", gpxPath, dir.filePath("gpx.gpx")), "GPX");

    // KML gx:Track.
    std::ostringstream kml;
    kml << "<?xml version=\"1.0\"?>\n<kml xmlns=\"http://www.opengis.net/kml/2.2\" "
           "xmlns:gx=\"http://www.google.com/kml/ext/2.2\"><Document><Placemark><gx:Track>\n";
    for (int s = 0; s < 20; ++s)
        kml << "<when>2014-05-25T18:31:" << (10 + s) << "Z</when>\n";
    for (int s = 0; s < 20; ++s) {
        char coord[100];
        std::snprintf(coord, sizeof coord, "<gx:coord>%.6f %.6f 281.2</gx:coord>\n", -97.8586 - s * 1e-5,
                      30.2446 + s * 2e-5);
        kml << coord;
    }
    kml << "</gx:Track></Placemark></Document></kml>\n";
    const QString kmlPath = dir.filePath("track-fixture.kml");
    std::ofstream(kmlPath.toStdString()) << kml.str();
    InputTable kmlTable;
    text = readAll(kmlPath);
    ASSERT_TRUE(KmlReader::read(text, kmlTable, error)) << error;
    expectSameFixes(kmlTable, gpsbabelFixes("kml", kmlPath, dir.filePath("kml.gpx")), "KML");
}

#include "logutils/ConverterFixture.h"
#include "readers/GpxPieces.h"
#include "readers/GpxReader.h"
#include "readers/KmlReader.h"
#include "readers/NmeaReader.h"
#include "readers/VccReader.h"

#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <random>

namespace {

const InputColumn* column(const InputTable& table, const std::string& name) {
    for (const auto& c : table.columns)
        if (c.name == name)
            return &c;
    return nullptr;
}

double value(const InputTable& table, const std::string& name, std::size_t row) {
    const InputColumn* c = column(table, name);
    return c ? c->values[row] : NAN;
}

bool readNmea(const std::string& text, InputTable& table, std::string& error) {
    LineReader lines = LineReader::fromMemory(text);
    return NmeaReader::recognises(lines.head()) && NmeaReader::read(lines, table, error);
}

const double day = 1685577600.0; // 2023-06-01T00:00:00Z

} // namespace

// What each sentence gives, in storage units, whatever prefix a logger put before it.
TEST(NmeaReader, SentencesIntoColumns) {
    std::string log =
        nmeaSentence("IIMWV,030,R,12.0,N,A") + // before any time: counted, not kept
        "!" + nmeaSentence("AIVDM,1,1,,A,13aI8e?P00PGpU:NR6s00?vT2000,0").substr(1) +
        nmeaSentence("GPRMC,120000.50,A,5430.000,N,01015.000,E,6.5,45.0,010623,2.0,E,A") + "1685620800.5 " +
        nmeaSentence("IIHDG,40.0,,,2.0,E") + "\\s:bus,c:1685620800*00\\" +
        nmeaSentence("IIMWV,330,R,20.0,M,A") + nmeaSentence("IIMWV,150,T,10.0,K,A") +
        nmeaSentence("IIVHW,,T,,M,6.2,N,,K") +
        nmeaSentence("IIXDR,A,-12.5,D,HEEL,A,3.0,D,PTCH,A,-4.0,D,RUDDER") + nmeaSentence("IIDPT,12.5,0.5") +
        nmeaSentence("IIMTW,17.5,C") + nmeaSentence("IIVWR,045,L,08.0,N,,,,") +
        nmeaSentence("GPGGA,120001,5430.100,S,01015.100,W,1,08,0.9,5,M,,M,,") +
        nmeaSentence("GNRMC,120001,A,1000.000,N,01000.000,E,1.0,1.0,010623,,,A") + // a second receiver
        nmeaSentence("GPVTG,90.0,T,,M,7.0,N,,K") + nmeaSentence("IIMWD,200.0,T,,M,14.0,N,,M");
    InputTable table;
    std::string error;
    ASSERT_TRUE(readNmea(log, table, error)) << error;
    EXPECT_TRUE(table.utcTimes);
    ASSERT_EQ(table.rowCount(), 2u);
    EXPECT_EQ(table.times[0], day + 12 * 3600 + 0.5);
    EXPECT_EQ(table.times[1], day + 12 * 3600 + 1);
    EXPECT_EQ(table.skipped.lines().count, 1);
    EXPECT_DOUBLE_EQ(value(table, "Lat", 0), 54.5);
    EXPECT_DOUBLE_EQ(value(table, "Lon", 0), 10.25);
    EXPECT_DOUBLE_EQ(value(table, "Lat", 1), -(54 + 30.1 / 60)); // south and west are negative
    EXPECT_DOUBLE_EQ(value(table, "Lon", 1), -(10 + 15.1 / 60));
    EXPECT_EQ(value(table, "SOG", 0), 6.5);
    EXPECT_EQ(value(table, "SOG", 1), 7.0); // the GN receiver's 1.0 is not the position source's
    EXPECT_EQ(value(table, "COG", 1), 90.0);
    EXPECT_EQ(value(table, "Heading", 0), 42.0); // magnetic + variation
    EXPECT_EQ(value(table, "AWA", 0), -45.0);    // the VWR's later port angle overwrote MWV's -30
    EXPECT_EQ(value(table, "AWS", 0), 8.0);
    EXPECT_EQ(value(table, "TWA", 0), 150.0);
    EXPECT_DOUBLE_EQ(value(table, "TWS", 0), 10.0 / 1.852);
    EXPECT_EQ(value(table, "TWS", 1), 14.0);
    EXPECT_EQ(value(table, "TWD", 1), 200.0);
    EXPECT_EQ(value(table, "BoatSpeed", 0), 6.2);
    EXPECT_EQ(value(table, "Heel", 0), -12.5);
    EXPECT_EQ(value(table, "Pitch", 0), 3.0);
    EXPECT_EQ(value(table, "Rudder", 0), -4.0);
    EXPECT_EQ(value(table, "Depth", 0), 12.5);
    EXPECT_EQ(value(table, "WaterTemperature", 0), 17.5);
    EXPECT_TRUE(std::isnan(value(table, "AWA", 1)));
}

// Damaged lines are dropped and counted, and the rest still reads.
TEST(NmeaReader, BadLinesAreCounted) {
    std::string good = nmeaSentence("GPRMC,120000,A,5430.000,N,01015.000,E,6.5,45.0,010623,,,A");
    std::string badChecksum = nmeaSentence("GPRMC,120001,A,5430.000,N,01015.000,E,6.5,45.0,010623,,,A");
    badChecksum[20] = '9';
    std::string log = good + badChecksum + "$GPRMC,120002,A,5430.0\n" + // cut off
                      "$IIMWV,030,R,12.0,N,A*4\n" +                     // cut in the checksum
                      nmeaSentence("GPRMC,120003,A,5430.000,N,01015.000,E,6.x5,45.0,010623,,,A") +
                      nmeaSentence("GPRMC,120004,A,0000.000,N,00000.000,E,6.5,45.0,010623,,,A") +
                      nmeaSentence("GPRMC,115959,A,5430.000,N,01015.000,E,6.5,45.0,010623,,,A") + // backwards
                      nmeaSentence("IIMWV,030,R,12.0,N,A") + // belongs to the dropped time: dropped too
                      "garbage\n" + nmeaSentence("GPRMC,120005,A,5430.000,N,01015.000,E,6.5,45.0,010623,,,A");
    InputTable table;
    std::string error;
    ASSERT_TRUE(readNmea(log, table, error)) << error;
    EXPECT_EQ(table.rowCount(), 4u); // 12:00:00, :03, :04 (no position), :05
    EXPECT_EQ(table.skipped.lines().count, 5);
    EXPECT_EQ(table.skipped.lines().first(), "line 2: bad checksum");
    EXPECT_EQ(table.skipped.values().count, 2); // the malformed speed and the 0,0 position
    EXPECT_TRUE(std::isnan(value(table, "SOG", 1)));
    EXPECT_TRUE(std::isnan(value(table, "Lat", 2)));
    EXPECT_EQ(column(table, "AWA"), nullptr);
}

// Times without a date take it from a later sentence; midnight passes; no date at all fails.
TEST(NmeaReader, DatesOfTimeOfDaySentences) {
    std::string log = nmeaSentence("GPGGA,235958,5430.000,N,01015.000,E,1,08,0.9,5,M,,M,,") +
                      nmeaSentence("GPGGA,235959,5430.000,N,01015.000,E,1,08,0.9,5,M,,M,,") +
                      nmeaSentence("GPGGA,000000,5430.000,N,01015.000,E,1,08,0.9,5,M,,M,,") +
                      nmeaSentence("GPZDA,000001,02,06,2023,,");
    InputTable table;
    std::string error;
    ASSERT_TRUE(readNmea(log, table, error)) << error;
    ASSERT_EQ(table.rowCount(), 4u);
    EXPECT_EQ(table.times[0], day + 86398);
    EXPECT_EQ(table.times[3], day + 86401);

    InputTable undated;
    EXPECT_FALSE(
        readNmea(nmeaSentence("GPZDA,120000,,,,,") + nmeaSentence("IIMWV,030,R,12.0,N,A"), undated, error));
    EXPECT_NE(error.find("no date"), std::string::npos) << error;
    EXPECT_FALSE(NmeaReader::recognises("Time,BSP\n2023-06-01 12:00:00,6.5\n"));
}

// Track formats: points with time and position, speed in knots, the odd and the damaged dropped.
TEST(TrackReaders, GpxKmlAndVcc) {
    std::string gpx = R"(<?xml version="1.0"?>
<gpx version="1.0" xmlns="http://www.topografix.com/GPX/1/0"><trk><trkseg>
<trkpt lat="54.5" lon="10.25"><time>2023-06-01T12:00:00Z</time><speed>2.5</speed><course>45</course></trkpt>
<trkpt lat="54.5001" lon="10.2501"><time>2023-06-01T12:00:01.5Z</time></trkpt>
<trkpt lat="0" lon="0"><time>2023-06-01T12:00:02Z</time></trkpt>
<trkpt lat="54.5002" lon="10.2502"></trkpt>
<trkpt lat="54.5003" lon="10.2503"><time>2023-06-01T11:00:00Z</time></trkpt>
</trkseg></trk><rte><rtept lat="54.6" lon="10.3"><time>2023-06-01T12:00:03Z</time>
<extensions><gpxtpx:TrackPointExtension><gpxtpx:speed>5</gpxtpx:speed></gpxtpx:TrackPointExtension></extensions>
</rtept></rte></gpx>)";
    InputTable table;
    std::string error;
    ASSERT_TRUE(GpxReader::recognises(gpx));
    ASSERT_TRUE(GpxReader::read(gpx, table, error)) << error;
    ASSERT_EQ(table.rowCount(), 3u);
    EXPECT_EQ(table.times[1], 1685620801.5);
    EXPECT_DOUBLE_EQ(value(table, "SOG", 0), 2.5 * 3600 / 1852);
    EXPECT_DOUBLE_EQ(value(table, "SOG", 2), 5 * 3600.0 / 1852);
    EXPECT_EQ(value(table, "COG", 0), 45);
    EXPECT_EQ(table.skipped.lines().count, 3);
    EXPECT_EQ(table.skipped.lines().first(), "line 5: position 0,0");

    std::string kml = R"(<?xml version="1.0"?><kml xmlns:gx="http://www.google.com/kml/ext/2.2"><Document>
<Placemark><name>Start</name><TimeStamp><when>2023-06-01T11:59:00Z</when></TimeStamp>
<Point><coordinates>10.2,54.4,0</coordinates></Point></Placemark>
<Placemark><gx:MultiTrack><gx:Track>
<when>2023-06-01T12:00:00Z</when><when>2023-06-01T12:00:01Z</when><when>2023-06-01T12:00:02Z</when>
<gx:coord>10.25 54.5 3</gx:coord><gx:coord></gx:coord>
</gx:Track><gx:Track><when>2023-06-01T12:10:00Z</when><gx:coord>10.3 54.6 3</gx:coord></gx:Track>
</gx:MultiTrack></Placemark></Document></kml>)";
    InputTable track;
    ASSERT_TRUE(KmlReader::recognises(kml));
    ASSERT_TRUE(KmlReader::read(kml, track, error)) << error;
    ASSERT_EQ(track.rowCount(), 3u); // the placemark, then one point of each track
    EXPECT_EQ(value(track, "Lat", 1), 54.5);
    EXPECT_EQ(value(track, "Lon", 2), 10.3);
    EXPECT_EQ(track.skipped.lines().count, 1); // the third <when> has no coordinates

    std::string vcc =
        R"(<?xml version="1.0" encoding="utf-8"?><VelocitekControlCenter><CapturedTrack name="x">
<Trackpoints>
<Trackpoint dateTime="2023-06-01T14:00:00+02:00" heading="200.5" speed="6.25" latitude="54.5" longitude="10.25" />
<Trackpoint dateTime="2023-06-01T14:00:02+02:00" heading="201" speed="x" latitude="54.51" longitude="10.26" />
</Trackpoints></CapturedTrack></VelocitekControlCenter>)";
    InputTable velocitek;
    ASSERT_TRUE(VccReader::recognises(vcc));
    ASSERT_FALSE(GpxReader::recognises(vcc));
    ASSERT_TRUE(VccReader::read(vcc, velocitek, error)) << error;
    ASSERT_EQ(velocitek.rowCount(), 2u);
    EXPECT_EQ(velocitek.times[0], 1685620800.0);
    EXPECT_EQ(value(velocitek, "SOG", 0), 6.25);
    EXPECT_EQ(value(velocitek, "COG", 0), 200.5);
    EXPECT_TRUE(std::isnan(value(velocitek, "SOG", 1)));
}

// Whatever the bytes, the readers answer with consistent tables.
TEST(TrackReaders, AFileCutShortKeepsThePointsBeforeTheCut) {
    const std::string whole = R"(<?xml version="1.0"?>
<gpx version="1.1" xmlns="http://www.topografix.com/GPX/1/1"><trk><trkseg>
<trkpt lat="54.1" lon="10.1"><time>2023-06-06T12:00:00Z</time></trkpt>
<trkpt lat="54.2" lon="10.2"><time>2023-06-06T12:00:01Z</time></trkpt>
<trkpt lat="54.3" lon="10.3"><time>2023-06-06T12:00:02Z</time></trkpt>
<trkpt lat="54.4" lon="10.4"><time>2023-06-06T12:00:03Z</time></trkpt>)";
    const std::size_t thirdPoint = whole.find("<trkpt lat=\"54.3\"");
    // Cut inside a tag, inside an attribute, inside a text and between tags: the two whole points
    // before the cut always survive.
    for (std::size_t cut : {thirdPoint + 3, thirdPoint + 14, thirdPoint + 40, thirdPoint}) {
        std::string text = whole.substr(0, cut);
        InputTable table;
        std::string error;
        ASSERT_TRUE(GpxReader::read(text, table, error)) << cut << ": " << error;
        EXPECT_GE(table.times.size(), 2u) << cut;
    }
}

TEST(TrackReaders, SurviveGarbage) {
    std::mt19937 random(11);
    const std::string alphabet = "$!*,.0123456789ANEWSTRGPMCVZDA<>/=\" \n\r\\";
    const std::string nmeaStart = nmeaSentence("GPRMC,120000,A,5430.000,N,01015.000,E,6.5,45.0,010623,,,A");
    const std::string gpxStart =
        "<gpx><trk><trkseg><trkpt lat=\"1\" lon=\"2\"><time>2023-06-01T12:00:00Z</time>";
    for (int round = 0; round < 300; ++round) {
        std::string text = round % 2 ? nmeaStart : gpxStart;
        std::size_t length = random() % 400;
        for (std::size_t i = 0; i < length; ++i)
            text += alphabet[random() % alphabet.size()];
        InputTable table;
        std::string error;
        bool read = false;
        if (round % 2) {
            LineReader lines = LineReader::fromMemory(text);
            read = NmeaReader::read(lines, table, error);
        } else {
            read = GpxReader::read(text, table, error);
        }
        if (!read)
            continue;
        for (const auto& c : table.columns)
            ASSERT_EQ(c.values.size(), table.rowCount()) << text;
        for (std::size_t i = 1; i < table.rowCount(); ++i)
            ASSERT_TRUE(std::isfinite(table.times[i])) << text;
    }
}

// A long track is read in pieces on other threads; whatever the file holds, the table must be the
// one reading it whole gives: the same points, drops, first drop's line and damage.
TEST(TrackReaders, AGpxTrackReadInPiecesIsReadAsAWhole) {
    auto point = [](int i, const char* eol = "\n") {
        char text[200];
        std::snprintf(
            text, sizeof text,
            "<trkpt lat=\"54.%04d\" lon=\"10.%04d\"><ele>1</ele><time>2023-06-01T12:%02d:%02dZ</time>"
            "<extensions><ns3:speed>%d</ns3:speed></extensions></trkpt>%s",
            i, i, i / 60 % 60, i % 60, i % 7, eol);
        return std::string(text);
    };
    std::string points, crlf;
    for (int i = 0; i < 60; ++i)
        points += point(i), crlf += point(i, "\r\n");
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<gpx version=\"1.1\"><metadata>"
                             "<time>2023-06-01T00:00:00Z</time></metadata><trk><trkseg>\n";
    const std::string unusable = "<trkpt lat=\"0\" lon=\"0\"><time>2023-06-01T13:00:00Z</time></trkpt>\n"
                                 "<trkpt lat=\"54.1\" lon=\"10.1\"></trkpt>\n"
                                 "<trkpt lat=\"54.1\" lon=\"10.1\"><time>yesterday</time></trkpt>\n";
    const std::string oddPoints =
        unusable + "<trkpt lat=\"54.1\" lon=\"10.1\"><time>2023-06-01T11:00:00Z</time></trkpt>\n";
    const std::vector<std::string> files = {
        head + points +
            "</trkseg></trk>\n<rte><rtept lat=\"0\" "
            "lon=\"0\"><time>2023-06-01T13:00:00Z</time></rtept></rte></gpx>",
        head + points + "</trkseg><trkseg>" + oddPoints + points + "</trkseg></trk><trk><trkseg>" + points +
            "</trkseg></trk><rte><rtept lat=\"54.2\" "
            "lon=\"10.2\"><time>2023-06-01T14:00:00Z</time></rtept></rte></gpx>",
        head + crlf + "</trkseg></trk></gpx>\r\n",
        // Tags that are not tags: in comments, in CDATA sections, in values.
        head + points.substr(0, 900) + points.substr(900, 200) +
            "<!-- <trkpt lat=\"1\" lon=\"1\"> </trkseg> -->" + points + "<![CDATA[ <trkpt </trkseg> ]]>" +
            points + "<desc a=\"<trkpt\"/>" + points + "</trkseg></trk></gpx>",
        head + points + "<!-- " + points + " -->" + points + "</trkseg></trk></gpx>",
        // Pieces must hold track points only.
        head + points + "<wpt lat=\"1\" lon=\"2\"/>" + points + "<trkpt/>" + points + "</trkseg></trk></gpx>",
        // Not a point left: the drops are told all the same.
        head + unusable + unusable + unusable + "</trkseg></trk></gpx>",
        // Damaged: a file cut short, a tag left open, a point inside a point, a zero byte.
        head + points + std::string(40, '\0') + points + "</trkseg></trk></gpx>",
        head + points + points.substr(0, points.size() / 2),
        head + points + "<trkpt lat=\"1\" lon=\"2\"><time>2023-06-01T12:00:00Z</time>" + points +
            "</trkseg></trk></gpx>",
        head + points + "<trkpt lat=\"54.1\" lon=\"10.1\">" + point(1) + "</trkpt>" + points +
            "</trkseg></trk></gpx>",
    };
    bool readInPieces = false;
    for (std::size_t f = 0; f < files.size(); ++f) {
        std::string copy = files[f];
        InputTable whole;
        std::string wholeError;
        const bool wholeRead = GpxReader::read(copy, whole, wholeError, 0);
        for (std::size_t pieceBytes : {1, 50, 180, 700, 2000}) {
            SCOPED_TRACE("file " + std::to_string(f) + ", pieces of " + std::to_string(pieceBytes));
            readInPieces = readInPieces || !GpxPieces(files[f], pieceBytes).empty();
            copy = files[f];
            InputTable table;
            std::string error;
            ASSERT_EQ(GpxReader::read(copy, table, error, pieceBytes), wholeRead);
            EXPECT_EQ(error, wholeError);
            EXPECT_EQ(table.kind, whole.kind);
            ASSERT_EQ(table.rowCount(), whole.rowCount());
            EXPECT_TRUE(std::equal(table.times.begin(), table.times.end(), whole.times.begin()));
            ASSERT_EQ(table.columns.size(), whole.columns.size());
            for (std::size_t c = 0; c < table.columns.size(); ++c)
                for (std::size_t r = 0; r < table.rowCount(); ++r) {
                    const double a = table.columns[c].values[r], b = whole.columns[c].values[r];
                    ASSERT_TRUE(a == b || (std::isnan(a) && std::isnan(b)))
                        << table.columns[c].name << " " << r;
                }
            EXPECT_EQ(table.skipped.lines().count, whole.skipped.lines().count);
            EXPECT_EQ(table.skipped.lines().first(), whole.skipped.lines().first());
        }
    }
    EXPECT_TRUE(readInPieces);
}

#include "ColumnNames.h"
#include "MergedTable.h"
#include "readers/CsvCells.h"
#include "readers/InstrumentLogReader.h"
#include "readers/LineReader.h"
#include "readers/PlainCsvReader.h"
#include "readers/TimeText.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <fast_float/fast_float.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>

TEST(ColumnNames, MetricKeysAliasesAndUnits) {
    auto name = [](const std::string& input) { return mapColumnName(input).name; };
    EXPECT_EQ(name("TWS"), "TWS");
    EXPECT_EQ(name("BSP"), "BoatSpeed");
    EXPECT_EQ(name("bsp"), "BoatSpeed");
    EXPECT_EQ(name("Boat Speed"), "BoatSpeed");
    EXPECT_EQ(name("HDG"), "Heading");
    EXPECT_EQ(name("Mk Lat"), "MkLat");
    EXPECT_EQ(name("Port lat"), "Portlat");
    EXPECT_EQ(name("STBD LON"), "Stbdlon");
    EXPECT_EQ(name("TmToGun"), "TimeToGun");
    EXPECT_EQ(name("TmToLn"), "TimeToLine");
    EXPECT_EQ(name("Burn"), "TimeToBurn");
    EXPECT_EQ(name("BelowLn"), "BelowLine");
    EXPECT_EQ(name("DistToLn"), "DistanceToLine");
    EXPECT_EQ(name("RunnerS"), "RunnerStbd");
    EXPECT_EQ(name("tws"), "TWS");
    // Names a log never yields stay as they are, as do all others.
    EXPECT_EQ(name("Heave"), "Heave");
    EXPECT_EQ(name("heave"), "heave");
    EXPECT_EQ(name("TWD+90"), "TWD+90");
    EXPECT_EQ(name(" Mast Load (kg) "), "Mast Load (kg)");

    EXPECT_TRUE(mapColumnName("HDG").circular);
    EXPECT_TRUE(mapColumnName("TWA").circular);
    EXPECT_FALSE(mapColumnName("Heel").circular);
    EXPECT_DOUBLE_EQ(mapColumnName("SOG (km/h)").factor, 1 / 1.852);
    EXPECT_EQ(mapColumnName("SOG (km/h)").name, "SOG");
    EXPECT_DOUBLE_EQ(mapColumnName("AWA [rad]").factor, 180 / M_PI);
    EXPECT_EQ(mapColumnName("TmToGun (min)").factor, 60.0);
    EXPECT_DOUBLE_EQ(mapColumnName("DistToLn (nm)").factor, 1852.0);
    // A unit of another kind, or percent for a plain number: not that metric after all.
    EXPECT_EQ(mapColumnName("Heel (m)").name, "Heel (m)");
    EXPECT_EQ(mapColumnName("Rudder (%)").name, "Rudder (%)");
    EXPECT_EQ(mapColumnName("Polar % (%)").name, "BoatSpeedPercOfTarget");
}

TEST(TimeText, FormatsOfExports) {
    const double t0 = 1685620800.0; // 2023-06-01T12:00:00Z
    auto at = [](std::string_view text) { return parseDateTime(text); };
    EXPECT_EQ(at("2023-06-01T12:00:00Z")->seconds, t0);
    EXPECT_TRUE(at("2023-06-01T12:00:00Z")->hasZone);
    EXPECT_EQ(at("2023-06-01 14:00:00.25+02:00")->seconds, t0 + 0.25);
    EXPECT_EQ(at("2023-06-01T09:30:00-0230")->seconds, t0);
    EXPECT_EQ(at("2023/06/01 12:00:00 UTC")->seconds, t0);
    EXPECT_EQ(at("2023-06-01T12:00:00.1")->seconds, t0 + 0.1); // lands on a 10 Hz grid
    EXPECT_FALSE(at("2023-06-01T12:00:00")->hasZone);
    EXPECT_EQ(at("2023-6-1 12:00")->seconds, t0);
    for (auto bad : {"", "2023-06-01", "2023-13-01T00:00:00", "2023-06-01T25:00:00", "2023-06-01T12:00:00+",
                     "2023-06-01T12:00:00 Mars", "12:00:00", "2023-06-01T12:00:00.Z"})
        EXPECT_FALSE(at(bad)) << bad;
    EXPECT_EQ(*parseDate("01.06.2023"), t0 - 43200);
    EXPECT_EQ(parseTimeOfDay("12:00:01.5")->seconds, 43201.5);
    EXPECT_EQ(daysFromCivil(1970, 1, 1), 0);
    EXPECT_EQ(daysFromCivil(2000, 3, 1), 11017);
    EXPECT_EQ(daysToUnixSeconds(25569.0), 0.0);
}

// The merge rules on small tables: a column's own gaps, the circle, and the grid's stretches.
TEST(MergedTable, ResamplesEachColumnFromItsOwnSamples) {
    InputTable table;
    const double nan = NAN;
    table.times = {0, 1, 2, 3, 14, 15, 40};
    table.columns.resize(2);
    table.columns[0].values = {1, nan, 3, nan, 14, 15, 40};
    table.columns[1].values = {-170, 170, -175, 175, nan, nan, nan};
    TimeGrid::Grid grid = TimeGrid::makeGrid({&table}, 2);
    EXPECT_EQ(grid.spans, 3);
    EXPECT_EQ(grid.times.size(), 7u + 3u + 1u); // 0…3, 14…15, 40
    MergedTable merged;
    merged.addSource("BoatSpeed", table, table.columns[0].values, false);
    merged.addSource("TWA", table, table.columns[1].values, true);
    std::vector<double> out(grid.times.size() * 2);
    merged.fill(grid.times, 0, grid.times.size(), out.data());
    auto at = [&](std::size_t row, int column) { return out[row * 2 + static_cast<std::size_t>(column)]; };
    EXPECT_EQ(at(1, 0), 1.5);          // over its missing cell at 1 s
    EXPECT_TRUE(std::isnan(at(5, 0))); // its samples at 2 s and 14 s are too far apart
    EXPECT_TRUE(std::isnan(at(6, 0))); // a row of the table, but no sample of the column
    EXPECT_EQ(at(8, 0), 14.5);
    EXPECT_EQ(at(10, 0), 40);
    EXPECT_EQ(at(1, 1), 180);          // half way from -170 to 170, the short way
    EXPECT_EQ(at(3, 1), 177.5);        // from 170 to -175
    EXPECT_TRUE(std::isnan(at(7, 1))); // after its last sample
}

// Whatever the bytes, a reader answers: lines and values are skipped and counted, nothing breaks.
TEST(Readers, SurviveGarbage) {
    std::mt19937 random(7);
    const std::string alphabet = std::string("0123456789.,;-+eE:TZ \"!\t\r\nabcNnIiF") + std::string(1, '\0');
    const std::vector<std::string> starts = {"!Boat,Utc,BSP,HDG\n!boat,0,1,13\n!v1\n0,45078.5,1,7,13,350\n",
                                             "!Boat,Utc,BSP,HDG\n!v1\n0,45078.5,7,350\n",
                                             "Utc,BSP,HDG\n1685620800,7,350\n",
                                             "Time;BSP\n2023-06-01 12:00;7,5\n"};
    for (int round = 0; round < 400; ++round) {
        std::string text = starts[static_cast<std::size_t>(round) % starts.size()];
        std::size_t length = random() % 600;
        for (std::size_t i = 0; i < length; ++i)
            text += alphabet[random() % alphabet.size()];
        InputTable table;
        std::string error;
        LineReader lines = LineReader::fromMemory(text);
        bool read = InstrumentLogReader::recognises(lines.head())
                        ? InstrumentLogReader::read(lines, table, error)
                        : PlainCsvReader::read(lines, table, error);
        if (!read)
            continue;
        for (const auto& column : table.columns)
            ASSERT_EQ(column.values.size(), table.rowCount()) << text;
        for (double t : table.times)
            ASSERT_TRUE(std::isfinite(t)) << text;
        if (InstrumentLogReader::recognises(text)) {
            // Split anywhere, even inside the garbage.
            InputTable halves;
            LineReader again = LineReader::fromMemory(text);
            ASSERT_TRUE(InstrumentLogReader::read(again, halves, error, 0)) << text;
            ASSERT_EQ(halves.rowCount(), table.rowCount()) << text;
            ASSERT_EQ(halves.columns.size(), table.columns.size()) << text;
            ASSERT_EQ(halves.skipped.lines().first(), table.skipped.lines().first()) << text;
        }
    }
}

// Cells are read by a shortcut where it gives fast_float's very double, by fast_float elsewhere.
TEST(CsvCells, NumbersAsFastFloatReadsThem) {
    std::mt19937_64 random(11);
    std::vector<std::string> texts = {"0",
                                      "-0",
                                      "-0.000",
                                      "007.50",
                                      "9007199254740993",
                                      "1.5e3",
                                      "1.",
                                      ".5",
                                      "-",
                                      "12345678901234567890.5",
                                      "0.1",
                                      "0.3",
                                      "43.4999982",
                                      "45078.5000011574",
                                      "4.9406564584124654e-324",
                                      "1.7976931348623157e308",
                                      "123456789.0123456789012345"};
    char text[64];
    for (int i = 0; i < 20000; ++i) {
        const int decimals = static_cast<int>(random() % 24);
        const double magnitude =
            std::ldexp(static_cast<double>(random() % (1ull << 53)), static_cast<int>(random() % 40) - 40);
        std::snprintf(text, sizeof text, "%.*f", decimals, (random() % 2 ? -1 : 1) * magnitude);
        texts.emplace_back(text);
    }
    const CsvCells cells;
    for (const auto& t : texts) {
        const std::string field = t + ",x";
        const char* p = field.data();
        double value = 0.0, expected = 0.0;
        CsvCells::Cell cell = cells.number(p, field.data() + field.size(), value);
        auto parsed = fast_float::from_chars(t.data(), t.data() + t.size(), expected);
        if (parsed.ec != std::errc() || parsed.ptr != t.data() + t.size()) {
            EXPECT_NE(cell, CsvCells::Cell::number) << t;
            continue;
        }
        ASSERT_EQ(cell, CsvCells::Cell::number) << t;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(expected)) << t;
        EXPECT_EQ(*p, ',') << t;
    }
}

// A log read in two halves on two threads gives the table that reading it in one go gives: rows,
// columns in the order first seen, the counts of skipped lines and values, and the first of each.
TEST(InstrumentLogReader, TwoHalvesReadAsOne) {
    auto read = [](const std::string& text, std::uint64_t halvesFrom) {
        InputTable table;
        std::string error;
        LineReader lines = LineReader::fromMemory(text);
        EXPECT_TRUE(InstrumentLogReader::read(lines, table, error, halvesFrom)) << error;
        return table;
    };
    auto same = [](const InputTable& a, const InputTable& b) {
        auto bits = [](const Values& v) {
            std::vector<std::uint64_t> out;
            for (double d : v)
                out.push_back(std::bit_cast<std::uint64_t>(d));
            return out;
        };
        EXPECT_EQ(bits(a.times), bits(b.times));
        ASSERT_EQ(a.columns.size(), b.columns.size());
        for (std::size_t c = 0; c < a.columns.size(); ++c) {
            EXPECT_EQ(a.columns[c].name, b.columns[c].name);
            EXPECT_EQ(bits(a.columns[c].values), bits(b.columns[c].values)) << a.columns[c].name;
            EXPECT_EQ(a.columns[c].numbers, b.columns[c].numbers);
        }
        EXPECT_EQ(a.skipped.lines().count, b.skipped.lines().count);
        EXPECT_EQ(a.skipped.lines().first(), b.skipped.lines().first());
        EXPECT_EQ(a.skipped.values().count, b.skipped.values().count);
        EXPECT_EQ(a.skipped.values().first(), b.skipped.values().first());
    };
    const int rows = 4000;
    char line[160];
    // Dense: bad lines and a bad cell in the second half only, so that their line numbers count
    // the first half's lines; a byte-order mark at the start of a line that is no file's start; a
    // column without numbers; a restart's header in one half or the other.
    std::string dense = "\xEF\xBB\xBF!Boat,Utc,BSP,HDG,Notes\n!v11\n";
    std::string restartEarly, restartLate;
    for (int i = 0; i < rows; ++i) {
        std::string speed = i == 3100 ? "7.2x" : std::to_string(i % 11) + "." + std::to_string(i % 997);
        std::snprintf(line, sizeof line, "%d,%.10f,%s,%d.5,\r\n", i > 2000 && i % 1000 == 700,
                      45078.5 + i / 864000.0, speed.c_str(), i % 360);
        std::string text = line;
        if (i == 2500)
            text = "0,45078.6,1,2,3,4,5\n"; // more fields than the header names
        if (i == 2600)
            text = "\xEF\xBB\xBF" + text;
        dense += text;
        restartEarly += (i == 900 ? "!Boat,Utc,HDG,BSP\n" : "") + text;
        restartLate += (i == 3200 ? "!Boat,Utc,HDG,BSP,AWA\n" : "") + text;
    }
    const std::string header = "!Boat,Utc,BSP,HDG,Notes\n";
    for (const std::string& text : {dense, header + restartEarly, header + restartLate}) {
        InputTable serial = read(text, std::numeric_limits<std::uint64_t>::max());
        EXPECT_GT(serial.skipped.lines().count, 3);
        same(read(text, 0), serial);
    }
    {
        // From a file, where the second half has a descriptor of its own.
        const std::string path = ::testing::TempDir() + "halves.csv";
        std::FILE* file = std::fopen(path.c_str(), "wb");
        ASSERT_TRUE(file);
        std::fwrite(dense.data(), 1, dense.size(), file);
        std::fclose(file);
        std::string error;
        auto lines = LineReader::openFile(path, error);
        ASSERT_TRUE(lines) << error;
        InputTable halves;
        ASSERT_TRUE(InstrumentLogReader::read(*lines, halves, error, 0)) << error;
        same(halves, read(dense, std::numeric_limits<std::uint64_t>::max()));
        std::remove(path.c_str());
    }
    // Sparse: channels first seen in the second half, unknown channels in both.
    std::string sparse = "!Boat,Utc,BSP,HDG,TWS,AWA\n!boat,0,1,13,5,9\n";
    for (int i = 0; i < rows; ++i) {
        std::snprintf(line, sizeof line, "0,%.10f,1,%d.25,%d,%d%s\n", 45078.5 + i / 864000.0, i % 13,
                      i > 2200 ? 5 : 13, i % 360, i % 500 == 3 ? ",77,1" : (i > 3000 ? ",9,3.5" : ""));
        sparse += line;
    }
    InputTable serial = read(sparse, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(serial.columns.size(), 4u);
    EXPECT_GT(serial.skipped.values().count, 1);
    same(read(sparse, 0), serial);
}

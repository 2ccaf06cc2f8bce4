#include "ColumnNames.h"
#include "MergedTable.h"
#include "readers/InstrumentLogReader.h"
#include "readers/PlainCsvReader.h"
#include "readers/TimeText.h"

#include <cmath>
#include <gtest/gtest.h>
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
    const std::string alphabet =
        std::string("0123456789.,;-+eE:TZ \"!\t\r\nabcNnIiF", 37) + std::string(1, '\0');
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
    }
}

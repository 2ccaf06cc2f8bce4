#include "boatlog/LogFileAsset.h"
#include "metrics/Boat.h"
#include "support/LogFixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <cmath>
#include <gtest/gtest.h>

// pandas' "fixed" frame format is the layout of converted logs: a file pandas writes must load
// with identical values and times.
namespace {

// Runs `makeFrame` (Python that leaves a DataFrame in `frame`), writes the frame with pandas and
// answers where; `dump`, when given, gets the table as pandas reads it back: the column names
// joined by "|", then one line per row, the time and every value.
QString writeWithPandas(const QTemporaryDir& dir, const char* name, const std::string& makeFrame,
                        const QString& dump = {}) {
    QString path = dir.filePath(QString(name) + ".hdf5");
    const std::string script = "import sys, numpy as np, pandas as pd\n" + makeFrame + R"py(
frame.to_hdf(sys.argv[1], key="log0", mode="w", format="fixed")
if len(sys.argv) > 2:
    back = pd.read_hdf(sys.argv[1], "log0")
    with open(sys.argv[2], "w") as out:
        out.write("|".join(back.columns) + "\n")
        for t, row in zip(back.index, back.itertuples(index=False)):
            out.write(repr(float(t)) + " " + " ".join(repr(float(v)) for v in row) + "\n")
)py";
    QString output;
    QStringList arguments{path};
    if (!dump.isEmpty())
        arguments << dump;
    EXPECT_EQ(runSystemPython(script, arguments, &output), 0) << output.toStdString();
    return path;
}

std::shared_ptr<LogFileAsset> open(const QString& path, QString* failure = nullptr) {
    DiagnosticsCapture capture;
    auto boat = Boat::create("Pandas", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    auto asset = LogFileAsset::open(path, boat, QUuid::createUuid(), 0.0, TimeZone::utc(), failure);
    if (!asset && !failure)
        ADD_FAILURE() << capture.text();
    return asset;
}

// Every time, name and value of the log as pandas read it; answers the number of rows compared.
std::int64_t expectSameAsPandas(const DoubleArrayBoatLog& log, const QString& dump) {
    QFile expected(dump);
    EXPECT_TRUE(expected.open(QIODevice::ReadOnly | QIODevice::Text));
    QStringList names = QString::fromUtf8(expected.readLine()).trimmed().split('|');
    EXPECT_EQ(static_cast<qsizetype>(log.columnNames().size()), names.size());
    std::vector<BoatMetric> metrics;
    for (qsizetype c = 0; c < names.size(); ++c) {
        EXPECT_EQ(log.columnNames()[c], names[c].toStdString());
        metrics.emplace_back(names[c].toStdString());
    }
    std::int64_t row = 0;
    while (!expected.atEnd()) {
        QStringList fields = QString::fromUtf8(expected.readLine()).trimmed().split(' ');
        EXPECT_EQ(fields.size(), names.size() + 1);
        if (row >= log.recordCount() || fields.size() != names.size() + 1) {
            ADD_FAILURE() << "row " << row << " of " << log.recordCount();
            break;
        }
        EXPECT_EQ(log.fileTimeIntervalIndex()[row], fields[0].toDouble()) << row;
        EXPECT_NEAR(log.offsetTimeIndex()[row].unixSeconds(), fields[0].toDouble(), 1e-6) << row;
        for (qsizetype c = 0; c < names.size(); ++c) {
            double want = fields[c + 1] == "nan" ? NAN : fields[c + 1].toDouble();
            auto got = log.value({row, {}}, metrics[c]);
            if (std::isnan(want))
                EXPECT_FALSE(got) << row << "," << c;
            else
                EXPECT_EQ(got ? got->value() : NAN, want) << row << "," << c;
        }
        ++row;
    }
    EXPECT_EQ(row, log.recordCount());
    return row;
}

} // namespace

TEST(PandasInterchange, FramesWrittenByPandasLoadUnchanged) {
    QTemporaryDir dir;
    QString dump = dir.filePath("expected.txt");
    QString path = writeWithPandas(dir, "pandas", R"py(
rng = np.random.default_rng(3)
n = 2500
index = pd.Index(1686052800.0 + np.arange(n) * 0.1 + rng.uniform(0, 0.01, n), dtype="float64")
columns = ["Lat", "Lon", "Heading", "TWA", "TWS", "Heave", "Mast Load (kg)", "Temperatura°"]
frame = pd.DataFrame(rng.normal(size=(n, len(columns))) * 100, index=index, columns=columns)
frame.iloc[5, 2] = np.nan
frame.iloc[7, :] = np.nan
)py",
                                   dump);
    auto asset = open(path);
    ASSERT_TRUE(asset);
    EXPECT_EQ(asset->boatLog()->availableMetrics()[5], BoatMetric::custom("Heave"));
    EXPECT_EQ(expectSameAsPandas(*asset->boatLog(), dump), 2500);
}

// A frame of several dtypes is stored as one block per dtype, in another order than its columns:
// each column must still read its own numbers.
TEST(PandasInterchange, FramesOfMixedTypesLoadEveryColumnInItsPlace) {
    QTemporaryDir dir;
    QString dump = dir.filePath("expected.txt");
    QString path = writeWithPandas(dir, "mixed", R"py(
rng = np.random.default_rng(5)
n = 300
frame = pd.DataFrame({
    "Tacking": rng.integers(0, 2, n).astype(bool),
    "Lat": 54.0 + rng.normal(size=n) * 1e-3,
    "Satellites": rng.integers(-5, 14, n).astype("int64"),
    "Lon": 10.0 + rng.normal(size=n) * 1e-3,
    "Mode": rng.integers(-100, 100, n).astype("int8"),
    "Heel": (rng.normal(size=n) * 10).astype("float32"),
    "Load": rng.integers(0, 60000, n).astype("uint16"),
    "TWS": rng.normal(size=n) + 12,
    "Gybing": rng.integers(0, 2, n).astype(bool),
}, index=pd.Index(1686052800.0 + np.arange(n) * 0.5))
frame.iloc[3, 7] = np.nan
)py",
                                   dump);
    auto asset = open(path);
    ASSERT_TRUE(asset);
    EXPECT_EQ(expectSameAsPandas(*asset->boatLog(), dump), 300);

    // Text in a column is not a metric: the log is refused, not read around it.
    QString text = writeWithPandas(dir, "text", R"py(
frame = pd.DataFrame({"Lat": [54.0, 54.1], "Sail": ["J1", "J2"], "TWS": [12.0, 13.0]},
                     index=pd.Index([1686052800.0, 1686052801.0]))
)py");
    QString failure;
    EXPECT_FALSE(open(text, &failure));
    EXPECT_EQ(failure, "column \"Sail\" holds text or objects, not numbers");
}

// How pandas stores what is not a plain float index: an empty array as a one-element stand-in,
// a DatetimeIndex as nanoseconds. Neither may read as a record at some other time.
TEST(PandasInterchange, EmptyAndDatetimeIndexesReadAsTheirTimes) {
    QTemporaryDir dir;
    QString empty = writeWithPandas(dir, "empty", R"py(
frame = pd.DataFrame({"Lat": np.array([], dtype="float64"), "Satellites": np.array([], dtype="int64")},
                     index=pd.Index([], dtype="float64"))
)py");
    auto asset = open(empty);
    ASSERT_TRUE(asset);
    EXPECT_EQ(asset->boatLog()->recordCount(), 0);
    EXPECT_EQ(asset->boatLog()->columnNames(), (std::vector<std::string>{"Lat", "Satellites"}));
    EXPECT_FALSE(asset->fileStartTime());

    QString dated = writeWithPandas(dir, "dated", R"py(
frame = pd.DataFrame({"Lat": [54.0, 54.1, 54.2]},
                     index=pd.to_datetime(["2023-06-01 12:00:00.25", "2023-06-01 12:00:01", "2023-06-01 12:00:02"]))
)py");
    asset = open(dated);
    ASSERT_TRUE(asset);
    EXPECT_EQ(std::vector<double>(asset->boatLog()->fileTimeIntervalIndex().begin(),
                                  asset->boatLog()->fileTimeIntervalIndex().end()),
              (std::vector<double>{1685620800.25, 1685620801.0, 1685620802.0}));
    EXPECT_EQ(asset->boatLog()->value({1, {}}, BoatMetric::Case::Lat)->value(), 54.1);

    QString missingTime = writeWithPandas(dir, "nat", R"py(
frame = pd.DataFrame({"Lat": [54.0, 54.1]}, index=pd.to_datetime(["2023-06-01 12:00:00", None]))
)py");
    QString failure;
    EXPECT_FALSE(open(missingTime, &failure));
    EXPECT_EQ(failure, "the time of record 1 is not a number");
}

#include "boatlog/LogFileAsset.h"
#include "metrics/Boat.h"
#include "support/LogFixture.h"

#include <QTemporaryDir>
#include <cmath>
#include <gtest/gtest.h>

// pandas' "fixed" frame format is the layout of converted logs: a file pandas writes must load
// with identical values and times.
TEST(PandasInterchange, FramesWrittenByPandasLoadUnchanged) {
    QTemporaryDir dir;
    QString path = dir.filePath("pandas.hdf5");
    QString dump = dir.filePath("expected.txt");
    const char* script = R"py(
import sys, numpy as np, pandas as pd
rng = np.random.default_rng(3)
n = 2500
index = pd.Index(1686052800.0 + np.arange(n) * 0.1 + rng.uniform(0, 0.01, n), dtype="float64")
columns = ["Lat", "Lon", "Heading", "TWA", "TWS", "Heave", "Mast Load (kg)", "Temperatura°"]
frame = pd.DataFrame(rng.normal(size=(n, len(columns))) * 100, index=index, columns=columns)
frame.iloc[5, 2] = np.nan
frame.iloc[7, :] = np.nan
frame.to_hdf(sys.argv[1], key="log0", mode="w", format="fixed")
back = pd.read_hdf(sys.argv[1], "log0")
with open(sys.argv[2], "w") as out:
    out.write("|".join(back.columns) + "\n")
    for t, row in zip(back.index, back.itertuples(index=False)):
        out.write(repr(float(t)) + " " + " ".join(repr(float(v)) for v in row) + "\n")
)py";
    QString output;
    ASSERT_EQ(runSystemPython(script, {path, dump}, &output), 0) << output.toStdString();

    DiagnosticsCapture capture;
    auto boat = Boat::create("Pandas", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    auto asset = LogFileAsset::open(path, boat, QUuid::createUuid(), 0.0, TimeZone::utc());
    ASSERT_TRUE(asset) << capture.text();
    const DoubleArrayBoatLog& log = *asset->boatLog();

    QFile expected(dump);
    ASSERT_TRUE(expected.open(QIODevice::ReadOnly | QIODevice::Text));
    QStringList names = QString::fromUtf8(expected.readLine()).trimmed().split('|');
    ASSERT_EQ(static_cast<qsizetype>(log.columnNames().size()), names.size());
    std::vector<BoatMetric> metrics;
    for (qsizetype c = 0; c < names.size(); ++c) {
        EXPECT_EQ(log.columnNames()[c], names[c].toStdString());
        metrics.emplace_back(names[c].toStdString());
    }
    EXPECT_EQ(metrics[5], BoatMetric::custom("Heave"));

    std::int64_t row = 0;
    while (!expected.atEnd()) {
        QStringList fields = QString::fromUtf8(expected.readLine()).trimmed().split(' ');
        ASSERT_EQ(fields.size(), names.size() + 1);
        ASSERT_LT(row, log.recordCount());
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
    EXPECT_EQ(row, 2500);
    EXPECT_EQ(row, log.recordCount());
}

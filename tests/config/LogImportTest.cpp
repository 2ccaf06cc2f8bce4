#include "document/LogImport.h"

#include "config/FakeConverter.h"
#include "document/LogConverter.h"
#include "metrics/Boat.h"
#include "metrics/BoatMetric.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>

namespace {

std::shared_ptr<Boat> boat(double length = 8.5, double gpsOffset = 1.25) {
    auto boat = Boat::create("Moana", "MOA", RgbColor::pureRed(), Boat::DisplayMode::Main);
    boat->setBoatLength(length);
    boat->setGpsOffset(gpsOffset);
    return boat;
}

QString touch(const QTemporaryDir& dir, const QString& name, const QByteArray& text = "x\n") {
    QFile file(dir.filePath(name));
    file.open(QIODevice::WriteOnly);
    file.write(text);
    return file.fileName();
}

double cell(const LogFileAsset& asset, std::int64_t row, const std::string& metric) {
    auto value = asset.boatLog()->value({row, {}}, BoatMetric(metric));
    return value ? value->value() : NAN;
}

const TimeZone berlin = *TimeZone::fromIdentifier("Europe/Berlin");

} // namespace

// An HDF5 log chosen alone, whatever the case of its extension, is opened where it lies; the
// converter is not asked. A file no road takes gives nothing and says nothing.
TEST(LogImport, OpensALoneHdf5LogAsItIs) {
    QTemporaryDir dir;
    FakeConverter converter("exit 3");
    const QString log = dir.filePath("Race.HDF5");
    ASSERT_TRUE(FakeConverter::writeLog(log));

    LogImportResult result = importLogs({log}, boat(), berlin, {});
    ASSERT_TRUE(result.asset) << result.failure.toStdString();
    EXPECT_EQ(result.asset->url().toLocalFile(), log);
    EXPECT_EQ(result.asset->boatLog()->recordCount(), 3);
    // The log says nothing of its zone: its clock times are read in the one given.
    EXPECT_EQ(result.asset->fileTimeZone().identifier(), berlin.identifier());

    const QString broken = touch(dir, "broken.hdf5", "not a log");
    result = importLogs({broken}, boat(), berlin, {});
    EXPECT_FALSE(result.asset);
    EXPECT_TRUE(result.failure.contains("broken.hdf5")) << result.failure.toStdString();

    result = importLogs({touch(dir, "notes.txt")}, boat(), berlin, {});
    EXPECT_FALSE(result.asset);
    EXPECT_TRUE(result.failure.isEmpty());
    EXPECT_FALSE(result.cancelled);
    EXPECT_EQ(converter.runs(), 0);
}

// Several files go to one run with the boat's figures, in the order chosen, files the converter
// cannot read left out; the converted log lands in the import folder under a new UUID. Every
// line of the child, stdout and stderr alike, reaches the caller whole and in order.
TEST(LogImport, ConvertsChosenFilesInOneRun) {
    QTemporaryDir dir;
    const QString fixture = dir.filePath("fixture.hdf5");
    ASSERT_TRUE(FakeConverter::writeLog(fixture));
    FakeConverter converter("printf 'Reading a.csv\\n'\n"
                            "printf 'Warnung: Höhe fehlt\\n' >&2\n"
                            "cp " +
                            FakeConverter::quoted(fixture) +
                            " \"$out\"\n"
                            "printf 'Wrote 3 records'\n");
    const QString csv = touch(dir, "a.csv"), hdf5 = touch(dir, "b.HDF5"), text = touch(dir, "notes.txt");

    QStringList lines;
    DiagnosticsCapture diagnostics;
    LogImportResult result =
        importLogs({csv, text, hdf5}, boat(), berlin, [&](const QString& line) { lines << line; });
    ASSERT_TRUE(result.asset) << result.failure.toStdString();
    EXPECT_EQ(converter.runs(), 1);
    EXPECT_EQ(lines, (QStringList{"Reading a.csv", "Warnung: Höhe fehlt", "Wrote 3 records"}));

    const QStringList arguments = converter.arguments();
    ASSERT_EQ(arguments.size(), 9);
    const QString output = arguments[2];
    EXPECT_EQ(arguments, (QStringList{"convert", "-o", output, "--boatLength", "8.5", "--gpsOffset", "1.25",
                                      csv, hdf5}));
    EXPECT_EQ(QFileInfo(output).absolutePath(), QFileInfo(logImportFolder()).absoluteFilePath());
    EXPECT_TRUE(QRegularExpression("^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\.hdf5$")
                    .match(QFileInfo(output).fileName())
                    .hasMatch())
        << output.toStdString();
    EXPECT_EQ(result.asset->url().toLocalFile(), output);
    EXPECT_EQ(cell(*result.asset, 2, "TWS"), 13.0);

    const std::string printed = diagnostics.text();
    EXPECT_NE(printed.find("Running " +
                           QFileInfo(converter.path("logutils-cli")).absoluteFilePath().toStdString() +
                           " with args [\"convert\", \"-o\", \"" + output.toStdString() + "\""),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("Converted input files in "), std::string::npos);
    EXPECT_EQ(printed.find("Warning: termination status"), std::string::npos);
}

// A failing converter, a cancelled one and a missing one: none leaves an output file behind, and
// a cancelled child is gone, not left running.
TEST(LogConverter, FailedCancelledAndMissingRunsLeaveNothing) {
    QTemporaryDir dir;
    const QString fixture = dir.filePath("fixture.hdf5");
    ASSERT_TRUE(FakeConverter::writeLog(fixture));
    LogConverter::Request request;
    request.inputs = {touch(dir, "a.csv")};
    request.output = dir.filePath("out.hdf5");
    const QString copy = "cp " + FakeConverter::quoted(fixture) + " \"$out\"\n";
    {
        FakeConverter converter(copy + "echo 'Error: no time column'\nexit 1");
        QStringList lines;
        DiagnosticsCapture diagnostics;
        auto result = LogConverter::run(request, [&](const QString& line) { lines << line; });
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_FALSE(result.failure.isEmpty());
        EXPECT_FALSE(result.cancelled);
        EXPECT_EQ(lines, QStringList{"Error: no time column"});
        EXPECT_FALSE(QFile::exists(request.output));
        EXPECT_NE(diagnostics.text().find("Warning: termination status: 1\n"), std::string::npos);
    }
    {
        FakeConverter converter(copy + "echo started\nexec sleep 30");
        std::atomic<bool> cancel = false;
        auto result = LogConverter::run(
            request, [&](const QString&) { cancel = true; }, &cancel);
        EXPECT_TRUE(result.cancelled);
        EXPECT_FALSE(QFile::exists(request.output));
        ASSERT_GT(converter.pid(), 0);
        EXPECT_EQ(::kill(pid_t(converter.pid()), 0), -1);
        EXPECT_EQ(errno, ESRCH);
    }
    {
        qputenv("WAKELINE_CONVERTER", dir.filePath("nowhere/logutils-cli").toLocal8Bit());
        EXPECT_TRUE(LogConverter::locate().isEmpty());
        auto result = LogConverter::run(request, {});
        qunsetenv("WAKELINE_CONVERTER");
        EXPECT_FALSE(result.failure.isEmpty());
        EXPECT_FALSE(result.cancelled);
    }
}

// The converter built beside this binary reads a CSV table made here, and its log opens with the
// rows that went in (under the catalogue's names: BSP is BoatSpeed).
TEST(LogConverter, RealConverterConvertsACsvTable) {
    ASSERT_TRUE(qEnvironmentVariableIsEmpty("WAKELINE_CONVERTER"));
    ASSERT_TRUE(LogConverter::locate().endsWith("/logutils-cli")) << LogConverter::locate().toStdString();
    QTemporaryDir dir;
    QByteArray csv = "Utc,BSP,TWS\n";
    for (int i = 0; i < 20; ++i)
        csv += QByteArray::number(1685620800 + i) + ".0," + QByteArray::number(6 + i * 0.25) + ",12\n";
    QStringList lines;
    LogImportResult result = importLogs({touch(dir, "day.csv", csv)}, boat(), TimeZone::utc(),
                                        [&](const QString& line) { lines << line; });
    ASSERT_TRUE(result.asset) << result.failure.toStdString() << lines.join('\n').toStdString();
    EXPECT_EQ(result.asset->boatLog()->recordCount(), 20);
    EXPECT_DOUBLE_EQ(cell(*result.asset, 4, "BoatSpeed"), 7.0);
    EXPECT_DOUBLE_EQ(result.asset->fileStartTime()->unixSeconds(), 1685620800.0);
}

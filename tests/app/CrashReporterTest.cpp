#include "app/CrashReporter.h"

#include <QDir>
#include <QFile>
#include <csignal>
#include <gtest/gtest.h>

TEST(CrashReporterDeathTest, AFatalSignalLeavesAReportWithABacktraceAndTheEnvironment) {
    // A fixed folder: the dying child runs this test again from its start, so a temporary folder
    // would be a different one there.
    const QDir state(QDir::temp().filePath(QStringLiteral("wakeline-crash-report-test")));
    QDir(state).removeRecursively();
    const QByteArray previous = qgetenv("XDG_STATE_HOME");
    qputenv("XDG_STATE_HOME", state.path().toLocal8Bit());
    EXPECT_DEATH(
        {
            CrashReporter::start("prod");
            std::raise(SIGSEGV);
        },
        "a report was written to");
    qputenv("XDG_STATE_HOME", previous);
    const QStringList reports =
        QDir(state.filePath("Wakeline/crashes")).entryList({"crash-*.txt"}, QDir::Files);
    ASSERT_EQ(reports.size(), 1);
    QFile report(state.filePath("Wakeline/crashes/" + reports.first()));
    ASSERT_TRUE(report.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(report.readAll());
    EXPECT_TRUE(text.contains("environment: prod")) << qPrintable(text);
    EXPECT_TRUE(text.contains("signal: 11 (SEGV)")) << qPrintable(text);
    EXPECT_TRUE(text.contains("backtrace:\n")) << qPrintable(text);
    EXPECT_GT(text.count('\n'), 6) << "the backtrace has frames";
    QDir(state).removeRecursively();
}

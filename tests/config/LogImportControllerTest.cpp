#include "config/LogImportController.h"

#include "app/ProgressViewController.h"
#include "app/ProgressWindowController.h"
#include "config/FakeConverter.h"
#include "document/Document.h"
#include "document/LogImport.h"
#include "support/FileDrag.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <gtest/gtest.h>

namespace {

QString logText(LogImportController& controller) {
    // Each line is followed by a line feed.
    return controller.progressWindow()->contentViewController()->logTextView()->toPlainText().trimmed();
}

// Converted logs lying in the import folder.
QStringList convertedLogs() {
    return QDir(logImportFolder()).entryList({"*.hdf5"}, QDir::Files);
}

struct Event {
    Document document;
    std::shared_ptr<Boat> boat = Boat::create("Moana", "MOA", RgbColor::pureRed(), Boat::DisplayMode::Main);
    QTemporaryDir dir;
    QString fixture = dir.filePath("fixture.hdf5");
    Event() {
        document.addBoat(boat);
        document.setEdited(false);
        EXPECT_TRUE(FakeConverter::writeLog(fixture));
    }
    QString input() const {
        QFile file(dir.filePath("track.gpx"));
        file.open(QIODevice::WriteOnly);
        return file.fileName();
    }
};

} // namespace

// The converter's lines appear in the progress window while it runs; the log then joins the boat
// as an edit that marks the document and is announced. A failure keeps its window open with the
// reason in the log.
TEST(LogImportController, AddsTheConvertedLogAndShowsFailures) {
    Event event;
    {
        FakeConverter converter("echo 'Reading track.gpx'\ncp " + FakeConverter::quoted(event.fixture) +
                                " \"$out\"\necho 'Wrote 3 records' >&2");
        QSignalSpy boatsUpdated(&event.document, &Document::documentBoatsUpdated);
        QPointer<LogImportController> controller =
            LogImportController::start(&event.document, event.boat, {event.input()});
        ASSERT_TRUE(controller);
        EXPECT_TRUE(controller->progressWindow()->isVisible());
        EXPECT_EQ(controller->progressWindow()->contentViewController()->descriptionLabel()->text(),
                  QString("Loading boat data files…"));
        QSignalSpy finished(controller.data(), &LogImportController::finished);
        ASSERT_TRUE(finished.wait(20000));
        EXPECT_TRUE(finished.front().front().toBool());
        EXPECT_EQ(logText(*controller), QString("Reading track.gpx\nWrote 3 records"));
        ASSERT_EQ(event.document.logAssets(event.boat).size(), 1u);
        EXPECT_EQ(event.document.logAssets(event.boat).front()->boatLog()->recordCount(), 3);
        EXPECT_TRUE(event.document.isEdited());
        EXPECT_GE(boatsUpdated.size(), 1);
        // Done and closed by itself; the controller goes with its window.
        QTRY_VERIFY(!controller);
    }
    {
        FakeConverter converter("echo 'Error: no time column in track.gpx'\nexit 2");
        QPointer<LogImportController> controller =
            LogImportController::start(&event.document, event.boat, {event.input()});
        QSignalSpy finished(controller.data(), &LogImportController::finished);
        ASSERT_TRUE(finished.wait(20000));
        EXPECT_FALSE(finished.front().front().toBool());
        ProgressWindowController* window = controller->progressWindow();
        EXPECT_TRUE(window->isVisible());
        EXPECT_TRUE(
            logText(*controller).startsWith("Error: no time column in track.gpx\nThe log converter failed"))
            << logText(*controller).toStdString();
        EXPECT_TRUE(window->contentViewController()->dismissButton()->isEnabled());
        EXPECT_EQ(event.document.logAssets(event.boat).size(), 1u);
        window->contentViewController()->dismissButton()->click();
        QTRY_VERIFY(!controller);
    }
}

// Cancel stops the converter mid-run: nothing joins the document, no converted file is left, and
// the window never waited on the child.
TEST(LogImportController, CancelStopsTheConverter) {
    Event event;
    FakeConverter converter("cp " + FakeConverter::quoted(event.fixture) +
                            " \"$out\"\necho 'Reading track.gpx'\nexec sleep 30");
    const QStringList before = convertedLogs();
    QPointer<LogImportController> controller =
        LogImportController::start(&event.document, event.boat, {event.input()});
    ASSERT_TRUE(controller);
    QSignalSpy finished(controller.data(), &LogImportController::finished);
    // The line arriving proves the event loop ran while the child was still at work.
    QTRY_COMPARE_WITH_TIMEOUT(logText(*controller), QString("Reading track.gpx"), 20000);
    QPushButton* cancel = controller->progressWindow()->contentViewController()->cancelButton();
    ASSERT_TRUE(cancel->isVisible());
    cancel->click();
    ASSERT_TRUE(finished.wait(20000));
    EXPECT_FALSE(finished.front().front().toBool());
    EXPECT_TRUE(event.document.logAssets(event.boat).empty());
    EXPECT_FALSE(event.document.isEdited());
    EXPECT_EQ(convertedLogs(), before);
    EXPECT_EQ(::kill(pid_t(converter.pid()), 0), -1);
    QTRY_VERIFY(!controller);
}

// Dropped on a window, log files are taken and imported for the document's only boat; a drag of
// other files is left to the window.
TEST(LogImportController, ImportsLogFilesDroppedOnAWindow) {
    Event event;
    FakeConverter converter("cp " + FakeConverter::quoted(event.fixture) + " \"$out\"");
    QWidget window;
    LogImportController::acceptLogDrops(&window, [&event] { return &event.document; });
    auto drag = [&](QEvent::Type type, const QStringList& files) {
        return sendFileDrag(&window, type, files);
    };
    EXPECT_FALSE(drag(QEvent::DragEnter, {event.dir.filePath("clip.mp4")}));
    EXPECT_TRUE(drag(QEvent::DragEnter, {event.dir.filePath("clip.mp4"), event.input()}));
    EXPECT_TRUE(drag(QEvent::Drop, {event.dir.filePath("clip.mp4"), event.input()}));
    QTRY_COMPARE_WITH_TIMEOUT(event.document.logAssets(event.boat).size(), 1u, 20000);
    EXPECT_EQ(converter.runs(), 1);
    EXPECT_FALSE(converter.arguments().join(' ').contains("clip.mp4"));
}

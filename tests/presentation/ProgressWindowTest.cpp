#include "app/ProgressViewController.h"
#include "app/ProgressWindowController.h"

#include <QCoreApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBlock>
#include <gtest/gtest.h>
#include <thread>

using State = ProgressWindowController::State;

TEST(ProgressWindow, GoesFromIdleThroughWorkToDoneAndWaitsForDismiss) {
    ProgressWindowController window;
    ProgressViewController* view = window.contentViewController();
    EXPECT_EQ(window.state(), State::idle);
    EXPECT_FALSE(window.autoClose());

    // Collapsed: no log, no dismiss button.
    EXPECT_EQ(window.height(), 100);
    EXPECT_TRUE(view->logTextView()->isHidden());
    EXPECT_TRUE(view->dismissButton()->isHidden());
    window.setShowsLog(true);
    EXPECT_EQ(window.height(), 330);
    EXPECT_FALSE(view->logTextView()->isHidden());
    EXPECT_FALSE(view->dismissButton()->isHidden());

    window.begin("Converting logs…");
    EXPECT_EQ(window.state(), State::working);
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(view->descriptionLabel()->text(), "Converting logs…");
    EXPECT_EQ(view->progressIndicator()->minimum(), 0);
    EXPECT_EQ(view->progressIndicator()->maximum(), 0); // indeterminate
    EXPECT_FALSE(view->dismissButton()->isEnabled());

    window.done();
    EXPECT_EQ(window.state(), State::done);
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(view->descriptionLabel()->text(), "Converting logs… done.");
    EXPECT_TRUE(view->dismissButton()->isEnabled());

    // Lines may still arrive when done.
    window.appendLog("late line");
    EXPECT_EQ(view->logTextView()->toPlainText(), "late line\n");

    view->dismissButton()->click();
    EXPECT_FALSE(window.isVisible());
}

TEST(ProgressWindow, AutoCloseClosesWhenDoneWithoutTouchingTheDescription) {
    ProgressWindowController window;
    window.setAutoClose(true);
    window.begin("Opening document…");
    ASSERT_TRUE(window.isVisible());
    window.done();
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(window.state(), State::done);
    EXPECT_EQ(window.contentViewController()->descriptionLabel()->text(), "Opening document…");
}

TEST(ProgressWindow, LogDropsNetworkNoiseRevealsItselfAndFollowsTheEnd) {
    ProgressWindowController window;
    QPlainTextEdit* log = window.contentViewController()->logTextView();
    window.begin("Converting");
    ASSERT_FALSE(window.showsLog());

    window.appendLog("Reading track.gpx");
    window.appendLog(
        "2023-06-06 nw_path_close_fd Failed to close guarded necp fd 12 [9: Bad file descriptor]");
    window.appendLog("Wrote 3600 records");
    EXPECT_EQ(log->toPlainText(), "Reading track.gpx\nWrote 3600 records\n");
    // A line in a collapsed window shows the log, and with it the dismiss button.
    EXPECT_TRUE(window.showsLog());
    EXPECT_EQ(window.height(), 330);

    // The palette's text colour, so that the log reads in a dark theme too.
    QTextBlock first = log->document()->firstBlock();
    EXPECT_EQ(first.begin().fragment().charFormat().foreground().color(),
              log->palette().color(QPalette::Text));

    for (int i = 0; i < 200; ++i)
        window.appendLog(QString("line %1").arg(i));
    QCoreApplication::processEvents();
    QScrollBar* bar = log->verticalScrollBar();
    EXPECT_GT(bar->maximum(), 0);
    EXPECT_EQ(bar->value(), bar->maximum());
}

TEST(ProgressWindow, CallsFromAnotherThreadArriveOnTheWindowsThreadInOrder) {
    ProgressWindowController window;
    std::thread worker([&window] {
        window.begin("Converting logs…");
        window.appendLog("first");
        window.appendLog("nw_path_close_fd");
        window.appendLog("second");
        window.done();
    });
    worker.join();
    // Nothing was touched from the worker: it all waits for the window's thread.
    EXPECT_EQ(window.state(), State::idle);
    EXPECT_TRUE(window.contentViewController()->logTextView()->toPlainText().isEmpty());

    QCoreApplication::processEvents();
    EXPECT_EQ(window.state(), State::done);
    EXPECT_EQ(window.contentViewController()->descriptionLabel()->text(), "Converting logs… done.");
    EXPECT_EQ(window.contentViewController()->logTextView()->toPlainText(), "first\nsecond\n");
    EXPECT_TRUE(window.contentViewController()->dismissButton()->isEnabled());
}

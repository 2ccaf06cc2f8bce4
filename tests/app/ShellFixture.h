#pragma once

#include "app/AppDelegate.h"
#include "app/DocumentController.h"
#include "core/Instant.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <vector>

class Document;

// A saved event on disk: one boat sailing for ten minutes with position, heading and wind, a
// race, and two media groups with a photo. For the window, document and render tests.
struct ShellFixture {
    static constexpr double t0 = 1686052800.0; // 2023-06-06 12:00:00 UTC

    QTemporaryDir dir;
    QString package = dir.filePath("Harbour Race.wakeline");

    // With `video`, the package also holds that video from `videoStart` on, 4 s long.
    explicit ShellFixture(const QString& video = {});
    static constexpr double videoStart = 300.0;
    static Instant at(double secondsAfterStart) { return Instant::fromUnix(t0 + secondsAfterStart); }
    // The boat log written for the package, for a package whose log has gone missing.
    QString logPath() const;
};

// Registers the standard views once per test binary.
void registerViewsOnce();

// The program's delegate and document controller with every question answered by the test:
// save-changes answers are taken in order (none left: cancel), Save As goes to `saveLocation`,
// errors are collected.
struct DocumentHarness {
    AppDelegate delegate;
    DocumentController& documents = delegate.documentController();
    QStringList errors;
    std::vector<DocumentController::SaveChangesAnswer> answers;
    int questions = 0;
    QString saveLocation;

    DocumentHarness();
    // Opens and waits until the logs are in.
    Document* open(const QString& path);
};

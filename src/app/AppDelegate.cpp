#include "app/AppDelegate.h"

#include "app/CrashReporter.h"
#include "app/DocumentController.h"
#include "app/MainMenu.h"
#include "app/WindowController.h"
#include "config/PreferencesViewController.h"
#include "core/Instant.h"
#include "core/UserDefaults.h"
#include "document/Document.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QStandardPaths>
#include <QTimeZone>

namespace {
AppDelegate* sharedDelegate = nullptr;

// The track intervals are edited with time-of-day pickers, so they are kept as instants whose
// time of day in GMT is the interval.
QDateTime intervalInstant(int seconds) {
    return QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc()).addSecs(seconds);
}
} // namespace

AppDelegate::AppDelegate(QObject* parent)
    : QObject(parent), documentController_(new DocumentController(this)) {
    sharedDelegate = this;
}

AppDelegate::~AppDelegate() {
    if (sharedDelegate == this)
        sharedDelegate = nullptr;
    for (const auto& window : presentationWindowControllers_)
        delete window.data();
}

AppDelegate* AppDelegate::shared() {
    return sharedDelegate;
}

QVariantMap AppDelegate::registeredDefaults() {
    return {
        {QStringLiteral("pastBoatTrackInterval"), intervalInstant(300)},
        {QStringLiteral("futureBoatTrackInterval"), intervalInstant(0)},
        {QStringLiteral("pastAuxBoatTrackInterval"), intervalInstant(60)},
        {QStringLiteral("futureAuxBoatTrackInterval"), intervalInstant(0)},
        {QStringLiteral("boatLength"), 12},
        {QStringLiteral("gpsAntennaLoc"), 0.1},
        {QStringLiteral("preferFileMtime"), false},
        {QStringLiteral("AssetShiftApplyToAllAssetsInGroup"), true},
        {QStringLiteral("AssetShiftMoveVideo"), true},
        {QStringLiteral("writeTimestampMode"), 0},
        {QStringLiteral("writeTimestampFrequency"), QStringLiteral("1.0")},
    };
}

void AppDelegate::openPreferencesWindow() {
    if (!preferencesWindowController_)
        preferencesWindowController_ = std::make_unique<PreferencesViewController>();
    preferencesWindowController_->show();
    preferencesWindowController_->raise();
    preferencesWindowController_->activateWindow();
}

void AppDelegate::registerDefaults() {
    UserDefaults::standard().registerDefaults(registeredDefaults());
}

QString AppDelegate::temporaryFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::TempLocation) +
           QStringLiteral("/Wakeline-%1").arg(QCoreApplication::applicationPid());
}

void AppDelegate::applicationDidFinishLaunching(bool startCrashReporting) {
    registerDefaults();
    QVariant state = UserDefaults::standard().value(QStringLiteral("PresentationWindowState"));
    if (state.typeId() == QMetaType::QVariantList) {
        for (const QVariant& entry : state.toList()) {
            auto* window = newPresentationWindow();
            window->restoreState(entry.toMap());
        }
    }
    if (startCrashReporting)
        CrashReporter::start(QStringLiteral("prod"));
}

bool AppDelegate::applicationShouldTerminate() {
    QDir folder(temporaryFolder());
    if (folder.exists())
        folder.removeRecursively();
    return true;
}

void AppDelegate::quit() {
    if (!documentController_->closeAll())
        return;
    applicationShouldTerminate();
    applicationWillTerminate();
    QCoreApplication::quit();
}

void AppDelegate::applicationWillTerminate() {
    // Once: Quit saves before the windows close, and the end of the event loop must not save
    // again with every window gone.
    if (terminated_)
        return;
    terminated_ = true;
    QVariantList entries;
    for (const auto& window : presentationWindowControllers_)
        if (window && window->isVisible())
            entries.append(window->stateRecord());
    UserDefaults::standard().setValue(QStringLiteral("PresentationWindowState"), entries);
    UserDefaults::standard().sync();
}

PresentationWindowController* AppDelegate::newPresentationWindow() {
    auto* window = new PresentationWindowController;
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    MainMenu::install(*window, *this);
    window->setCurrentDocument(activeDocument_);
    window->applyLayout();
    window->setWindowTitle(tr("Presentation — Wakeline"));
    window->show();
    presentationWindowControllers_.emplace_back(window);
    return window;
}

void AppDelegate::setActiveDocument(Document* document) {
    if (activeDocument_ == document)
        return;
    activeDocument_ = document;
    followActiveDocument();
    emit activeDocumentChanged(document);
}

void AppDelegate::followActiveDocument() {
    for (const auto& window : presentationWindowControllers_)
        if (window)
            window->setCurrentDocument(activeDocument_);
}

void AppDelegate::documentWindowBecameKey(WindowController* window) {
    setActiveDocument(window ? window->currentDocument() : nullptr);
}

void AppDelegate::documentWindowClosed(WindowController* window) {
    if (window && activeDocument_ == window->currentDocument())
        setActiveDocument(nullptr);
}

WindowController* AppDelegate::documentWindow(Document* document) const {
    return documentController_->windowFor(document);
}

#include "app/MainMenu.h"

#include "app/AppDelegate.h"
#include "app/DocumentController.h"
#include "app/WindowController.h"
#include "config/ConfigWindowController.h"
#include "config/LogImportController.h"
#include "document/Document.h"
#include "presentation/MediaCommands.h"
#include "presentation/MetricsTableViewController.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/ReplayExportRunner.h"
#include "presentation/UndoActions.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QToolBar>

namespace {
// The document a command of this window acts on: its own, or for a presentation window the
// active one.
Document* documentOf(PresentationWindowController& window) {
    return window.currentDocument();
}

void buildRecentMenu(QMenu* menu, DocumentController& documents) {
    menu->clear();
    const QStringList recent = DocumentController::recentDocuments();
    for (const QString& path : recent) {
        auto* action = menu->addAction(QFileInfo(path).completeBaseName());
        action->setToolTip(path);
        QObject::connect(action, &QAction::triggered, menu,
                         [&documents, path] { documents.openDocument(path); });
    }
    if (!recent.isEmpty())
        menu->addSeparator();
    auto* clear = menu->addAction(QObject::tr("Clear Menu"));
    clear->setEnabled(!recent.isEmpty());
    QObject::connect(clear, &QAction::triggered, menu, [] { DocumentController::clearRecentDocuments(); });
}
} // namespace

void MainMenu::install(PresentationWindowController& window, AppDelegate& delegate) {
    DocumentController& documents = delegate.documentController();
    QMenuBar* bar = window.menuBar();
    bar->clear();
    QPointer<PresentationWindowController> target(&window);

    QMenu* file = bar->addMenu(QObject::tr("&File"));
    auto* newAction =
        file->addAction(QObject::tr("&New"), &window, [&documents] { documents.newDocument(); });
    newAction->setShortcut(QKeySequence::New);
    auto* open = file->addAction(QObject::tr("&Open…"), &window,
                                 [&documents, target] { documents.openDocumentWithChooser(target); });
    open->setShortcut(QKeySequence::Open);
    QMenu* recent = file->addMenu(QObject::tr("Open &Recent"));
    QObject::connect(recent, &QMenu::aboutToShow, recent,
                     [recent, &documents] { buildRecentMenu(recent, documents); });
    buildRecentMenu(recent, documents);
    file->addSeparator();
    auto* addMedia = file->addAction(QObject::tr("Add Photos and Videos…"), &window, [target] {
        if (target)
            target->addAssets();
    });
    addMedia->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A));
    auto* importLogs = file->addAction(QObject::tr("Import Boat Logs…"), &window, [target] {
        if (target)
            LogImportController::chooseAndImport(target, target->currentDocument());
    });
    // Every log belongs to a boat: without one there is nothing to import into.
    QObject::connect(file, &QMenu::aboutToShow, file, [importLogs, target] {
        Document* document = target ? target->currentDocument() : nullptr;
        importLogs->setEnabled(document && document->isEditable() && !document->boats().empty());
    });
    auto* exportReplay = file->addAction(QObject::tr("Export Replay Video…"), &window, [target] {
        if (!target)
            return;
        auto* runner = target->findChild<ReplayExportRunner*>();
        if (!runner)
            runner = new ReplayExportRunner(*target);
        runner->run();
    });
    exportReplay->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R));
    QObject::connect(file, &QMenu::aboutToShow, file, [exportReplay, target] {
        Document* document = target ? target->currentDocument() : nullptr;
        exportReplay->setEnabled(document && document->eventStartTime().has_value());
    });
    file->addSeparator();
    auto* close = file->addAction(QObject::tr("&Close"), &window, [target] {
        if (target)
            target->close();
    });
    close->setShortcut(QKeySequence::Close);
    auto* save = file->addAction(QObject::tr("&Save"), &window, [&documents, target] {
        if (target)
            documents.saveDocument(documentOf(*target));
    });
    save->setShortcut(QKeySequence::Save);
    auto* saveAs = file->addAction(QObject::tr("Save &As…"), &window, [&documents, target] {
        if (target)
            documents.saveDocumentAs(documentOf(*target));
    });
    saveAs->setShortcut(QKeySequence::SaveAs);
    file->addSeparator();
    auto* quit = file->addAction(QObject::tr("&Quit"), &delegate, [&delegate] { delegate.quit(); });
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
    // Save and edits need a document that has finished opening and is not being saved; the
    // document controller refuses them otherwise, so a shortcut pressed meanwhile does nothing.
    QObject::connect(file, &QMenu::aboutToShow, file, [save, saveAs, addMedia, target] {
        Document* document = target ? target->currentDocument() : nullptr;
        bool editable = document && document->isEditable();
        save->setEnabled(editable);
        saveAs->setEnabled(editable);
        addMedia->setEnabled(editable);
    });

    QMenu* edit = bar->addMenu(QObject::tr("&Edit"));
    new UndoActions(*edit, window);
    edit->addSeparator();
    auto* configure = edit->addAction(QObject::tr("Configure Event…"), &window, [target] {
        if (target)
            ConfigWindowController::showFor(target->currentDocument());
    });
    configure->setObjectName(QStringLiteral("configureEvent"));
    configure->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    configure->setToolTip(QObject::tr("Boats, logs, races, media groups and the event's time zone"));
    QObject::connect(edit, &QMenu::aboutToShow, edit,
                     [configure, target] { configure->setEnabled(target && target->currentDocument()); });
    auto* preferences = edit->addAction(QObject::tr("Preferences…"), &delegate,
                                        [&delegate] { delegate.openPreferencesWindow(); });
    preferences->setMenuRole(QAction::PreferencesRole);

    QMenu* view = bar->addMenu(QObject::tr("&View"));
    QToolBar* toolbar = window.addToolBar(QObject::tr("Layout"));
    toolbar->setObjectName(QStringLiteral("LayoutToolbar"));
    toolbar->setMovable(false);
    toolbar->addAction(configure);
    toolbar->addSeparator();
    auto* layouts = new QActionGroup(&window);
    int number = 1;
    for (PresentationLayout layout :
         {PresentationLayout::videoMapTimeline, PresentationLayout::mapTimeline,
          PresentationLayout::videoTimeline, PresentationLayout::video, PresentationLayout::metrics,
          PresentationLayout::videoGraphTimeline, PresentationLayout::mapGraphTimeline}) {
        auto* action = new QAction(presentationLayoutTitle(layout), layouts);
        action->setObjectName(QStringLiteral("Layout_") + presentationLayoutText(layout));
        action->setData(presentationLayoutText(layout));
        action->setCheckable(true);
        action->setShortcut(QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_0 + number++)));
        QObject::connect(action, &QAction::triggered, &window, [target, action] {
            if (target)
                target->updateCurrentWindowLayout(action);
        });
        view->addAction(action);
        toolbar->addAction(action);
    }
    auto checkLayout = [layouts, target] {
        if (!target)
            return;
        for (auto* action : layouts->actions())
            action->setChecked(action->data().toString() == presentationLayoutText(target->layout()));
    };
    QObject::connect(&window, &PresentationWindowController::layoutApplied, layouts, checkLayout);
    checkLayout();
    view->addSeparator();
    auto* overlays = view->addAction(QObject::tr("Overlays…"), &window, [target] {
        if (target)
            target->openMetricsConfig();
    });
    overlays->setObjectName(QStringLiteral("OverlaySettings"));
    overlays->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
    overlays->setToolTip(
        QObject::tr("The numbers shown over photos and videos, the media group and the sound"));
    auto* tableRows = view->addAction(QObject::tr("Table Rows and Boats…"), &window, [target] {
        if (auto* table = target ? target->rootView<MetricsTableViewController>() : nullptr)
            table->openRowsConfig();
    });
    tableRows->setObjectName(QStringLiteral("TableRows"));
    QObject::connect(view, &QMenu::aboutToShow, view, [tableRows, target] {
        tableRows->setEnabled(target && target->rootView<MetricsTableViewController>());
    });

    QMenu* playback = bar->addMenu(QObject::tr("&Playback"));
    for (const QString& identifier : PresentationWindowController::playbackCommandIdentifiers()) {
        playback->addAction(window.playbackAction(identifier));
        if (identifier == QLatin1String("PlayPause") || identifier == QLatin1String("SeekBack10") ||
            identifier == QLatin1String("SeekForward10") || identifier == QLatin1String("SeekNextAsset"))
            playback->addSeparator();
    }
    playback->addSeparator();
    for (const QString& identifier : MediaCommands::playbackIdentifiers())
        playback->addAction(window.mediaCommands()->action(identifier));
    QObject::connect(playback, &QMenu::aboutToShow, &window, [target] {
        if (target)
            target->validatePlaybackActions();
    });

    QMenu* media = bar->addMenu(QObject::tr("&Media"));
    for (const QString& identifier : MediaCommands::mediaIdentifiers()) {
        media->addAction(window.mediaCommands()->action(identifier));
        if (identifier == QLatin1String("AdjustAssetTime") ||
            identifier == QLatin1String("ShiftAssetLater01") || identifier == QLatin1String("MuteAudio") ||
            identifier == QLatin1String("CaptureScreen"))
            media->addSeparator();
    }
    QObject::connect(media, &QMenu::aboutToShow, &window, [target] {
        if (target)
            target->validatePlaybackActions();
    });

    QMenu* windows = bar->addMenu(QObject::tr("&Window"));
    auto* presentation = windows->addAction(QObject::tr("New Presentation Window"), &delegate,
                                            [&delegate] { delegate.newPresentationWindow(); });
    presentation->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N));
    auto* fullScreen = windows->addAction(QObject::tr("Full Screen"), &window, [target] {
        if (target)
            target->setWindowState(target->windowState() ^ Qt::WindowFullScreen);
    });
    fullScreen->setShortcut(QKeySequence::FullScreen);

    QMenu* help = bar->addMenu(QObject::tr("&Help"));
    help->addAction(QObject::tr("About Wakeline"), &window, [target] {
        QMessageBox::about(target, QObject::tr("About Wakeline"),
                           QObject::tr("<b>Wakeline</b> %1<br>Race replay and video analysis for sailing.")
                               .arg(QApplication::applicationVersion()));
    });
}

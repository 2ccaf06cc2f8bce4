#include "boatlog/LogFileAsset.h"
#include "config/ConfigViewController.h"
#include "config/ConfigWindowController.h"
#include "config/EventConfigViewController.h"
#include "config/FakeConverter.h"
#include "config/LogImportController.h"
#include "config/RaceConfigViewController.h"
#include "config/TimeZoneComboBox.h"
#include "config/ZonedDateTimeEdit.h"
#include "document/Document.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "presentation/DocumentUndoStack.h"
#include "race/Race.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>
#include <QTreeView>
#include <QUrl>
#include <gtest/gtest.h>

namespace {

using Item = ConfigOutlineModel::Item;
using Section = ConfigOutlineModel::Section;

QAction* toolbarAction(ConfigWindowController& window, const char* name) {
    return window.findChild<QAction*>(QString::fromLatin1(name));
}

int children(const ConfigOutlineModel& model, Section section) {
    return model.rowCount(model.indexOf(section));
}

QMimeData* filesData(const QStringList& files) {
    auto* data = new QMimeData;
    QList<QUrl> urls;
    for (const QString& file : files)
        urls << QUrl::fromLocalFile(file);
    data->setUrls(urls);
    return data;
}

void settle() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

} // namespace

TEST(ConfigWindow, OutlineAddsSelectsAndDeletesWithUndo) {
    Document document;
    ConfigWindowController* window = ConfigWindowController::showFor(&document);
    ASSERT_EQ(ConfigWindowController::showFor(&document), window) << "one window per document";
    ConfigViewController& view = *window->configViewController();
    ConfigOutlineModel& model = *view.outlineModel();

    // An empty event: four sections, one event item, nothing else; the event editor opens first.
    EXPECT_EQ(model.rowCount(), 4);
    EXPECT_EQ(children(model, Section::Event), 1);
    EXPECT_EQ(children(model, Section::Boats), 0);
    EXPECT_EQ(children(model, Section::Media), 0);
    EXPECT_EQ(model.data(model.indexOf(Section::Races)).toString(), "Races");
    ASSERT_TRUE(view.currentEditor());
    EXPECT_EQ(view.currentEditor()->objectName(), "EventConfig");

    // Adding: names counted from what is there, each selected with its editor.
    toolbarAction(*window, "addBoat")->trigger();
    toolbarAction(*window, "addBoat")->trigger();
    toolbarAction(*window, "addRace")->trigger();
    settle();
    toolbarAction(*window, "addMediaGroup")->trigger();
    settle();
    ASSERT_EQ(document.boats().size(), 2u);
    EXPECT_EQ(document.boats()[0]->fullName(), "Boat 1");
    EXPECT_EQ(document.boats()[1]->fullName(), "Boat 2");
    EXPECT_EQ(document.boats()[0]->displayMode(), Boat::DisplayMode::Main);
    EXPECT_EQ(document.boats()[1]->displayMode(), Boat::DisplayMode::Other);
    EXPECT_NE(document.boats()[0]->color(), document.boats()[1]->color());
    ASSERT_EQ(document.races().size(), 1u);
    EXPECT_EQ(document.races()[0]->name(), "Race 1");
    ASSERT_EQ(document.mediaGroups().size(), 1u);
    EXPECT_EQ(document.mediaGroups()[0]->name, "Group 1");
    EXPECT_EQ(children(model, Section::Boats), 2);
    EXPECT_EQ(children(model, Section::Races), 1);
    EXPECT_EQ(view.currentEditor()->objectName(), "MediaGroupConfig");
    EXPECT_EQ(model.data(model.indexOf(Item::of(document.mediaGroups()[0]))).toString(), "Group 1 (0)");

    view.select(Item::of(document.races()[0]));
    EXPECT_EQ(view.currentEditor()->objectName(), "RaceConfig");
    view.select(Item::of(document.boats()[1]));
    EXPECT_EQ(view.currentEditor()->objectName(), "BoatConfig");
    QWidget* boatEditor = view.currentEditor();

    // A change of the boats that keeps the selected one keeps its editor (and what is typed in it).
    document.boats()[0]->setFullName("Vento");
    emit document.documentBoatsUpdated();
    EXPECT_EQ(view.currentEditor(), boatEditor);
    EXPECT_EQ(model.data(model.index(0, 0, model.indexOf(Section::Boats))).toString(), "Vento");

    // A section row has no editor, and stays selected when rows come into it.
    view.select(Item::of(Section::Boats));
    EXPECT_FALSE(view.currentEditor());
    toolbarAction(*window, "addBoat")->trigger();
    view.select(Item::of(Section::Boats));
    DocumentUndoStack::of(document).undo();
    EXPECT_EQ(document.boats().size(), 2u);
    EXPECT_EQ(view.outlineView()->currentIndex(), model.indexOf(Section::Boats));
    view.select(Item::of(document.boats()[1]));
    boatEditor = view.currentEditor();

    // The context menu of a section does nothing; that of a boat deletes it, as one undo step.
    QMenu* menu = view.contextMenu(model.indexOf(Section::Boats));
    ASSERT_FALSE(menu->actions().isEmpty());
    for (QAction* action : menu->actions())
        EXPECT_FALSE(action->isEnabled());
    auto second = document.boats()[1];
    menu = view.contextMenu(model.indexOf(Item::of(second)));
    ASSERT_TRUE(menu->actions().front()->isEnabled());
    menu->actions().front()->trigger();
    EXPECT_EQ(document.boats().size(), 1u);
    EXPECT_EQ(children(model, Section::Boats), 1);
    // Its editor went with it.
    EXPECT_FALSE(view.boatConfigViewController());
    DocumentUndoStack& history = DocumentUndoStack::of(document);
    EXPECT_EQ(history.undoText(), "Delete Boat");
    history.undo();
    ASSERT_EQ(document.boats().size(), 2u);
    EXPECT_EQ(document.boats()[1], second);

    // Deleting the last race still announces the races.
    QSignalSpy racesUpdated(&document, &Document::documentRacesUpdated);
    view.outlineViewItemDeleteAction(Item::of(document.races()[0]));
    settle();
    EXPECT_TRUE(document.races().empty());
    EXPECT_GE(racesUpdated.count(), 1);
    EXPECT_EQ(children(model, Section::Races), 0);
    // Sections and the event item cannot be deleted.
    view.outlineViewItemDeleteAction(Item::of(Section::Boats));
    EXPECT_EQ(document.boats().size(), 2u);

    // The group goes with Delete too, and undo brings it back with its place.
    view.select(Item::of(document.mediaGroups()[0]));
    view.outlineViewItemDeleteAction(view.selectedItem());
    EXPECT_TRUE(document.mediaGroups().empty());
    history.undo();
    EXPECT_EQ(document.mediaGroups().size(), 1u);

    // Undo everything: back to the empty event, and the edited mark goes.
    while (history.canUndo())
        history.undo();
    settle();
    EXPECT_TRUE(document.boats().empty());
    EXPECT_TRUE(document.races().empty());
    EXPECT_TRUE(document.mediaGroups().empty());
    EXPECT_FALSE(document.isEdited());
    EXPECT_EQ(children(model, Section::Boats), 0);
    window->close();
}

TEST(ConfigWindow, EventAndRaceEditorsWorkInTheEventZone) {
    Document document;
    document.setEventTimezone(*TimeZone::fromIdentifier("Europe/Berlin"));
    auto race = std::make_shared<Race>();
    race->setName("Race 4");
    // 2024-07-01 10:00:00 UTC, 12:00 in Berlin.
    race->setTime(Instant::fromUnix(1719828000));
    document.setRaces({race});
    settle();
    DocumentUndoStack& history = DocumentUndoStack::of(document);

    // The zone chooser lists the zone database and "UTC"; choosing UTC sets it, undoably.
    EventConfigViewController event(&document);
    TimeZoneComboBox* zones = event.eventTimeZonePicker();
    EXPECT_GT(zones->count(), 300);
    EXPECT_EQ(zones->itemText(zones->count() - 1), "UTC");
    EXPECT_EQ(zones->currentText(), "Europe/Berlin");
    zones->setCurrentIndex(zones->count() - 1);
    emit zones->activated(zones->count() - 1);
    EXPECT_EQ(document.eventTimezone().identifier(), "UTC");
    history.undo();
    EXPECT_EQ(document.eventTimezone().identifier(), "Europe/Berlin");
    // A text that is no zone changes nothing and is put back.
    zones->setEditText("Atlantis/Nowhere");
    emit zones->activated(-1);
    EXPECT_EQ(document.eventTimezone().identifier(), "Europe/Berlin");
    EXPECT_EQ(zones->currentText(), "Europe/Berlin");

    // The race editor shows and takes event-local times.
    RaceConfigViewController editor(&document, race);
    EXPECT_EQ(editor.gunTimeDatePicker()->dateTime().time(), QTime(12, 0));
    EXPECT_FALSE(editor.finishKnownCheckBox()->isChecked());
    editor.gunTimeDatePicker()->setDateTime(QDateTime(QDate(2024, 7, 1), QTime(12, 5), QTimeZone::utc()));
    EXPECT_EQ(race->time(), Instant::fromUnix(1719828300));
    EXPECT_EQ(history.undoText(), "Change Gun Time");
    // A finish, set, then kept when the gun moves: the race keeps its length.
    editor.finishKnownCheckBox()->click();
    ASSERT_TRUE(race->finishTime());
    EXPECT_EQ(*race->finishTime(), Instant::fromUnix(1719828300 + 3600));
    editor.gunTimeDatePicker()->setDateTime(QDateTime(QDate(2024, 7, 1), QTime(12, 10), QTimeZone::utc()));
    EXPECT_EQ(*race->finishTime(), Instant::fromUnix(1719828600 + 3600));

    // After the event zone changes, the same race shows in the new zone.
    document.setEventTimezone(TimeZone::utc());
    document.postAssetsUpdated();
    EXPECT_EQ(editor.gunTimeDatePicker()->dateTime().time(), QTime(10, 10));

    // Start-line ends: a number in range commits, anything else stays uncommitted.
    editor.pinLatField()->setText("54.3542");
    emit editor.pinLatField()->editingFinished();
    EXPECT_EQ(race->pinLat(), "54.3542");
    editor.rcLonField()->setText("190");
    emit editor.rcLonField()->editingFinished();
    EXPECT_EQ(race->rcLon(), "");
    editor.nameField()->setText("  Medal Race ");
    emit editor.nameField()->editingFinished();
    EXPECT_EQ(race->name(), "Medal Race");

    // Each kind of change undoes on its own; the gun's steps were one.
    history.undo();
    EXPECT_EQ(race->name(), "Race 4");
    history.undo();
    EXPECT_EQ(race->pinLat(), "");
    history.undo(); // the second gun change
    history.undo(); // the finish
    EXPECT_FALSE(race->finishTime());
    history.undo();
    EXPECT_EQ(race->time(), Instant::fromUnix(1719828000));
}

TEST(ConfigWindow, FilesDroppedOnTheOutlineGoToTheirBoatOrGroup) {
    QTemporaryDir dir;
    const QString log = dir.filePath("moana.hdf5");
    ASSERT_TRUE(FakeConverter::writeLog(log));
    const QString photo = dir.filePath("IMG_0001.jpg");
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(Qt::blue);
    ASSERT_TRUE(image.save(photo));

    Document document;
    auto boat = Boat::create("Moana", "MOA", RgbColor::pureRed(), Boat::DisplayMode::Main);
    auto group = std::make_shared<MediaGroup>("Onboard");
    document.addBoat(boat);
    document.addMediaGroup(group);
    ConfigViewController view(&document);
    ConfigOutlineModel& model = *view.outlineModel();
    const QModelIndex boatRow = model.indexOf(Item::of(boat));
    const QModelIndex groupRow = model.indexOf(Item::of(group));

    // Logs are for boats, photos for groups; nothing goes on sections or between rows, and a
    // drag without files is refused.
    std::unique_ptr<QMimeData> logs(filesData({log}));
    std::unique_ptr<QMimeData> photos(filesData({photo}));
    auto* noFiles = new QMimeData;
    noFiles->setText("Moana");
    std::unique_ptr<QMimeData> text(noFiles);
    EXPECT_TRUE(model.canDropMimeData(logs.get(), Qt::CopyAction, -1, -1, boatRow));
    EXPECT_FALSE(model.canDropMimeData(photos.get(), Qt::CopyAction, -1, -1, boatRow));
    EXPECT_TRUE(model.canDropMimeData(photos.get(), Qt::CopyAction, -1, -1, groupRow));
    EXPECT_FALSE(model.canDropMimeData(logs.get(), Qt::CopyAction, -1, -1, groupRow));
    EXPECT_FALSE(model.canDropMimeData(text.get(), Qt::CopyAction, -1, -1, groupRow));
    EXPECT_FALSE(model.canDropMimeData(logs.get(), Qt::CopyAction, -1, -1, model.indexOf(Section::Boats)));
    EXPECT_FALSE(model.canDropMimeData(logs.get(), Qt::CopyAction, 0, 0, model.indexOf(Section::Boats)));
    // Rows dragged out of a media group are in the document already.
    std::unique_ptr<QMimeData> rows(filesData({photo}));
    rows->setData("MediaAssetPasteBoard", "<plist/>");
    EXPECT_FALSE(model.canDropMimeData(rows.get(), Qt::CopyAction, -1, -1, groupRow));

    ASSERT_TRUE(model.dropMimeData(logs.get(), Qt::CopyAction, -1, -1, boatRow));
    ASSERT_TRUE(model.dropMimeData(photos.get(), Qt::CopyAction, -1, -1, groupRow));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return !document.logAssets(boat).empty() && !document.assets().empty(); }, 20000));
    EXPECT_EQ(document.assets().front()->mediaGroup(), group);
    EXPECT_EQ(model.data(groupRow).toString(), "Onboard (1)");

    // A boat deleted with its log comes back with it.
    auto logAsset = document.logAssets(boat).front();
    view.outlineViewItemDeleteAction(Item::of(boat));
    EXPECT_TRUE(document.logAssets(boat).empty());
    DocumentUndoStack::of(document).undo();
    ASSERT_EQ(document.logAssets(boat).size(), 1u);
    EXPECT_EQ(document.logAssets(boat).front(), logAsset);
    // The import's progress window is no longer needed.
    for (QWidget* widget : QApplication::topLevelWidgets())
        widget->close();
}

#include "app/ProgressViewController.h"
#include "app/ProgressWindowController.h"
#include "config/MediaAssetTableModel.h"
#include "config/MediaGroupConfigViewController.h"
#include "config/TimeZoneComboBox.h"
#include "config/ZonedDateTimeEdit.h"
#include "document/Document.h"
#include "media/MediaFixtures.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "presentation/DocumentUndoStack.h"

#include <QDir>
#include <QDoubleSpinBox>
#include <QDropEvent>
#include <QFile>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>
#include <gtest/gtest.h>

namespace {

// 2023-06-01 12:00:00 UTC.
constexpr double noonUnix = 1685620800.0;

struct Alerted {
    QString message;
    QString informativeText;
};

// A group of three files (a video in UTC, a video in Berlin time with an offset, a photo) beside a
// group of one, in an event shown in Berlin time.
struct Event {
    Document document;
    std::shared_ptr<MediaGroup> group = std::make_shared<MediaGroup>("Onboard");
    std::shared_ptr<MediaGroup> drone = std::make_shared<MediaGroup>("Drone");
    std::shared_ptr<MediaAsset> bow, stern, photo, aerial;
    std::vector<Alerted> alerts;
    QList<QUrl> chosenFiles;
    std::unique_ptr<MediaGroupConfigViewController> editor;

    Event() {
        document.setEventTimezone(*TimeZone::fromIdentifier("Europe/Berlin"));
        const TimeZone berlin = *TimeZone::fromIdentifier("Europe/Berlin");
        bow =
            std::make_shared<VideoAsset>(QUrl::fromLocalFile("/media/c/bow.mp4"),
                                         Instant::fromUnix(noonUnix + 60), 65.0, 0.0, TimeZone::utc(), group);
        // 14:00 on a Berlin clock is 12:00 UTC, 3.5 s later by its offset.
        stern = std::make_shared<VideoAsset>(QUrl::fromLocalFile("/media/c/stern.mp4"),
                                             Instant::fromUnix(noonUnix + 7200), 10.0, 3.5, berlin, group);
        photo = std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/media/c/a-photo.jpg"),
                                             Instant::fromUnix(noonUnix + 30), 0.0, TimeZone::utc(), group);
        aerial = std::make_shared<VideoAsset>(QUrl::fromLocalFile("/media/c/aerial.mp4"),
                                              Instant::fromUnix(noonUnix), 5.0, 0.0, TimeZone::utc(), drone);
        document.addMediaGroup(group);
        document.addMediaGroup(drone);
        for (const auto& asset : {bow, aerial, stern, photo})
            document.addAsset(asset, asset->mediaGroup());
        document.setEdited(false);
        editor = std::make_unique<MediaGroupConfigViewController>(&document, group);
        editor->setAlert([this](QWidget*, const QString& message, const QString& text) {
            alerts.push_back({message, text});
        });
        editor->setFileChooser([this](QWidget*) { return chosenFiles; });
        editor->resize(900, 520);
        editor->show();
    }

    QTableView* table() const { return editor->assetsTableView(); }
    MediaAssetTableModel* model() const { return editor->assetsModel(); }
    DocumentUndoStack& history() { return DocumentUndoStack::of(document); }

    QStringList column(int column) const {
        QStringList texts;
        for (int row = 0; row < model()->rowCount(); ++row)
            texts << model()->index(row, column).data().toString();
        return texts;
    }
    void select(const std::vector<std::shared_ptr<MediaAsset>>& assets) {
        table()->clearSelection();
        for (const auto& asset : assets)
            table()->selectionModel()->select(model()->index(model()->rowOf(asset), 0),
                                              QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    std::vector<std::shared_ptr<MediaAsset>> groupAssets() const {
        std::vector<std::shared_ptr<MediaAsset>> assets;
        for (const auto& asset : document.assets())
            if (asset->mediaGroup() == group)
                assets.push_back(asset);
        return assets;
    }
};

double unixStart(const std::shared_ptr<MediaAsset>& asset) {
    return asset->startTime().unixSeconds();
}

QMimeData* fileDrag(const QList<QUrl>& urls) {
    auto* mime = new QMimeData();
    mime->setUrls(urls);
    return mime;
}

// Sends a drag over the table and then, when it was taken, the drop: answers whether it was taken
// and with which action.
std::pair<bool, Qt::DropAction> dragOnto(QTableView* table, QMimeData* mime) {
    const QPointF at(20, 20);
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction | Qt::LinkAction, mime, Qt::LeftButton,
                          Qt::NoModifier);
    QApplication::sendEvent(table->viewport(), &enter);
    if (!enter.isAccepted())
        return {false, Qt::IgnoreAction};
    QDropEvent drop(at, Qt::CopyAction | Qt::LinkAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table->viewport(), &drop);
    return {drop.isAccepted(), drop.dropAction()};
}

} // namespace

// The group's files, and only them, in start order on the event's clock; sorted by the file-name key
// and back; the selection stays with its files through a sort and a change elsewhere.
TEST(MediaGroupConfig, ListsTheGroupsFilesSortably) {
    Event event;
    EXPECT_EQ(event.editor->objectName(), QString("MediaGroupConfig"));
    EXPECT_EQ(event.editor->nameField()->text(), QString("Onboard"));
    ASSERT_EQ(event.model()->rowCount(), 3);
    EXPECT_EQ(event.column(MediaAssetTableModel::FileName),
              QStringList({"stern.mp4", "a-photo.jpg", "bow.mp4"}));
    EXPECT_EQ(event.column(MediaAssetTableModel::StartTime),
              QStringList({"2023-06-01 14:00:03.5", "2023-06-01 14:00:30.0", "2023-06-01 14:01:00.0"}));
    EXPECT_EQ(event.column(MediaAssetTableModel::Kind), QStringList({"Video", "Photo", "Video"}));
    EXPECT_EQ(event.column(MediaAssetTableModel::Duration), QStringList({"0:00:10.0", "", "0:01:05.0"}));
    EXPECT_EQ(event.column(MediaAssetTableModel::FileTimeZone), QStringList({"Europe/Berlin", "UTC", "UTC"}));
    EXPECT_EQ(event.column(MediaAssetTableModel::Offset), QStringList({"3.500", "0.000", "0.000"}));
    EXPECT_EQ(event.column(MediaAssetTableModel::FileStartTime).front(), QString("2023-06-01 14:00:00.0"));

    event.select({event.bow});
    const int byName = MediaAssetTableModel::columnOfKey("FileName");
    ASSERT_EQ(byName, int(MediaAssetTableModel::FileName));
    event.table()->sortByColumn(byName, Qt::AscendingOrder);
    EXPECT_EQ(event.column(byName), QStringList({"a-photo.jpg", "bow.mp4", "stern.mp4"}));
    event.table()->sortByColumn(byName, Qt::DescendingOrder);
    EXPECT_EQ(event.column(byName), QStringList({"stern.mp4", "bow.mp4", "a-photo.jpg"}));
    EXPECT_EQ(event.editor->selectedAssets(), std::vector<std::shared_ptr<MediaAsset>>{event.bow});

    // Another group's change reloads the table; the order and the selection stay.
    event.aerial->setOffset(1.0);
    event.document.postAssetsUpdated();
    EXPECT_EQ(event.column(byName), QStringList({"stern.mp4", "bow.mp4", "a-photo.jpg"}));
    EXPECT_EQ(event.editor->selectedAssets(), std::vector<std::shared_ptr<MediaAsset>>{event.bow});
    // The event's zone changes how starts read, not the files.
    event.document.setEventTimezone(TimeZone::utc());
    event.document.postAssetsUpdated();
    EXPECT_EQ(event.column(MediaAssetTableModel::StartTime).front(), QString("2023-06-01 12:00:03.5"));
}

// Chosen files join the group as one undoable change while the progress window shows; the files that
// are not photos or videos are named in one alert.
TEST(MediaGroupConfig, AddsChosenFilesAndNamesTheOthers) {
    Event event;
    QTemporaryDir dir;
    QFile notes(dir.filePath("notes.txt"));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.write("race notes\n");
    notes.close();
    const auto& media = MediaFixtures::generated();
    event.chosenFiles = {QUrl::fromLocalFile(media.plainMp4), QUrl::fromLocalFile(notes.fileName()),
                         QUrl::fromLocalFile(media.jpeg)};
    event.editor->addButton()->click();
    QPointer<ProgressWindowController> progress = event.editor->progressWindow();
    ASSERT_TRUE(progress);
    EXPECT_EQ(progress->contentViewController()->descriptionLabel()->text(), QString("Loading media files…"));
    QTRY_COMPARE_WITH_TIMEOUT(event.alerts.size(), std::size_t(1), 20000);
    ASSERT_EQ(event.alerts.size(), 1u);
    EXPECT_EQ(event.alerts[0].message, QString("Could not add media files"));
    EXPECT_EQ(event.alerts[0].informativeText,
              QString("The following files could not be added: notes.txt. Please check that they are in a "
                      "supported format."));
    ASSERT_EQ(event.groupAssets().size(), 5u);
    EXPECT_EQ(event.groupAssets()[3]->url(), QUrl::fromLocalFile(media.plainMp4));
    EXPECT_TRUE(event.groupAssets()[4]->isPhoto());
    EXPECT_EQ(event.model()->rowCount(), 5);
    QTRY_VERIFY(!progress);
    EXPECT_FALSE(progress);
    EXPECT_TRUE(event.document.isEdited());

    event.history().undo();
    EXPECT_EQ(event.groupAssets().size(), 3u);
    EXPECT_EQ(event.model()->rowCount(), 3);
    EXPECT_FALSE(event.document.isEdited());

    // A chooser left without files does nothing.
    event.chosenFiles.clear();
    event.editor->addButton()->click();
    EXPECT_FALSE(event.editor->progressWindow());
}

// Remove with nothing selected only explains; with a selection it is one change that undo takes back
// to the very places the files had in the document.
TEST(MediaGroupConfig, RemovesTheSelectedFiles) {
    Event event;
    const auto before = event.document.assets();
    event.editor->removeButton()->click();
    ASSERT_EQ(event.alerts.size(), 1u);
    EXPECT_EQ(event.alerts[0].message, QString("No assets selected"));
    EXPECT_EQ(event.alerts[0].informativeText, QString("Select some assets to remove"));
    EXPECT_EQ(event.document.assets(), before);
    EXPECT_EQ(event.history().count(), 0);

    event.select({event.bow, event.photo});
    QSignalSpy updated(&event.document, &Document::documentAssetsUpdated);
    QTest::keyClick(event.table(), Qt::Key_Delete);
    EXPECT_EQ(updated.size(), 1);
    EXPECT_EQ(event.document.assets(), (std::vector<std::shared_ptr<MediaAsset>>{event.aerial, event.stern}));
    EXPECT_EQ(event.column(MediaAssetTableModel::FileName), QStringList({"stern.mp4"}));
    EXPECT_TRUE(event.document.isEdited());

    event.history().undo();
    EXPECT_EQ(event.document.assets(), before);
    EXPECT_EQ(event.photo->mediaGroup(), event.group);
    EXPECT_EQ(event.model()->rowCount(), 3);
    EXPECT_FALSE(event.document.isEdited());
    event.history().redo();
    EXPECT_EQ(event.document.assets(), (std::vector<std::shared_ptr<MediaAsset>>{event.aerial, event.stern}));
    event.history().undo();

    // Backspace does it too.
    event.select({event.stern});
    QTest::keyClick(event.table(), Qt::Key_Backspace);
    EXPECT_EQ(event.groupAssets(), (std::vector<std::shared_ptr<MediaAsset>>{event.bow, event.photo}));
    EXPECT_EQ(event.alerts.size(), 1u);
}

// The seconds, the file's zone and the file's clock each move the selected files on the event axis
// as one undoable change; the controls show what the selected files share.
TEST(MediaGroupConfig, TimeControlsMoveTheSelectedFiles) {
    Event event;
    QDoubleSpinBox* seconds = event.editor->secondsStepper();
    TimeZoneComboBox* zones = event.editor->assetTimezoneComboBox();
    ZonedDateTimeEdit* picker = event.editor->fileTimestampPicker();
    EXPECT_FALSE(seconds->isEnabled());
    EXPECT_FALSE(picker->isEnabled());

    event.select({event.stern});
    EXPECT_DOUBLE_EQ(seconds->value(), 3.5);
    EXPECT_EQ(zones->currentText(), QString("Europe/Berlin"));
    ASSERT_TRUE(picker->isEnabled());
    EXPECT_EQ(picker->dateTime().toString("yyyy-MM-dd HH:mm:ss"), QString("2023-06-01 14:00:00"));
    const double start = unixStart(event.stern);
    EXPECT_DOUBLE_EQ(start, noonUnix + 3.5);

    QSignalSpy updated(&event.document, &Document::documentAssetsUpdated);
    seconds->setValue(10.25);
    EXPECT_DOUBLE_EQ(event.stern->offset(), 10.25);
    EXPECT_DOUBLE_EQ(unixStart(event.stern), noonUnix + 10.25);
    EXPECT_EQ(updated.size(), 1);

    // The clock read in Tokyo (UTC+9) rather than Berlin (UTC+2): seven hours earlier.
    zones->setEditText("Asia/Tokyo");
    emit zones->lineEdit()->editingFinished();
    EXPECT_EQ(event.stern->fileTimeZone().identifier(), "Asia/Tokyo");
    EXPECT_DOUBLE_EQ(unixStart(event.stern), noonUnix + 10.25 - 7 * 3600);

    picker->setDateTime(QDateTime(QDate(2023, 6, 1), QTime(14, 0, 30), QTimeZone::utc()));
    EXPECT_EQ(event.stern->fileStartTime(), Instant::fromUnix(noonUnix + 7200 + 30));
    EXPECT_DOUBLE_EQ(unixStart(event.stern), noonUnix + 30 + 10.25 - 7 * 3600);
    EXPECT_EQ(updated.size(), 3);

    event.history().undo();
    event.history().undo();
    EXPECT_EQ(event.stern->fileTimeZone().identifier(), "Europe/Berlin");
    EXPECT_EQ(event.stern->fileStartTime(), Instant::fromUnix(noonUnix + 7200));
    EXPECT_EQ(zones->currentText(), QString("Europe/Berlin"));
    event.history().undo();
    EXPECT_DOUBLE_EQ(unixStart(event.stern), start);
    EXPECT_DOUBLE_EQ(seconds->value(), 3.5);

    // Files that differ: the seconds are blank and the arrows move each from its own offset; a typed
    // value sets them all; one clock cannot be shown for two files.
    event.select({event.stern, event.bow});
    EXPECT_EQ(seconds->text().trimmed(), QString());
    EXPECT_TRUE(zones->currentText().isEmpty());
    EXPECT_FALSE(picker->isEnabled());
    seconds->stepBy(1);
    EXPECT_DOUBLE_EQ(event.stern->offset(), 4.5);
    EXPECT_DOUBLE_EQ(event.bow->offset(), 1.0);
    EXPECT_EQ(seconds->text().trimmed(), QString());
    seconds->setValue(-2.0);
    EXPECT_DOUBLE_EQ(event.stern->offset(), -2.0);
    EXPECT_DOUBLE_EQ(event.bow->offset(), -2.0);
    EXPECT_DOUBLE_EQ(seconds->value(), -2.0);
    event.history().undo();
    EXPECT_DOUBLE_EQ(event.stern->offset(), 4.5);
    EXPECT_DOUBLE_EQ(event.bow->offset(), 1.0);
    EXPECT_EQ(event.editor->selectedAssets().size(), 2u);
}

// Dragged rows carry the assets' pasteboard entry and their files; a drop of files adds them (a
// folder stands for its files), anything else, and the group's own rows, are refused.
TEST(MediaGroupConfig, DragsRowsAndTakesDroppedFiles) {
    Event event;
    event.select({event.photo, event.bow});
    std::unique_ptr<QMimeData> dragged(
        event.model()->mimeData(event.table()->selectionModel()->selectedRows()));
    ASSERT_TRUE(dragged);
    ASSERT_TRUE(dragged->hasFormat("MediaAssetPasteBoard"));
    const QString plist = QString::fromUtf8(dragged->data("MediaAssetPasteBoard"));
    EXPECT_TRUE(plist.contains("<plist version=\"1.0\">")) << plist.toStdString();
    EXPECT_TRUE(plist.contains("<key>assetUrls</key>")) << plist.toStdString();
    const QList<QUrl> urls{event.photo->url(), event.bow->url()};
    EXPECT_EQ(MediaAssetTableModel::urlsOfPropertyList(dragged->data("MediaAssetPasteBoard")), urls);
    EXPECT_EQ(dragged->urls(), urls);

    // The group's own rows dropped back change nothing.
    EXPECT_FALSE(dragOnto(event.table(), dragged.get()).first);

    QMimeData text;
    text.setText("bow.mp4");
    EXPECT_FALSE(dragOnto(event.table(), &text).first);
    std::unique_ptr<QMimeData> web(fileDrag({QUrl("https://example.org/clip.mp4")}));
    EXPECT_FALSE(dragOnto(event.table(), web.get()).first);

    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkdir("card"));
    ASSERT_TRUE(QFile::copy(MediaFixtures::generated().jpeg, dir.filePath("card/2019-05-12_14-23-11.jpg")));
    QFile notes(dir.filePath("card/readme.txt"));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.close();
    std::unique_ptr<QMimeData> folder(fileDrag({QUrl::fromLocalFile(dir.filePath("card"))}));
    const auto [taken, action] = dragOnto(event.table(), folder.get());
    EXPECT_TRUE(taken);
    EXPECT_EQ(action, Qt::LinkAction);
    QTRY_COMPARE_WITH_TIMEOUT(event.alerts.size(), std::size_t(1), 20000);
    ASSERT_EQ(event.alerts.size(), 1u);
    EXPECT_TRUE(event.alerts[0].informativeText.contains(": readme.txt."))
        << event.alerts[0].informativeText.toStdString();
    ASSERT_EQ(event.groupAssets().size(), 4u);
    // Its name gives the camera's clock, read in the event's zone.
    EXPECT_EQ(event.groupAssets().back()->fileStartTime(), Instant::fromUnix(1557670991));
    EXPECT_EQ(event.groupAssets().back()->fileTimeZone().identifier(), "Europe/Berlin");
}

// The name is one undoable change that every view hears of; an empty name or another group's name
// is not taken.
TEST(MediaGroupConfig, RenamesTheGroup) {
    Event event;
    QLineEdit* name = event.editor->nameField();
    QSignalSpy updated(&event.document, &Document::documentAssetsUpdated);
    name->setText("Bow camera");
    name->setModified(true);
    emit name->editingFinished();
    EXPECT_EQ(event.group->name, QString("Bow camera"));
    EXPECT_EQ(updated.size(), 1);
    EXPECT_TRUE(event.document.isEdited());
    event.history().undo();
    EXPECT_EQ(event.group->name, QString("Onboard"));
    EXPECT_EQ(name->text(), QString("Onboard"));
    EXPECT_FALSE(event.document.isEdited());

    for (const QString& refused : {QString("   "), QString("Drone")}) {
        name->setText(refused);
        name->setModified(true);
        emit name->editingFinished();
        EXPECT_EQ(event.group->name, QString("Onboard"));
        EXPECT_EQ(name->text(), QString("Onboard"));
    }
    ASSERT_EQ(event.alerts.size(), 1u);
    EXPECT_TRUE(event.alerts[0].informativeText.contains("“Drone”"));
    EXPECT_EQ(event.history().count(), 1);

    // An editor closed while a name is being typed leaves the group as it was.
    name->setFocus();
    name->setText("Half typed");
    name->setModified(true);
    event.editor.reset();
    EXPECT_EQ(event.group->name, QString("Onboard"));
}

#include "boatlog/LogFileAsset.h"
#include "config/BoatConfigViewController.h"
#include "config/FakeConverter.h"
#include "config/LogAssetTableModel.h"
#include "config/TimeZoneComboBox.h"
#include "document/Document.h"
#include "presentation/DocumentUndoStack.h"
#include "race/Race.h"
#include "support/FileDrag.h"
#include "support/LogFixture.h"

#include <QApplication>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

namespace {

const double t0 = 1686052800.0; // 2023-06-06T12:00:00 on the log's clock

struct Alert {
    QString message;
    QString informativeText;
};

// A document of three boats; the first, Main, carries the logs the tests write.
struct Event {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> moana = Boat::create("Moana", "MOA", RgbColor::pureRed(), Boat::DisplayMode::Main);
    std::shared_ptr<Boat> kai = Boat::create("Kai", "KAI", {0, 0, 1}, Boat::DisplayMode::Secondary);
    std::shared_ptr<Boat> tui = Boat::create("Tui", "TUI", {0, 1, 0}, Boat::DisplayMode::Other);
    std::vector<Alert> alerts;
    int reloadQuestions = 0;
    bool reloadAnswer = false;

    Event() {
        document.setBoats({moana, kai, tui});
        document.setEventTimezone(*TimeZone::fromIdentifier("Europe/Berlin"));
        document.setEdited(false);
    }

    std::shared_ptr<LogFileAsset> addLog(const QString& name, LogFixture log) {
        const QString path = dir.filePath(name);
        EXPECT_TRUE(log.write(path));
        DiagnosticsCapture quiet;
        auto asset = LogFileAsset::open(path, moana, QUuid::createUuid(), 0, TimeZone::utc());
        EXPECT_TRUE(asset);
        document.addLogAsset(moana, asset);
        document.setEdited(false);
        return asset;
    }

    std::unique_ptr<BoatConfigViewController> editor(std::shared_ptr<Boat> boat) {
        auto editor = std::make_unique<BoatConfigViewController>(&document, std::move(boat));
        auto& questions = editor->questions();
        questions.alert = [this](const QString& message, const QString& info) {
            alerts.push_back({message, info});
        };
        questions.askReloadRaces = [this] {
            ++reloadQuestions;
            return reloadAnswer;
        };
        questions.chooseColor = [](const QColor&) { return std::optional(QColor(0, 128, 255)); };
        questions.chooseLogFiles = [] { return QStringList(); };
        editor->resize(900, 600);
        editor->show();
        return editor;
    }

    DocumentUndoStack& history() { return DocumentUndoStack::of(document); }
};

LogFixture log(std::vector<std::string> columns, int records, double interval, double start = t0) {
    LogFixture fixture;
    fixture.columns = std::move(columns);
    for (int i = 0; i < records; ++i) {
        fixture.times.push_back(start + i * interval);
        for (std::size_t c = 0; c < fixture.columns.size(); ++c)
            fixture.values.push_back(i + c);
    }
    return fixture;
}

QString cell(const BoatConfigViewController& editor, int row, int column) {
    return editor.assetsModel()->index(row, column).data().toString();
}

void selectRows(BoatConfigViewController& editor, std::initializer_list<int> rows) {
    QTableView* table = editor.assetsTableView();
    table->clearSelection();
    for (int row : rows)
        table->selectionModel()->select(editor.assetsModel()->index(row, 0),
                                        QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

void chooseZone(BoatConfigViewController& editor, const QString& zone) {
    editor.timeZoneComboBox()->setEditText(zone);
    emit editor.timeZoneComboBox()->lineEdit()->editingFinished();
}

std::vector<QString> raceNames(const Document& document) {
    std::vector<QString> names;
    for (const auto& race : document.races())
        names.push_back(race->name());
    return names;
}

} // namespace

// Every setting is one edit in the history, committed when entered; undo and redo show in the
// editor at once, and undoing everything clears the edited mark.
TEST(BoatConfig, EachSettingIsOneUndoableEdit) {
    Event event;
    auto editor = event.editor(event.moana);
    EXPECT_EQ(editor->objectName(), "BoatConfig");
    EXPECT_EQ(editor->fullNameField()->text(), "Moana");

    editor->fullNameField()->setText("  Moana Nui ");
    EXPECT_EQ(event.moana->fullName(), "Moana"); // not on a keystroke
    emit editor->fullNameField()->editingFinished();
    EXPECT_EQ(event.moana->fullName(), "Moana Nui");
    EXPECT_EQ(event.history().undoText(), "Change Boat Name");
    // A boat keeps a name: an emptied field changes nothing and shows the name again.
    editor->fullNameField()->setText(" ");
    emit editor->fullNameField()->editingFinished();
    EXPECT_EQ(editor->fullNameField()->text(), "Moana Nui");
    EXPECT_EQ(event.history().count(), 1);

    editor->shortNameField()->setText("MN");
    emit editor->shortNameField()->editingFinished();
    editor->colorButton()->click();
    EXPECT_EQ(Boat::colorText(event.moana->color()), "0080ff");
    EXPECT_EQ(event.history().undoText(), "Change Boat Colour");
    EXPECT_EQ(editor->colorButton()->text(), "0080ff");
    editor->boatLengthField()->setValue(12.5);
    editor->gpsOffsetField()->setValue(3.0);
    EXPECT_DOUBLE_EQ(event.moana->boatLength(), 12.5);
    EXPECT_DOUBLE_EQ(event.moana->gpsOffset(), 3.0);
    EXPECT_EQ(event.history().count(), 5);
    EXPECT_TRUE(event.document.isEdited());

    event.history().undo();
    event.history().undo();
    EXPECT_DOUBLE_EQ(event.moana->boatLength(), 0.0);
    EXPECT_DOUBLE_EQ(editor->boatLengthField()->value(), 0.0);
    event.history().undo();
    EXPECT_EQ(editor->colorButton()->text(), "ff0000");
    event.history().undo();
    event.history().undo();
    EXPECT_EQ(event.moana->shortName(), "MOA");
    EXPECT_EQ(editor->fullNameField()->text(), "Moana");
    EXPECT_FALSE(event.document.isEdited());
    event.history().redo();
    EXPECT_EQ(editor->fullNameField()->text(), "Moana Nui");

    // Arrow steps of one figure in a row are one change.
    editor->gpsOffsetField()->stepUp();
    editor->gpsOffsetField()->stepUp();
    EXPECT_DOUBLE_EQ(event.moana->gpsOffset(), 0.2);
    event.history().undo();
    EXPECT_DOUBLE_EQ(event.moana->gpsOffset(), 0.0);
}

// Main and Secondary are held by one boat each: taking one demotes its holder, and the undo gives
// every boat its mode back.
TEST(BoatConfig, DisplayModeDemotesTheHolderAndUndoRestoresEveryBoat) {
    Event event;
    auto editor = event.editor(event.tui);
    EXPECT_EQ(editor->boatDisplayModeIndex(), 2);

    editor->setBoatDisplayModeIndex(0);
    EXPECT_EQ(event.tui->displayMode(), Boat::DisplayMode::Main);
    EXPECT_EQ(event.moana->displayMode(), Boat::DisplayMode::Other);
    EXPECT_EQ(event.kai->displayMode(), Boat::DisplayMode::Secondary);
    EXPECT_EQ(editor->displayModeComboBox()->currentIndex(), 0);
    EXPECT_EQ(event.history().undoText(), "Change Boat Display Mode");

    emit editor->displayModeComboBox()->activated(1);
    EXPECT_EQ(event.tui->displayMode(), Boat::DisplayMode::Secondary);
    EXPECT_EQ(event.kai->displayMode(), Boat::DisplayMode::Other);
    EXPECT_FALSE(event.document.mainBoat());

    event.history().undo();
    event.history().undo();
    EXPECT_EQ(event.moana->displayMode(), Boat::DisplayMode::Main);
    EXPECT_EQ(event.kai->displayMode(), Boat::DisplayMode::Secondary);
    EXPECT_EQ(event.tui->displayMode(), Boat::DisplayMode::Other);
    EXPECT_EQ(editor->displayModeComboBox()->currentIndex(), 2);

    // Any other index is Other; choosing the mode the boat has is no edit.
    event.history().redo();
    editor->setBoatDisplayModeIndex(7);
    EXPECT_EQ(event.tui->displayMode(), Boat::DisplayMode::Other);
    editor->setBoatDisplayModeIndex(2);
    EXPECT_EQ(event.history().count(), 2);
}

// Rows with their texts, times in the event zone, sorting by any column with unloaded logs last,
// the metrics of the selected log, and the rule for the length.
TEST(BoatConfig, LogTableShowsSortsAndListsUnloadedLogs) {
    Event event;
    auto slow = event.addLog("slow.hdf5", log({"Lat", "MyGauge", "Lon", "BoatSpeed"}, 3, 1.0));
    auto fast = event.addLog("fast.hdf5", log({"TWS"}, 11, 0.5, t0 - 3600));
    fast->setOffset(2.5);
    UnloadedLogAsset missing{{QUuid::createUuid(), 30.0, "Europe/Paris", {}},
                             event.dir.filePath("missing.hdf5"),
                             "no HDF5 data file found"};
    event.document.packageRemainder().addUnloadedLog(event.moana, missing);
    auto editor = event.editor(event.moana);
    LogAssetTableModel& model = *editor->assetsModel();

    ASSERT_EQ(model.rowCount(), 3);
    // By start time at first; times in the event's zone (UTC+2 in June).
    EXPECT_EQ(editor->sortedAssets(), (std::vector{fast, slow}));
    EXPECT_EQ(editor->assets(), (std::vector{slow, fast}));
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::File), "slow.hdf5");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::Start), "2023-06-06 14:00:00.0");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::End), "2023-06-06 14:00:02.0");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::Duration), "00:00:02");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::Rate), "1.0 Hz");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::Records), "3");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::Zone), "UTC");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::Offset), "0 s");
    EXPECT_EQ(cell(*editor, 0, LogAssetTableModel::Start), "2023-06-06 13:00:02.5");
    EXPECT_EQ(cell(*editor, 0, LogAssetTableModel::Rate), "2.0 Hz");
    EXPECT_EQ(cell(*editor, 0, LogAssetTableModel::Offset), "2.5 s");
    // The unloaded log: greyed, with its reason across the columns it has no values for.
    EXPECT_EQ(cell(*editor, 2, LogAssetTableModel::File), "missing.hdf5");
    EXPECT_EQ(cell(*editor, 2, LogAssetTableModel::Start), "Not loaded: no HDF5 data file found");
    EXPECT_EQ(cell(*editor, 2, LogAssetTableModel::Zone), "Europe/Paris");
    EXPECT_EQ(cell(*editor, 2, LogAssetTableModel::Offset), "30 s");
    EXPECT_TRUE(model.index(2, 0).data(Qt::ForegroundRole).isValid());
    EXPECT_FALSE(model.index(0, 0).data(Qt::ForegroundRole).isValid());
    EXPECT_EQ(editor->assetsTableView()->columnSpan(2, LogAssetTableModel::Start), 5);

    QTableView* table = editor->assetsTableView();
    table->sortByColumn(LogAssetTableModel::Start, Qt::DescendingOrder);
    EXPECT_EQ(editor->sortedAssets(), (std::vector{slow, fast}));
    EXPECT_TRUE(model.unloadedAt(2));
    table->sortByColumn(LogAssetTableModel::Records, Qt::DescendingOrder);
    EXPECT_EQ(editor->sortedAssets(), (std::vector{fast, slow}));
    table->sortByColumn(LogAssetTableModel::File, Qt::AscendingOrder);
    EXPECT_EQ(cell(*editor, 0, LogAssetTableModel::File), "fast.hdf5");
    EXPECT_EQ(cell(*editor, 1, LogAssetTableModel::File), "missing.hdf5");
    EXPECT_EQ(editor->assetsTableView()->columnSpan(1, LogAssetTableModel::Start), 5);
    EXPECT_EQ(editor->assetsTableView()->columnSpan(2, LogAssetTableModel::Start), 1);
    table->sortByColumn(LogAssetTableModel::Offset, Qt::DescendingOrder);
    EXPECT_TRUE(model.unloadedAt(0));

    // The metrics of the selected log, in catalogue order; the selection survives a new sort.
    selectRows(*editor, {model.rowOf(slow.get())});
    EXPECT_EQ(editor->metricsTextField()->toPlainText(), "Lat, Lon, BoatSpeed, MyGauge");
    EXPECT_TRUE(editor->metricsTextField()->isReadOnly());
    EXPECT_EQ(editor->timeZoneComboBox()->currentText(), "UTC");
    table->sortByColumn(LogAssetTableModel::File, Qt::DescendingOrder);
    EXPECT_EQ(editor->metricsTextField()->toPlainText(), "Lat, Lon, BoatSpeed, MyGauge");
    selectRows(*editor, {model.rowOfUnloaded(missing.reference.uuid)});
    EXPECT_EQ(editor->metricsTextField()->toPlainText(), "Not loaded: no HDF5 data file found");
    EXPECT_FALSE(editor->timeZoneComboBox()->isEnabled());

    // The event's zone changes what the times read.
    event.document.setEventTimezone(TimeZone::utc());
    event.document.postAssetsUpdated();
    EXPECT_EQ(cell(*editor, model.rowOf(slow.get()), LogAssetTableModel::Start), "2023-06-06 12:00:00.0");

    // A log that measured bow and stern fixes the boat's length.
    EXPECT_TRUE(editor->canChangeBoatLength());
    EXPECT_TRUE(editor->boatLengthField()->isEnabled());
    auto hull = event.addLog("hull.hdf5", log({"LatBow", "LonBow", "LatStern", "LonStern"}, 2, 1.0));
    emit event.document.documentBoatsUpdated();
    EXPECT_FALSE(editor->canChangeBoatLength());
    EXPECT_FALSE(editor->boatLengthField()->isEnabled());
    EXPECT_EQ(model.rowCount(), 4);
}

// Remove with nothing selected only tells the user; with a selection it is one edit, Delete key
// included, and undone every log is back in its place, an unloaded one with its file untouched.
TEST(BoatConfig, RemovesSelectedLogsUndoably) {
    Event event;
    auto first = event.addLog("first.hdf5", log({"TWS"}, 3, 1.0));
    auto second = event.addLog("second.hdf5", log({"TWS"}, 3, 1.0, t0 + 100));
    auto third = event.addLog("third.hdf5", log({"TWS"}, 3, 1.0, t0 + 200));
    const QString damagedPath = event.dir.filePath("damaged.hdf5");
    QFile(damagedPath).open(QIODevice::WriteOnly);
    UnloadedLogAsset damaged{{QUuid::createUuid(), 0.0, "UTC", {}}, damagedPath, "not an HDF5 file"};
    event.document.packageRemainder().addUnloadedLog(event.moana, damaged);
    auto editor = event.editor(event.moana);

    editor->removeButton()->click();
    ASSERT_EQ(event.alerts.size(), 1u);
    EXPECT_EQ(event.alerts[0].message, "No assets selected");
    EXPECT_EQ(event.alerts[0].informativeText, "Select some assets to remove");
    EXPECT_EQ(event.history().count(), 0);
    EXPECT_EQ(event.document.logAssets(event.moana).size(), 3u);

    LogAssetTableModel& model = *editor->assetsModel();
    selectRows(*editor, {model.rowOf(second.get()), model.rowOfUnloaded(damaged.reference.uuid)});
    QTest::keyClick(editor->assetsTableView(), Qt::Key_Delete);
    EXPECT_EQ(event.document.logAssets(event.moana), (std::vector{first, third}));
    EXPECT_TRUE(event.document.packageRemainder().unloadedLogsOf(event.moana.get()).empty());
    EXPECT_EQ(model.rowCount(), 2);
    EXPECT_TRUE(QFile::exists(damagedPath));
    EXPECT_EQ(event.history().undoText(), "Remove Boat Logs");
    EXPECT_TRUE(event.document.isEdited());

    event.history().undo();
    EXPECT_EQ(event.document.logAssets(event.moana), (std::vector{first, second, third}));
    ASSERT_EQ(event.document.packageRemainder().unloadedLogsOf(event.moana.get()).size(), 1u);
    EXPECT_EQ(event.document.packageRemainder().unloadedLogsOf(event.moana.get())[0].reason,
              "not an HDF5 file");
    EXPECT_EQ(model.rowCount(), 4);
    EXPECT_FALSE(event.document.isEdited());
    event.history().redo();
    EXPECT_EQ(event.document.logAssets(event.moana), (std::vector{first, third}));
    EXPECT_EQ(event.alerts.size(), 1u);
}

// A zone change moves the selected logs; "Reload races" derives the races again in the same undo
// step, "Skip" leaves them. Undone, the zone and the very races of before are back.
TEST(BoatConfig, ZoneChangeWithReloadOrSkipIsOneUndoStep) {
    Event event;
    LogFixture raced = log({"TWS"}, 3, 1.0);
    raced.meta0 = R"({"races": [{"time": "2023-06-06T12:05:00.0+0000", "raceDuration": 600}],
                      "events": [{"eventType": "Tack", "time": "2023-06-06T12:06:00.0+0000"}], "legs": []})";
    auto asset = event.addLog("raced.hdf5", raced);
    auto mine = std::make_shared<Race>();
    mine->setName("Mine");
    event.document.setRaces({mine});
    QCoreApplication::processEvents();
    event.document.setEdited(false);
    auto editor = event.editor(event.moana);
    selectRows(*editor, {0});
    const Instant utcStart = *asset->fileStartTime();

    event.reloadAnswer = true;
    chooseZone(*editor, "Europe/Berlin");
    EXPECT_EQ(event.reloadQuestions, 1);
    EXPECT_EQ(asset->fileTimeZone().identifier(), "Europe/Berlin");
    EXPECT_EQ(*asset->fileStartTime(), utcStart - 7200);
    EXPECT_EQ(raceNames(event.document), std::vector<QString>{"Race 1"});
    EXPECT_EQ(event.document.tackTimes().size(), 1u);
    EXPECT_EQ(cell(*editor, 0, LogAssetTableModel::Zone), "Europe/Berlin");
    EXPECT_EQ(editor->timeZoneComboBox()->currentText(), "Europe/Berlin");
    EXPECT_EQ(event.history().count(), 1);
    EXPECT_EQ(event.history().undoText(), "Set Log Time Zone");

    event.history().undo();
    EXPECT_EQ(asset->fileTimeZone().identifier(), "UTC");
    EXPECT_EQ(*asset->fileStartTime(), utcStart);
    ASSERT_EQ(event.document.races().size(), 1u);
    EXPECT_EQ(event.document.races()[0], mine);
    EXPECT_TRUE(event.document.tackTimes().empty());
    EXPECT_EQ(editor->timeZoneComboBox()->currentText(), "UTC");
    EXPECT_FALSE(event.document.isEdited());

    event.reloadAnswer = false;
    chooseZone(*editor, "America/New_York");
    EXPECT_EQ(event.reloadQuestions, 2);
    EXPECT_EQ(asset->fileTimeZone().identifier(), "America/New_York");
    EXPECT_EQ(*asset->fileStartTime(), utcStart + 4 * 3600);
    EXPECT_EQ(event.document.races()[0], mine);
    event.history().undo();
    EXPECT_EQ(asset->fileTimeZone().identifier(), "UTC");

    // Text that names no zone, or the zone the logs have, asks nothing and changes nothing.
    chooseZone(*editor, "Atlantis/Nowhere");
    EXPECT_EQ(editor->timeZoneComboBox()->currentText(), "UTC");
    EXPECT_EQ(event.reloadQuestions, 2);
}

// Log files dropped on the editor, or chosen with the Add button, are imported for its boat; a
// drag of other files is refused and a choice of them explained.
TEST(BoatConfig, DroppedOrChosenLogFilesAreImportedForTheBoat) {
    Event event;
    const QString fixture = event.dir.filePath("fixture.hdf5");
    ASSERT_TRUE(FakeConverter::writeLog(fixture));
    FakeConverter converter("cp " + FakeConverter::quoted(fixture) + " \"$out\"");
    const QString track = event.dir.filePath("track.gpx");
    QFile(track).open(QIODevice::WriteOnly);
    auto editor = event.editor(event.kai);

    auto drag = [&](QEvent::Type type, const QStringList& files) {
        return sendFileDrag(editor.get(), type, files);
    };
    EXPECT_FALSE(drag(QEvent::DragEnter, {event.dir.filePath("clip.mp4")}));
    EXPECT_TRUE(drag(QEvent::DragEnter, {event.dir.filePath("clip.mp4"), track}));
    EXPECT_TRUE(drag(QEvent::Drop, {event.dir.filePath("clip.mp4"), track}));
    QTRY_COMPARE_WITH_TIMEOUT(event.document.logAssets(event.kai).size(), 1u, 20000);
    EXPECT_EQ(converter.runs(), 1);
    EXPECT_FALSE(converter.arguments().join(' ').contains("clip.mp4"));
    EXPECT_TRUE(event.document.logAssets(event.moana).empty());
    // The editor follows the import.
    EXPECT_EQ(editor->assetsModel()->rowCount(), 1);
    EXPECT_EQ(cell(*editor, 0, LogAssetTableModel::Records), "3");

    editor->questions().chooseLogFiles = [&] { return QStringList{event.dir.filePath("notes.txt")}; };
    editor->addButton()->click();
    ASSERT_EQ(event.alerts.size(), 1u);
    EXPECT_EQ(event.alerts[0].message, "No log files chosen");
    editor->questions().chooseLogFiles = [&] { return QStringList{track}; };
    editor->addButton()->click();
    QTRY_COMPARE_WITH_TIMEOUT(event.document.logAssets(event.kai).size(), 2u, 20000);
    EXPECT_EQ(converter.runs(), 2);
    EXPECT_EQ(event.history().undoText(), "Import Boat Logs");
    event.history().undo();
    EXPECT_EQ(editor->assetsModel()->rowCount(), 1);
    // The import windows close by themselves once done.
    auto importShowing = [] {
        const QWidgetList windows = QApplication::topLevelWidgets();
        return std::any_of(windows.begin(), windows.end(), [](QWidget* window) {
            return window->isVisible() && window->inherits("ProgressWindowController");
        });
    };
    QTRY_VERIFY_WITH_TIMEOUT(!importShowing(), 20000);
}

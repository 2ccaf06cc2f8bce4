#include "app/StandardViews.h"
#include "boatlog/LogFileAsset.h"
#include "config/MetricsTableConfigViewController.h"
#include "document/Document.h"
#include "presentation/MetricsTableViewController.h"
#include "presentation/PresentationWindowController.h"
#include "support/LogFixture.h"

#include <QHeaderView>
#include <QListWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QUuid>
#include <gtest/gtest.h>

namespace {

const double t0 = 1686052800.0; // 2023-06-06 12:00:00 UTC

struct Fleet {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> stella =
        Boat::create("Stella Maris", "STM", {0.0, 0.4, 0.8}, Boat::DisplayMode::Main);
    std::shared_ptr<Boat> blue = Boat::create("Blue Note", "", {0.9, 0.5, 0.0}, Boat::DisplayMode::Other);

    Fleet() {
        LogFixture log;
        log.columns = {"SOG", "COG", "TWA", "TimeToGun", "BoatSpeedPercOfTarget", "Heel"};
        log.times = {t0, t0 + 1, t0 + 2};
        log.values = {6.0, 350.0, 200.0, -75.0, 95.0, 12.0, //
                      7.0, 10.0,  200.0, -74.0, 95.0, 12.0, //
                      8.0, 20.0,  40.0,  -73.0, 96.0, 14.0};
        addLog(stella, log, "stella.hdf5");
        // The second boat's log starts later: no values at the first positions.
        LogFixture late;
        late.columns = {"SOG"};
        late.times = {t0 + 100, t0 + 101};
        late.values = {5.0, 5.5};
        addLog(blue, late, "blue.hdf5");
        document.setBoats({stella, blue});
    }

    void addLog(const std::shared_ptr<Boat>& boat, const LogFixture& log, const QString& name) {
        ASSERT_TRUE(log.addTo(document, boat, dir.filePath(name)));
    }
};

QString cell(const MetricsTableViewController& view, int row, int column) {
    return view.tableView()->item(row, column)->text();
}

} // namespace

TEST(MetricsTable, ShowsEachBoatsMetricsInDisplayUnitsAndFollowsTheClock) {
    Fleet fleet;
    PresentationWindowController window;
    window.setCurrentDocument(&fleet.document);
    MetricsTableViewController view;
    view.setWindowController(&window);
    view.show();
    ASSERT_TRUE(view.isObserving());
    ASSERT_EQ(view.document(), &fleet.document);

    // Nothing chosen: the default set, one column per boat.
    QTableWidget* table = view.tableView();
    EXPECT_EQ(table->rowCount(), MetricsTableViewController::defaultMetrics().size());
    EXPECT_EQ(table->columnCount(), 2);
    EXPECT_EQ(table->verticalHeaderItem(0)->text(), "SOG (kn)");

    view.setDisplayedMetrics({"SOG", "COG", "TWA", "TimeToGun", "BoatSpeedPercOfTarget", "Heel", "Heave"});
    ASSERT_EQ(table->rowCount(), 7);
    EXPECT_EQ(table->horizontalHeaderItem(0)->text(), "STM");
    EXPECT_EQ(table->horizontalHeaderItem(0)->foreground().color(), QColor::fromRgbF(0.0, 0.4, 0.8));
    EXPECT_EQ(table->horizontalHeaderItem(1)->text(), "Blue Note"); // no short name
    EXPECT_EQ(table->verticalHeaderItem(1)->text(), "COG (°)");
    EXPECT_EQ(table->verticalHeaderItem(3)->text(), "Time to gun");

    // No position yet: no values.
    EXPECT_EQ(cell(view, 0, 0), MetricsTableViewController::noValueText);

    fleet.document.setPlaybackPosition(Instant::fromUnix(t0 + 0.5), true);
    EXPECT_EQ(cell(view, 0, 0), "6.50");
    EXPECT_EQ(cell(view, 1, 0), "0");      // 350° and 10° blend the short way round
    EXPECT_EQ(cell(view, 2, 0), "-160");   // port angles read negative
    EXPECT_EQ(cell(view, 3, 0), "-01:14"); // -74.5 s
    EXPECT_EQ(cell(view, 4, 0), "95%");
    EXPECT_EQ(cell(view, 5, 0), "12");
    EXPECT_EQ(cell(view, 6, 0), MetricsTableViewController::noValueText); // never read from a log
    for (int row = 0; row < 7; ++row)
        EXPECT_EQ(cell(view, row, 1), MetricsTableViewController::noValueText) << row;

    // A tick rewrites texts only: the cells stay the same objects.
    QTableWidgetItem* sog = table->item(0, 0);
    fleet.document.setPlaybackPosition(Instant::fromUnix(t0 + 1.75), false);
    EXPECT_EQ(table->item(0, 0), sog);
    EXPECT_EQ(cell(view, 0, 0), "7.75");
    EXPECT_EQ(cell(view, 1, 0), "18");
    fleet.document.setPlaybackPosition(Instant::fromUnix(t0 + 100.5), false);
    EXPECT_EQ(cell(view, 0, 0), MetricsTableViewController::noValueText); // past the log's end
    EXPECT_EQ(cell(view, 0, 1), "5.25");

    // Boats are followed: a new short name, a boat less.
    fleet.blue->setShortName("BN");
    EXPECT_EQ(table->horizontalHeaderItem(1)->text(), "BN");
    fleet.document.removeBoat(fleet.stella);
    ASSERT_EQ(table->columnCount(), 1);
    EXPECT_EQ(table->horizontalHeaderItem(0)->text(), "BN");
    EXPECT_EQ(cell(view, 0, 0), "5.25");
}

TEST(MetricsTable, ChooserPicksRowsAndBoatsAndTheWindowKeepsThem) {
    StandardViews::registerAll();
    Fleet fleet;
    PresentationWindowController window;
    window.setCurrentDocument(&fleet.document);
    window.setLayout(PresentationLayout::metrics);
    window.applyLayout();
    auto* view = window.rootView<MetricsTableViewController>();
    ASSERT_TRUE(view);
    window.show();
    view->openRowsConfig();
    auto* chooser = qobject_cast<MetricsTableConfigViewController*>(view->rowsConfig());
    ASSERT_TRUE(chooser);
    QListWidget* rows = chooser->rowsList();
    ASSERT_EQ(rows->count(), MetricsTableViewController::defaultMetrics().size());

    // Two available metrics, added in descending row order as in the overlay configuration.
    QListWidget* available = chooser->availableList();
    available->item(int(BoatMetric(BoatMetric::Case::TimeToGun).fixedIndex()))->setSelected(true);
    available->item(int(BoatMetric(BoatMetric::Case::BoatSpeedPercOfTarget).fixedIndex()))->setSelected(true);
    chooser->addSelected();
    QTableWidget* table = view->tableView();
    ASSERT_EQ(table->rowCount(), 11);
    EXPECT_EQ(table->verticalHeaderItem(9)->text(), "Time to gun");
    EXPECT_EQ(table->verticalHeaderItem(10)->text(), "BSP of target");

    // The first row away, then the new last row up one place.
    rows->clearSelection();
    rows->item(0)->setSelected(true);
    chooser->removeSelected();
    rows->clearSelection();
    rows->item(9)->setSelected(true);
    chooser->moveSelected(-1);
    EXPECT_EQ(view->displayedMetrics().mid(7), (QStringList{"Heel", "BoatSpeedPercOfTarget", "TimeToGun"}));
    EXPECT_EQ(table->verticalHeaderItem(0)->text(), "COG (°)");

    // One boat unticked: its column goes.
    chooser->boatsList()->item(0)->setCheckState(Qt::Unchecked);
    ASSERT_EQ(table->columnCount(), 1);
    EXPECT_EQ(table->horizontalHeaderItem(0)->text(), "Blue Note");
    EXPECT_EQ(window.tableBoats(), QStringList{"Blue Note"});

    // The window keeps the choice in its saved state and gives it to the table of another.
    const QVariantMap state = window.stateRecord();
    PresentationWindowController restored;
    restored.setCurrentDocument(&fleet.document);
    restored.restoreState(state);
    auto* again = restored.rootView<MetricsTableViewController>();
    ASSERT_TRUE(again);
    EXPECT_EQ(again->displayedMetrics(), view->displayedMetrics());
    EXPECT_EQ(again->tableView()->columnCount(), 1);
    // Every boat ticked again means every boat, also one added later.
    chooser->boatsList()->item(0)->setCheckState(Qt::Checked);
    EXPECT_TRUE(window.tableBoats().isEmpty());
    EXPECT_EQ(table->columnCount(), 2);
}

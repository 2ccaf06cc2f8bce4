#include "app/StandardViews.h"
#include "config/MetricsConfigTableModel.h"
#include "config/MetricsConfigViewController.h"
#include "document/Document.h"
#include "document/MetricsOverlayContent.h"
#include "media/MediaGroup.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QCheckBox>
#include <QComboBox>
#include <QItemSelectionModel>
#include <QMimeData>
#include <QTableView>
#include <QTest>
#include <gtest/gtest.h>
#include <memory>

namespace {

QStringList keys(const QTableView* table) {
    QStringList result;
    for (int row = 0; row < table->model()->rowCount(); ++row)
        result << table->model()->index(row, 0).data(Qt::UserRole).toString();
    return result;
}

void select(QTableView* table, const QList<int>& rows) {
    table->clearSelection();
    for (int row : rows)
        table->selectionModel()->select(table->model()->index(row, 0),
                                        QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

// Drags `rows` of `source` onto `target` before `row`, as a drop from the view does.
bool drag(QTableView* source, const QList<int>& rows, QTableView* target, int row) {
    QModelIndexList indexes;
    for (int r : rows)
        indexes << source->model()->index(r, 0);
    std::unique_ptr<QMimeData> mime(source->model()->mimeData(indexes));
    return target->model()->dropMimeData(mime.get(), Qt::CopyAction, row, 0, {});
}

struct MetricsConfig : ::testing::Test {
    Document document;
    std::shared_ptr<MediaGroup> deck = std::make_shared<MediaGroup>("Deck");
    std::shared_ptr<MediaGroup> drone = std::make_shared<MediaGroup>("Drone");
    PresentationWindowController window;

    void SetUp() override {
        StandardViews::registerAll();
        document.setMediaGroups({deck, drone});
    }
};

} // namespace

TEST_F(MetricsConfig, EditsReachTheMediaViewAtOnceAndTheWindowsSavedState) {
    window.setCurrentDocument(&document);
    window.setLayout(PresentationLayout::video);
    window.applyLayout();
    VideoPlaybackViewController* video = window.videoViewController();
    ASSERT_TRUE(video);
    video->openMetricsConfig();
    auto* config = qobject_cast<MetricsConfigViewController*>(video->metricsWindowController());
    ASSERT_TRUE(config);
    EXPECT_EQ(config->delegateController(), video);
    EXPECT_EQ(config->document(), &document);
    // Opening again brings the same window forward.
    video->openMetricsConfig();
    EXPECT_EQ(video->metricsWindowController(), config);

    // On appearing: the groups in document order, the view's group chosen, the lists and mute.
    QComboBox* popup = config->mediaGroupPopup();
    ASSERT_EQ(popup->count(), 2);
    EXPECT_EQ(popup->itemText(0), "Deck");
    EXPECT_EQ(popup->itemText(1), "Drone");
    EXPECT_EQ(popup->currentText(), "Deck");
    EXPECT_FALSE(config->muteAudioCheckbox()->isChecked());
    EXPECT_EQ(keys(config->overlayTableView()), MetricsOverlayContent::defaultMetrics());
    EXPECT_EQ(keys(config->overlayBeforeGunTableView()), MetricsOverlayContent::defaultMetricsBeforeGun());
    EXPECT_EQ(config->availableKeysOrdered().size(), int(BoatMetric::fixedCount));
    EXPECT_EQ(config->objectValue(config->availableTableView(), 2), "LatBow");

    // Rows 2 and 5 of the available table: row 5's key is appended first.
    select(config->availableTableView(), {2, 5});
    config->addToOverlay();
    QStringList after = MetricsOverlayContent::defaultMetrics() + QStringList{"LonCenter", "LatBow"};
    EXPECT_EQ(config->overlayKeys(), after);
    EXPECT_EQ(keys(config->overlayTableView()), after);
    EXPECT_EQ(video->displayedMetrics(), after);
    EXPECT_EQ(window.displayedMetrics(), after);
    // Added again: nothing changes.
    config->addToOverlay();
    EXPECT_EQ(config->overlayKeys(), after);

    // Removal selects the row that takes the removed one's place; moving keeps the selection.
    select(config->overlayTableView(), {0, 1});
    config->removeSelected(config->overlayTableView());
    after.remove(0, 2);
    EXPECT_EQ(video->displayedMetrics(), after); // VMG, Heel, TWS, LonCenter, LatBow
    EXPECT_EQ(config->overlayTableView()->selectionModel()->selectedRows().size(), 1);
    select(config->overlayTableView(), {4});
    config->moveSelected(config->overlayTableView(), -1);
    EXPECT_EQ(video->displayedMetrics(), (QStringList{"VMG", "Heel", "TWS", "LatBow", "LonCenter"}));
    EXPECT_EQ(config->overlayTableView()->selectionModel()->selectedRows().front().row(), 3);

    // Drags: from the catalogue into a list adds at the drop row; between the lists moves; back
    // to the catalogue removes.
    const int sog = int(config->availableKeysOrdered().indexOf("SOG"));
    EXPECT_TRUE(drag(config->availableTableView(), {sog}, config->overlayBeforeGunTableView(), 0));
    EXPECT_EQ(config->overlayKeysBeforeGun(),
              (QStringList{"SOG", "TimeToGun", "DistanceToLine", "TimeToBurn", "TWA"}));
    EXPECT_TRUE(drag(config->overlayTableView(), {0}, config->overlayBeforeGunTableView(), -1));
    EXPECT_EQ(config->overlayKeys(), (QStringList{"Heel", "TWS", "LatBow", "LonCenter"}));
    EXPECT_EQ(config->overlayKeysBeforeGun().last(), "VMG");
    EXPECT_TRUE(drag(config->overlayTableView(), {2, 3}, config->availableTableView(), 0));
    EXPECT_EQ(config->overlayKeys(), (QStringList{"Heel", "TWS"}));
    EXPECT_EQ(video->displayedMetricsBeforeGun(), config->overlayKeysBeforeGun());
    EXPECT_EQ(window.displayedMetricsBeforeGun(), config->overlayKeysBeforeGun());

    // The group and the mute flag act on the view and go into the saved state.
    popup->setCurrentIndex(1);
    config->mediaGroupPopupAction();
    EXPECT_EQ(video->mediaGroup(), drone);
    config->muteAudioCheckbox()->setChecked(true);
    config->muteAudioCheckboxAction();
    EXPECT_TRUE(video->muteAudio());
    const QVariantMap state = window.stateRecord();
    EXPECT_EQ(state.value("initialDisplayedMetrics").toStringList(), (QStringList{"Heel", "TWS"}));
    EXPECT_EQ(state.value("initialMediaGroup").toString(), "Drone");
    EXPECT_TRUE(state.value("muteAudio").toBool());

    // Restored in another window, and read back by a configuration opened there.
    PresentationWindowController restored;
    restored.setCurrentDocument(&document);
    restored.restoreState(state);
    ASSERT_TRUE(restored.videoViewController());
    EXPECT_EQ(restored.videoViewController()->displayedMetrics(), (QStringList{"Heel", "TWS"}));
    EXPECT_EQ(restored.videoViewController()->displayedMetricsBeforeGun(), config->overlayKeysBeforeGun());
    EXPECT_EQ(restored.videoViewController()->mediaGroup(), drone);
    EXPECT_TRUE(restored.videoViewController()->muteAudio());

    // A table the configuration does not own is a programming error.
    QTableView stranger;
    EXPECT_DEATH(config->numberOfRows(&stranger), "Undefined table view");
    EXPECT_DEATH(config->objectValue(&stranger, 0), "Undefined table view");
}

TEST_F(MetricsConfig, AWindowWithoutAMediaViewKeepsTheChoicesItself) {
    Document empty;
    window.setCurrentDocument(&empty);
    window.setLayout(PresentationLayout::mapTimeline);
    window.applyLayout();
    ASSERT_FALSE(window.videoViewController());
    window.openMetricsConfig();
    auto* config = window.findChild<MetricsConfigViewController*>();
    ASSERT_TRUE(config);
    EXPECT_EQ(config->delegateWindowController(), &window);
    // No media groups: an empty pop-up.
    EXPECT_EQ(config->mediaGroupPopup()->count(), 0);

    select(config->availableTableView(), {13}); // SOG
    config->addToOverlayBeforeGun();
    EXPECT_EQ(window.displayedMetricsBeforeGun(), MetricsOverlayContent::defaultMetricsBeforeGun());
    select(config->availableTableView(), {22});
    config->addToOverlayBeforeGun();
    EXPECT_EQ(window.displayedMetricsBeforeGun().last(), "TWS");
    config->muteAudioCheckbox()->setChecked(true);
    config->muteAudioCheckboxAction();
    EXPECT_TRUE(window.muteAudio());

    // A media view made later gets the window's lists.
    window.setLayout(PresentationLayout::videoTimeline);
    window.applyLayout();
    ASSERT_TRUE(window.videoViewController());
    EXPECT_EQ(window.videoViewController()->displayedMetricsBeforeGun().last(), "TWS");
    EXPECT_TRUE(window.videoViewController()->muteAudio());
}

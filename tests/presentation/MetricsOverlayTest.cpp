#include "app/StandardViews.h"
#include "boatlog/LogFileAsset.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "presentation/ExportFolder.h"
#include "presentation/MediaExporter.h"
#include "presentation/MetricsOverlayView.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>
#include <gtest/gtest.h>

namespace {

const double t0 = 1686052800.0;

struct Overlay : ::testing::Test {
    QTemporaryDir dir;
    Document document;
    PresentationWindowController window;
    VideoPlaybackViewController* view = nullptr;
    std::shared_ptr<MediaGroup> deck = std::make_shared<MediaGroup>("Deck");
    std::shared_ptr<Boat> main =
        Boat::create("Stella Maris", "STM", {0.0, 0.4, 0.8}, Boat::DisplayMode::Main);

    void SetUp() override {
        StandardViews::registerAll();
        LogFixture log;
        log.columns = {"BoatSpeed", "TWA", "TimeToGun", "SOG", "TWS", "VMG", "Heel", "DistanceToLine"};
        // A record every 10 s: BSP climbs 0.1 kn a second from 6 kn; the gun of the log at t0 + 60.
        for (int s = 0; s <= 120; s += 10) {
            log.times.push_back(t0 + s);
            log.values.insert(log.values.end(),
                              {6.0 + s / 10.0, 40.0, s - 60.0, 7.0, 13.0, 5.0, 15.0, 60.0 - s});
        }
        ASSERT_TRUE(log.write(dir.filePath("main.hdf5")));
        auto asset =
            LogFileAsset::open(dir.filePath("main.hdf5"), main, QUuid::createUuid(), 0.0, TimeZone::utc());
        ASSERT_TRUE(asset && asset->boatLog());
        document.setBoats({main});
        document.addLogAsset(main, asset);
        document.setMediaGroups({deck});
        // A white photo shows the dark panels plainly.
        QImage white(640, 360, QImage::Format_RGB32);
        white.fill(Qt::white);
        ASSERT_TRUE(white.save(dir.filePath("white.png")));
        auto photo = std::make_shared<PhotoAsset>(QUrl::fromLocalFile(dir.filePath("white.png")),
                                                  Instant::fromUnix(t0 + 30), 0.0, TimeZone::utc(), deck);
        document.addAsset(photo, deck);

        window.setCurrentDocument(&document);
        window.setLayout(PresentationLayout::video);
        window.applyLayout();
        view = window.videoViewController();
        ASSERT_TRUE(view);
        view->setShowsControls(false);
        window.resize(640, 360);
        window.show();
        seek(30);
    }

    void seek(double seconds) {
        document.setPlaybackPosition(Instant::fromUnix(t0 + seconds), true);
        for (int i = 0; i < 400 && (!view->isSettled() || view->displayedImage().isNull()); ++i)
            QTest::qWait(5);
        QCoreApplication::processEvents();
    }

    QStringList names(const MetricsOverlayView* overlay) const {
        QStringList result;
        for (const auto& row : overlay->rows())
            result << row.name;
        return result;
    }
};

bool isDark(QColor color) {
    return color.lightness() < 140;
}

} // namespace

TEST_F(Overlay, ShowsTheWindowsListsOverThePhotoSplitLeftAndRightAndSwitchesAtTheGun) {
    MetricsOverlayView* right = view->metricsView();
    MetricsOverlayView* left = view->metricsViewLeft();
    ASSERT_TRUE(right->isVisible());
    ASSERT_TRUE(left->isVisible());
    // A new window's defaults: without a race, the after-gun list, first half on the left.
    EXPECT_EQ(names(left), (QStringList{"BSP", "TWA", "VMG"}));
    EXPECT_EQ(names(right), (QStringList{"Heel", "TWS"}));
    EXPECT_EQ(left->rows()[0].value, "9.00");

    // The panels lie in the picture's lower corners, clear of each other.
    const QRectF picture = view->pictureRect();
    EXPECT_FALSE(picture.isEmpty());
    EXPECT_TRUE(picture.contains(left->panelRect()));
    EXPECT_TRUE(picture.contains(right->panelRect()));
    EXPECT_LT(left->panelRect().right(), right->panelRect().left());
    EXPECT_GT(left->panelRect().bottom(), picture.center().y());

    // Pixels: dark under the panels, the photo's white elsewhere, the numbers light on the panel.
    QImage shot = view->grab().toImage();
    auto inView = [&](const QRectF& r) { return left->mapTo(view, r.center().toPoint()); };
    EXPECT_TRUE(isDark(shot.pixelColor(inView(left->panelRect()).x(), left->panelRect().top() + 3)));
    EXPECT_FALSE(isDark(shot.pixelColor(view->width() / 2, view->height() / 2)));
    int light = 0;
    const QRect panel = left->panelRect().toAlignedRect().adjusted(4, 4, -4, -4);
    for (int y = panel.top(); y < panel.bottom(); ++y)
        for (int x = panel.left(); x < panel.right(); ++x)
            light += shot.pixelColor(x, y).lightness() > 200;
    EXPECT_GT(light, 20);

    // A race with its gun at t0 + 36: the start list before it, the race list from the gun on.
    auto race = std::make_shared<Race>();
    race->setTime(Instant::fromUnix(t0 + 36));
    document.setRaces({race});
    QCoreApplication::processEvents();
    seek(30);
    EXPECT_EQ(names(left), (QStringList{"Time to gun", "Distance to line", "Time to burn"}));
    EXPECT_EQ(left->rows()[0].value, "-00:30");
    seek(36);
    EXPECT_EQ(names(left), (QStringList{"BSP", "TWA", "VMG"}));
    EXPECT_EQ(left->rows()[0].value, "9.60");

    // The window's choice reaches the overlays; an empty list leaves the picture clean.
    window.setDisplayedMetrics({"SOG"}, {});
    EXPECT_EQ(names(left), QStringList{"SOG"});
    EXPECT_TRUE(right->rows().empty());
    window.setDisplayedMetrics({}, {});
    shot = view->grab().toImage();
    EXPECT_FALSE(isDark(shot.pixelColor(20, view->height() - 20)));
}

TEST_F(Overlay, ExportOfTheViewCarriesTheOverlaysAtThePicturesOwnSize) {
    UserDefaults::standard().remove(ExportFolder::defaultsKey);
    const QString exports = dir.filePath("Exports");
    view->exporter()->exportFolder().setChooser([&](const QString&) { return exports; });
    view->setAlertPresenter(
        [](const QString& message, const QString&) { ADD_FAILURE() << message.toStdString(); });
    view->exportCurrentView();
    const QStringList written = QDir(exports).entryList({"*.png"});
    ASSERT_EQ(written.size(), 1);
    QImage image(QDir(exports).filePath(written.front()));
    ASSERT_EQ(image.size(), QSize(640, 360));
    // Laid out in the picture as on screen: the lower left corner is under the panel, the
    // middle is the photo.
    QRectF panel = view->metricsViewLeft()->panelRect();
    QRectF picture = view->pictureRect();
    const double scale = 640.0 / picture.width();
    QPointF corner((panel.left() - picture.left()) * scale + 6, (panel.bottom() - picture.top()) * scale - 4);
    EXPECT_TRUE(isDark(image.pixelColor(corner.toPoint())));
    EXPECT_FALSE(isDark(image.pixelColor(320, 180)));
}

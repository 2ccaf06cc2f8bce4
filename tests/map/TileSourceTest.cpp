#include "core/UserDefaults.h"
#include "map/MapScene.h"
#include "map/MapView.h"
#include "map/MbTilesSource.h"
#include "map/OfflineBackground.h"
#include "map/XyzTileSource.h"

#include <QBuffer>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

namespace {

QColor tileColor(int z, int x, int y) {
    return QColor(40 * z % 256, 50 + 20 * x % 200, 60 + 30 * y % 190);
}

QByteArray tilePng(QColor color) {
    QImage image(256, 256, QImage::Format_RGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// A tile server on 127.0.0.1 that answers /z/x/y.png with a plain tile whose colour tells
// which tile it is, or fails every request with 500.
class TileServer : public QObject {
public:
    explicit TileServer(bool failing = false) : failing_(failing) {
        server_.listen(QHostAddress::LocalHost, 0);
        connect(&server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection())
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        });
    }
    QString urlTemplate() const {
        return QStringLiteral("http://127.0.0.1:%1/{z}/{x}/{y}.png").arg(server_.serverPort());
    }
    int requests = 0;

private:
    void answer(QTcpSocket* socket) {
        buffers_[socket] += socket->readAll();
        const QByteArray& request = buffers_[socket];
        if (!request.contains("\r\n\r\n"))
            return;
        ++requests;
        const QList<QByteArray> parts = request.split(' ').value(1).split('/');
        QByteArray body;
        QByteArray status = "200 OK";
        if (failing_ || parts.size() != 4) {
            status = "500 Internal Server Error";
        } else {
            body =
                tilePng(tileColor(parts[1].toInt(), parts[2].toInt(), parts[3].split('.').value(0).toInt()));
        }
        socket->write("HTTP/1.1 " + status + "\r\nContent-Type: image/png\r\nContent-Length: " +
                      QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
        socket->disconnectFromHost();
        buffers_.remove(socket);
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

    QTcpServer server_;
    bool failing_;
    QHash<QTcpSocket*, QByteArray> buffers_;
};

// An MBTiles file with one tile per (z, x, y) given, rows stored the TMS way (from the south).
void writeMbTiles(const QString& path, const std::vector<std::array<int, 3>>& tiles) {
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "writer");
        db.setDatabaseName(path);
        ASSERT_TRUE(db.open());
        QSqlQuery query(db);
        ASSERT_TRUE(query.exec("CREATE TABLE metadata (name TEXT, value TEXT)"));
        ASSERT_TRUE(
            query.exec("CREATE TABLE tiles (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER, "
                       "tile_data BLOB)"));
        for (const auto& [name, value] :
             std::vector<std::pair<QString, QString>>{{"name", "Harbour"},
                                                      {"format", "png"},
                                                      {"minzoom", "1"},
                                                      {"maxzoom", "3"},
                                                      {"attribution", "Test chart"}}) {
            query.prepare("INSERT INTO metadata VALUES (?, ?)");
            query.addBindValue(name);
            query.addBindValue(value);
            ASSERT_TRUE(query.exec());
        }
        for (const auto& [z, x, y] : tiles) {
            query.prepare("INSERT INTO tiles VALUES (?, ?, ?, ?)");
            query.addBindValue(z);
            query.addBindValue(x);
            query.addBindValue((1 << z) - 1 - y);
            query.addBindValue(tilePng(tileColor(z, x, y)));
            ASSERT_TRUE(query.exec());
        }
    }
    QSqlDatabase::removeDatabase("writer");
}

} // namespace

TEST(TileSourceTest, TilesComeFromTheServerOnceAndFromTheDiskCacheAfterwards) {
    TileServer server;
    QTemporaryDir cache;
    const TileKey key{5, 17, 11};
    {
        XyzTileSource source(server.urlTemplate(), "© Test tiles", cache.path());
        EXPECT_TRUE(source.isValidTemplate());
        QSignalSpy loaded(&source, &TileSource::tileLoaded);
        source.requestTile(key);
        // A second request for a tile on its way must not fetch it twice.
        source.requestTile(key);
        ASSERT_TRUE(loaded.wait(10000));
        EXPECT_EQ(loaded.first().at(1).value<QImage>().pixelColor(128, 128), tileColor(5, 17, 11));
        QTest::qWait(50);
        EXPECT_EQ(loaded.count(), 1);
        EXPECT_EQ(server.requests, 1);
    }
    // A new source (the next start of the program) finds the tile on disk.
    XyzTileSource source(server.urlTemplate(), "© Test tiles", cache.path());
    QSignalSpy loaded(&source, &TileSource::tileLoaded);
    source.requestTile(key);
    ASSERT_TRUE(loaded.wait(10000));
    EXPECT_EQ(loaded.first().at(1).value<QImage>().pixelColor(10, 10), tileColor(5, 17, 11));
    EXPECT_EQ(server.requests, 1);
}

TEST(TileSourceTest, FailingServersAndBadTemplatesReportOnceAndLeaveTheOfflineChart) {
    TileServer failing(true);
    QTemporaryDir cache;
    XyzTileSource source(failing.urlTemplate(), {}, cache.path());
    QSignalSpy failed(&source, &TileSource::tileFailed);
    QSignalSpy unavailable(&source, &TileSource::unavailable);
    source.requestTile({3, 1, 1});
    source.requestTile({3, 1, 2});
    ASSERT_TRUE(QTest::qWaitFor([&] { return failed.count() == 2; }, 10000));
    EXPECT_EQ(unavailable.count(), 1);

    // Nobody listening at all.
    quint16 closedPort;
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        closedPort = probe.serverPort();
    }
    XyzTileSource refused(QStringLiteral("http://127.0.0.1:%1/{z}/{x}/{y}.png").arg(closedPort), {},
                          cache.path());
    QSignalSpy refusedFailed(&refused, &TileSource::tileFailed);
    refused.requestTile({3, 1, 1});
    EXPECT_TRUE(refusedFailed.wait(10000));

    XyzTileSource badTemplate("no placeholders here", {}, cache.path());
    EXPECT_FALSE(badTemplate.isValidTemplate());
    QSignalSpy badUnavailable(&badTemplate, &TileSource::unavailable);
    badTemplate.requestTile({1, 0, 0});
    EXPECT_TRUE(badUnavailable.wait(5000));

    // The map keeps drawing its offline chart and says why.
    MapScene scene;
    MapView view;
    view.resize(300, 200);
    view.setScene(&scene);
    scene.setRegion({54.0, 10.0}, 2000, 2000, false);
    view.setTileSource(std::make_unique<XyzTileSource>(failing.urlTemplate(), QString(), cache.path()),
                       MapView::Background::Tiles);
    view.grab();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view.statusMessage().isEmpty(); }, 10000));
    const QImage image = view.grab().toImage();
    EXPECT_EQ(image.pixelColor(40, 150), OfflineBackground::seaColor());
}

TEST(TileSourceTest, MapViewDrawsTheTilesUnderTheCamera) {
    TileServer server;
    QTemporaryDir cache;
    MapScene scene;
    MapView view;
    view.resize(256, 256);
    view.setScene(&scene);
    // Exactly zoom level 4: the centre of tile (4, 8, 5).
    scene.setMapPointsPerViewPoint(mapWorldSize / 16 / 256);
    scene.setCenter(coordinate({8.5 * mapWorldSize / 16, 5.5 * mapWorldSize / 16}), false);
    view.setTileSource(std::make_unique<XyzTileSource>(server.urlTemplate(), "© Test tiles", cache.path()),
                       MapView::Background::Tiles);
    view.grab();
    ASSERT_TRUE(QTest::qWaitFor([&] { return view.cachedTileCount() >= 4; }, 10000));
    const QImage image = view.grab().toImage();
    EXPECT_EQ(image.pixelColor(128, 160), tileColor(4, 8, 5));
    EXPECT_TRUE(view.statusMessage().isEmpty());
}

TEST(TileSourceTest, MbTilesFilesAreReadWithTheirRowsFlipped) {
    QTemporaryDir dir;
    const QString path = dir.filePath("harbour.mbtiles");
    writeMbTiles(path, {{2, 1, 1}, {2, 2, 1}, {3, 4, 2}});

    MbTilesSource source(path);
    QSignalSpy details(&source, &TileSource::detailsChanged);
    ASSERT_TRUE(details.wait(5000));
    EXPECT_TRUE(source.isOpen());
    EXPECT_EQ(source.attribution(), "Test chart");
    EXPECT_EQ(source.minimumZoom(), 1);
    EXPECT_EQ(source.maximumZoom(), 3);

    QSignalSpy loaded(&source, &TileSource::tileLoaded);
    QSignalSpy failed(&source, &TileSource::tileFailed);
    source.requestTile({3, 4, 2});
    source.requestTile({2, 1, 2}); // not in the file
    ASSERT_TRUE(QTest::qWaitFor([&] { return loaded.count() + failed.count() == 2; }, 5000));
    ASSERT_EQ(loaded.count(), 1);
    EXPECT_EQ(loaded.first().at(0).value<TileKey>(), (TileKey{3, 4, 2}));
    EXPECT_EQ(loaded.first().at(1).value<QImage>().pixelColor(5, 5), tileColor(3, 4, 2));
    EXPECT_EQ(failed.first().at(0).value<TileKey>(), (TileKey{2, 1, 2}));
}

TEST(TileSourceTest, MissingOrBrokenChartFilesLeaveTheOfflineChartWithAMessage) {
    QTemporaryDir dir;
    const QString broken = dir.filePath("broken.mbtiles");
    QFile file(broken);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("this is not a database at all, just some text that is long enough to matter");
    file.close();

    for (const QString& path : {broken, dir.filePath("missing.mbtiles")}) {
        MbTilesSource source(path);
        QSignalSpy unavailable(&source, &TileSource::unavailable);
        ASSERT_TRUE(unavailable.wait(5000)) << path.toStdString();
        EXPECT_FALSE(source.isOpen());
        QSignalSpy failed(&source, &TileSource::tileFailed);
        source.requestTile({1, 0, 0});
        EXPECT_TRUE(failed.wait(5000));
    }

    // Chosen through the settings, as the map's menu does.
    UserDefaults::standard().setValue(MapView::mbTilesPathKey, broken);
    MapScene scene;
    MapView view;
    view.resize(200, 200);
    view.setScene(&scene);
    view.setBackground(MapView::Background::MbTiles);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view.statusMessage().isEmpty(); }, 5000));
    EXPECT_EQ(view.background(), MapView::Background::MbTiles);
    EXPECT_TRUE(view.statusMessage().contains("broken.mbtiles"));
    EXPECT_EQ(view.grab().toImage().pixelColor(30, 120), OfflineBackground::seaColor());
    view.setBackground(MapView::Background::Offline);
    ASSERT_TRUE(QTest::qWaitFor([&] { return view.tileSource() == nullptr; }, 5000));
    UserDefaults::standard().remove(MapView::mbTilesPathKey);
    UserDefaults::standard().remove(MapView::backgroundKey);
}

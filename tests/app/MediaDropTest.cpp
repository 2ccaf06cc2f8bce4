#include "app/ShellFixture.h"
#include "app/WindowController.h"
#include "document/Document.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "presentation/DocumentUndoStack.h"

#include <QAction>
#include <QDropEvent>
#include <QImage>
#include <QMimeData>
#include <QTest>
#include <gtest/gtest.h>

TEST(MediaDrop, PhotosDroppedOnAWindowAreAddedAsOneEditThatUndoes) {
    ShellFixture fixture;
    DocumentHarness h;
    Document* document = h.open(fixture.package);
    ASSERT_TRUE(document);
    WindowController* window = h.documents.windowFor(document);
    ASSERT_TRUE(window);
    const std::size_t before = document->assets().size();

    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    const QString first = fixture.dir.filePath("first.jpg");
    const QString second = fixture.dir.filePath("second.jpg");
    ASSERT_TRUE(picture.save(first) && picture.save(second));

    // A drag that holds no photo or video is refused; one that does is taken.
    QMimeData notes;
    notes.setUrls({QUrl::fromLocalFile(fixture.dir.filePath("notes.txt"))});
    QDragEnterEvent refused(QPoint(10, 10), Qt::CopyAction, &notes, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &refused);
    EXPECT_FALSE(refused.isAccepted());

    QMimeData photos;
    photos.setUrls({QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)});
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &photos, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &photos, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &drop);
    ASSERT_TRUE(QTest::qWaitFor([&] { return document->assets().size() == before + 2; }, 20000));
    EXPECT_TRUE(document->isEdited());

    // Undo takes both away at once, and the document is as it was saved.
    DocumentUndoStack& history = DocumentUndoStack::of(*document);
    history.undo();
    EXPECT_EQ(document->assets().size(), before);
    EXPECT_FALSE(document->isEdited());
    history.redo();
    EXPECT_EQ(document->assets().size(), before + 2);

    // Logs dropped with a photo go to the import; the photo still joins the group.
    const QString third = fixture.dir.filePath("third.jpg");
    ASSERT_TRUE(picture.save(third));
    QMimeData mixed;
    mixed.setUrls({QUrl::fromLocalFile(third), QUrl::fromLocalFile(fixture.dir.filePath("track.gpx"))});
    QDragEnterEvent mixedEnter(QPoint(10, 10), Qt::CopyAction, &mixed, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &mixedEnter);
    EXPECT_TRUE(mixedEnter.isAccepted());
    QDropEvent mixedDrop(QPointF(10, 10), Qt::CopyAction, &mixed, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &mixedDrop);
    ASSERT_TRUE(QTest::qWaitFor([&] { return document->assets().size() == before + 3; }, 20000));
    document->setEdited(false);
}

#include "app/DocumentController.h"
#include "app/ProgressViewController.h"
#include "app/ProgressWindowController.h"
#include "app/RecoveryScheduler.h"
#include "app/ShellFixture.h"
#include "app/WindowController.h"
#include "core/SerialQueue.h"
#include "document/Document.h"
#include "document/RecoveryStore.h"
#include "media/MediaFileAdder.h"
#include "media/MediaGroup.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <future>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

// Every file below `folder` with its bytes, by relative path.
std::map<QString, QByteArray> tree(const QString& folder) {
    std::map<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QString path = it.next();
        files[QDir(folder).relativeFilePath(path)] = contents(path);
    }
    return files;
}

dev_t deviceOf(const QString& path) {
    struct stat info {};
    ::stat(QFile::encodeName(path).constData(), &info);
    return info.st_dev;
}

// Holds the HDF5 queue until released, so that a document stays in the middle of opening.
struct QueueBlock {
    std::promise<void> release;
    QueueBlock() {
        auto released = std::make_shared<std::shared_future<void>>(release.get_future().share());
        SerialQueue::hdf().async([released] { released->wait(); });
    }
    ~QueueBlock() { open(); }
    void open() {
        if (!opened_)
            release.set_value();
        opened_ = true;
    }

private:
    bool opened_ = false;
};

} // namespace

TEST(Saving, NothingIsSavedOrEditedWhileTheDocumentOpensAndWaitingEditsLandAfterwards) {
    ShellFixture fixture;
    DocumentHarness h;
    const auto before = tree(fixture.package);
    QueueBlock block;
    Document* document = h.documents.openDocument(fixture.package);
    ASSERT_NE(document, nullptr);
    EXPECT_FALSE(document->isEditable());
    EXPECT_EQ(document->activity(), Document::Activity::opening);

    // Save and Save As refuse, the keyboard shortcut too, and the package stays whole.
    EXPECT_FALSE(h.documents.saveDocument(document));
    h.saveLocation = fixture.dir.filePath("Elsewhere");
    EXPECT_FALSE(h.documents.saveDocumentAs(document));
    WindowController* window = h.documents.windowFor(document);
    QTest::keyClick(window, Qt::Key_S, Qt::ControlModifier);
    QCoreApplication::processEvents();
    EXPECT_EQ(tree(fixture.package), before);
    EXPECT_FALSE(QFileInfo::exists(fixture.dir.filePath("Elsewhere.wakeline")));

    // Files added meanwhile join once the document is open, and count as a change.
    QSignalSpy opened(&h.documents, &DocumentController::documentOpened);
    auto group = std::make_shared<MediaGroup>("Late");
    MediaFileAdder::add(document, {QUrl::fromLocalFile(fixture.dir.filePath("photo.jpg"))}, group,
                        TimeZone::utc(), {});
    QTest::qWait(200); // the file is examined; the document must still wait
    EXPECT_EQ(document->assets().size(), 0u);
    block.open();
    ASSERT_TRUE(opened.wait(10000));
    EXPECT_TRUE(document->isEditable());
    QTRY_COMPARE_WITH_TIMEOUT(document->assets().size(), size_t(2), 5000);
    EXPECT_TRUE(document->isEdited()) << "the opener must not clear a change made while it ran";

    // Now it saves, with its log.
    EXPECT_TRUE(h.documents.saveDocument(document));
    EXPECT_EQ(QDir(fixture.package + "/BoatLogs").entryList(QDir::Files).size(), 1u);
    EXPECT_FALSE(document->isEdited());
    h.documents.closeAll();
}

TEST(Saving, CopyingToAnotherDiskRunsOffTheMainThreadWithProgressAndCanBeCancelled) {
    ShellFixture fixture;
    QTemporaryDir elsewhere("/dev/shm/wakeline-save-XXXXXX");
    if (!elsewhere.isValid() || deviceOf(elsewhere.path()) == deviceOf(fixture.dir.path()))
        GTEST_SKIP() << "no second file system to save to";
    // A big file in BoatLogs/ that no log names: it is carried along, and takes a while to copy.
    {
        QFile big(fixture.package + "/BoatLogs/raw-logger-dump.bin");
        ASSERT_TRUE(big.open(QIODevice::WriteOnly));
        QByteArray block(1 << 20, 'w');
        for (int i = 0; i < 192; ++i)
            big.write(block);
    }
    DocumentHarness h;
    Document* document = h.open(fixture.package);
    ASSERT_NE(document, nullptr);
    document->races().front()->setName("Copied");

    // Watches the main thread during the save: timers fire, the document is read-only, and the
    // progress window shows the bytes.
    struct Watch {
        int ticks = 0;
        bool editable = false;
        bool saveRefused = true;
        QString progressText;
        QPushButton* cancel = nullptr;
    } watch;
    QTimer timer;
    timer.setInterval(2);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        ++watch.ticks;
        watch.editable = watch.editable || document->isEditable();
        if (watch.ticks == 1)
            watch.saveRefused = !h.documents.saveDocument(document);
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* progress = qobject_cast<ProgressWindowController*>(widget);
                progress && progress->isVisible()) {
                watch.progressText = progress->contentViewController()->descriptionLabel()->text();
                watch.cancel = progress->contentViewController()->cancelButton();
            }
    });

    // First attempt: cancelled from the progress window; nothing is left behind.
    h.saveLocation = elsewhere.filePath("Copy");
    bool cancelled = false;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        if (!cancelled && watch.cancel && watch.cancel->isVisible()) {
            cancelled = true;
            watch.cancel->click();
        }
    });
    timer.start();
    EXPECT_FALSE(h.documents.saveDocumentAs(document));
    EXPECT_TRUE(cancelled);
    EXPECT_FALSE(QFileInfo::exists(elsewhere.filePath("Copy.wakeline")));
    EXPECT_FALSE(QFileInfo::exists(elsewhere.filePath("Copy.wakeline.saving")));
    EXPECT_TRUE(document->isEdited());
    EXPECT_EQ(document->packagePath(), QFileInfo(fixture.package).canonicalFilePath());

    // Second attempt: all the way.
    cancelled = true;
    watch = {};
    h.errors.clear();
    EXPECT_TRUE(h.documents.saveDocumentAs(document));
    timer.stop();
    EXPECT_GT(watch.ticks, 0);
    EXPECT_FALSE(watch.editable);
    EXPECT_TRUE(watch.saveRefused);
    EXPECT_TRUE(watch.progressText.startsWith("Saving document…")) << qPrintable(watch.progressText);
    EXPECT_TRUE(watch.progressText.contains(" of ")) << qPrintable(watch.progressText);
    EXPECT_TRUE(document->isEditable());
    EXPECT_FALSE(document->isEdited());
    EXPECT_EQ(tree(elsewhere.filePath("Copy.wakeline/BoatLogs")), tree(fixture.package + "/BoatLogs"));
    h.documents.closeAll();
}

TEST(Saving, APackageOnAReadOnlyDiskOpensAndSaveOffersSaveAs) {
    ShellFixture fixture;
    const QString folder = fixture.dir.filePath("card");
    QDir().mkpath(folder);
    const QString package = folder + "/Harbour Race.wakeline";
    ASSERT_TRUE(QDir().rename(fixture.package, package));
    // A read-only mount where the machine allows one, else a folder without write permission.
    bool mounted = ::mount(QFile::encodeName(folder).constData(), QFile::encodeName(folder).constData(),
                           nullptr, MS_BIND, nullptr) == 0 &&
                   ::mount(nullptr, QFile::encodeName(folder).constData(), nullptr,
                           MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    if (!mounted) {
        ::umount(QFile::encodeName(folder).constData());
        if (::geteuid() == 0)
            GTEST_SKIP() << "no read-only mount here, and permissions do not hold for root";
        QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }
    const auto before = tree(package);
    {
        DocumentHarness h;
        QString offeredReason;
        h.documents.setSaveElsewhereQuestion([&](Document&, const QString& reason) {
            offeredReason = reason;
            return true;
        });
        Document* document = h.open(package);
        ASSERT_NE(document, nullptr);
        EXPECT_EQ(document->boats().size(), 1u);
        document->races().front()->setName("Saved elsewhere");
        h.saveLocation = fixture.dir.filePath("Rescued");
        EXPECT_TRUE(h.documents.saveDocument(document));
        EXPECT_TRUE(offeredReason.contains(folder)) << qPrintable(offeredReason);
        EXPECT_TRUE(offeredReason.contains(mounted ? "Read-only file system" : "Permission denied"))
            << qPrintable(offeredReason);
        EXPECT_TRUE(h.errors.isEmpty()) << qPrintable(h.errors.join("\n"));
        EXPECT_EQ(document->packagePath(), fixture.dir.filePath("Rescued.wakeline"));
        EXPECT_EQ(QDir(fixture.dir.filePath("Rescued.wakeline/BoatLogs")).entryList(QDir::Files).size(), 1u);
        h.documents.closeAll();
    }
    if (mounted)
        ::umount(QFile::encodeName(folder).constData());
    else
        QFile::setPermissions(folder,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(tree(package), before);
}

TEST(Recovery, AKilledProgramsChangesAreOfferedAtTheNextStartAndACleanSaveRemovesThem) {
    ShellFixture fixture;
    QTemporaryDir state;
    const QString store = state.filePath("Wakeline/recovery");
    const auto before = tree(fixture.package);

    // The program is killed with -9 a moment after the user renamed a race.
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_STATE_HOME", state.path());
    child.setProcessEnvironment(environment);
    child.start(RECOVERY_CHILD, {fixture.package, "Race 1 (protest)"});
    ASSERT_TRUE(child.waitForStarted());
    QString said;
    for (int i = 0; i < 300 && !said.contains("written"); ++i) {
        child.waitForReadyRead(100);
        said += QString::fromUtf8(child.readAllStandardOutput());
    }
    ASSERT_TRUE(said.contains("written")) << qPrintable(said + child.readAllStandardError());
    child.kill();
    child.waitForFinished();
    EXPECT_EQ(tree(fixture.package), before) << "nothing was saved";

    // Next start: the change is offered; Restore brings it back unsaved, belonging to its package.
    DocumentHarness h;
    h.documents.setRecoveryFolder(store);
    std::vector<RecoveryStore::Orphan> offered;
    h.documents.setRestoreQuestion([&](const RecoveryStore::Orphan& orphan) {
        offered.push_back(orphan);
        return true;
    });
    QSignalSpy opened(&h.documents, &DocumentController::documentOpened);
    auto restored = h.documents.offerRecovery();
    ASSERT_EQ(restored.size(), 1u);
    ASSERT_TRUE(opened.wait(10000));
    ASSERT_EQ(offered.size(), 1u);
    EXPECT_EQ(offered[0].packagePath, QFileInfo(fixture.package).canonicalFilePath());
    Document* document = restored.front();
    EXPECT_EQ(document->races().front()->name(), "Race 1 (protest)");
    EXPECT_EQ(document->boats().size(), 1u);
    EXPECT_EQ(document->logAssets(document->boats().front()).size(), 1u);
    EXPECT_TRUE(document->isEdited());
    EXPECT_EQ(document->packagePath(), QFileInfo(fixture.package).canonicalFilePath());
    // While it is open nobody else is offered it.
    EXPECT_TRUE(RecoveryStore::orphans(store).empty());

    // Saved: in the package, with its log; the recovery copies are gone.
    EXPECT_TRUE(h.documents.saveDocument(document));
    std::map<QString, QByteArray> logsBefore;
    for (const auto& [path, bytes] : before)
        if (path.startsWith("BoatLogs/"))
            logsBefore[path.mid(9)] = bytes;
    EXPECT_EQ(tree(fixture.package + "/BoatLogs"), logsBefore);
    EXPECT_TRUE(contents(fixture.package + "/content.json").contains("Race 1 (protest)"));
    QTRY_VERIFY_WITH_TIMEOUT(QDir(store).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size() <= 1, 5000);
    h.documents.closeAll();
    QTRY_VERIFY_WITH_TIMEOUT(QDir(store).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty(), 5000);
}

TEST(Recovery, EditsAreCopiedAfterAQuietSecondAndDiscardingOrClosingRemovesTheCopy) {
    ShellFixture fixture;
    QTemporaryDir state;
    DocumentHarness h;
    h.documents.setRecoveryFolder(state.path());
    Document* document = h.open(fixture.package);
    ASSERT_NE(document, nullptr);
    auto* scheduler = document->findChild<RecoveryScheduler*>();
    ASSERT_NE(scheduler, nullptr);
    QSignalSpy written(scheduler, &RecoveryScheduler::written);
    EXPECT_FALSE(written.wait(RecoveryScheduler::quietMilliseconds + 500)) << "nothing to recover yet";

    document->races().front()->setName("Edited");
    ASSERT_TRUE(written.wait(5000));
    EXPECT_TRUE(written.takeFirst().at(0).toBool());
    const QString copy = scheduler->copy().copyPath();
    EXPECT_TRUE(contents(copy + "/content.json").contains("Edited"));
    // The log is linked, not copied.
    const QString log = QDir(copy + "/BoatLogs").entryList(QDir::Files).value(0);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(copy + "/BoatLogs/" + log).constData(), &info), 0);
    EXPECT_GE(info.st_nlink, 2u);

    // A second program sees the copy as taken, not as left behind.
    EXPECT_TRUE(RecoveryStore::orphans(state.path()).empty());

    // Closing without saving removes it: the user chose to drop the change.
    h.answers = {DocumentController::SaveChangesAnswer::discard};
    EXPECT_TRUE(h.documents.closeDocument(document));
    EXPECT_FALSE(QFileInfo::exists(copy));
    EXPECT_TRUE(RecoveryStore::orphans(state.path()).empty());
}

#include "app/DocumentController.h"

#include "app/AppDelegate.h"
#include "app/ProgressWindowController.h"
#include "app/ShellFixture.h"
#include "app/WindowController.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "race/Race.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

using Harness = DocumentHarness;

TEST(DocumentController, OpensSavesAndClosesWithTheEditedMarkAndTheQuestion) {
    ShellFixture fixture;
    Harness h;
    Document* document = h.open(fixture.package);
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(document->boats().size(), 1u);
    EXPECT_EQ(document->races().size(), 1u);
    EXPECT_FALSE(document->isEdited());
    WindowController* window = h.documents.windowFor(document);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Harbour Race[*] — Wakeline");
    EXPECT_FALSE(window->isWindowModified());
    EXPECT_EQ(window->layout(), PresentationLayout::videoMapTimeline); // no saved state yet
    EXPECT_EQ(DocumentController::recentDocuments(),
              QStringList{QFileInfo(fixture.package).canonicalFilePath()});
    // Opening it again brings the same document forward.
    EXPECT_EQ(h.documents.openDocument(fixture.package), document);

    document->races().front()->setName("Race One");
    document->setEdited(true);
    EXPECT_TRUE(window->isWindowModified());

    // Cancel keeps the document; Save writes it and closes.
    h.answers = {DocumentController::SaveChangesAnswer::cancel};
    EXPECT_FALSE(h.documents.closeDocument(document));
    EXPECT_EQ(h.documents.documents().size(), 1u);
    window->setLayout(PresentationLayout::mapTimeline);
    window->applyLayout();
    h.answers = {DocumentController::SaveChangesAnswer::save};
    EXPECT_TRUE(h.documents.closeDocument(document));
    EXPECT_EQ(h.questions, 2);
    EXPECT_TRUE(h.documents.documents().empty());
    EXPECT_TRUE(h.errors.isEmpty()) << qPrintable(h.errors.join("\n"));

    // The saved race name is in the package, and the next window opens in the last layout.
    Document* again = h.open(fixture.package);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->races().front()->name(), "Race One");
    EXPECT_EQ(h.documents.windowFor(again)->layout(), PresentationLayout::mapTimeline);

    // Discard closes without writing.
    again->races().front()->setName("Scratch");
    again->setEdited(true);
    h.answers = {DocumentController::SaveChangesAnswer::discard};
    EXPECT_TRUE(h.documents.closeDocument(again));
    Document* third = h.open(fixture.package);
    EXPECT_EQ(third->races().front()->name(), "Race One");
    // An unedited document closes without a question.
    EXPECT_TRUE(h.documents.closeAll());
    EXPECT_EQ(h.questions, 3);
}

TEST(DocumentController, NewDocumentsSaveAsAndUnreadablePackages) {
    ShellFixture fixture;
    Harness h;
    Document* fresh = h.documents.newDocument();
    EXPECT_EQ(h.documents.windowFor(fresh)->windowTitle(), "Untitled[*] — Wakeline");
    // Save of a new document asks where; no answer saves nothing.
    fresh->setEdited(true);
    EXPECT_FALSE(h.documents.saveDocument(fresh));
    h.saveLocation = fixture.dir.filePath("Fresh");
    EXPECT_TRUE(h.documents.saveDocument(fresh));
    EXPECT_TRUE(QFile::exists(fixture.dir.filePath("Fresh.wakeline/content.json")));
    EXPECT_FALSE(fresh->isEdited());
    EXPECT_EQ(h.documents.windowFor(fresh)->windowTitle(), "Fresh[*] — Wakeline");

    // A folder without a description and a damaged description: a message, no document.
    QDir().mkpath(fixture.dir.filePath("Empty.wakeline"));
    EXPECT_EQ(h.documents.openDocument(fixture.dir.filePath("Empty.wakeline")), nullptr);
    QDir().mkpath(fixture.dir.filePath("Broken.wakeline"));
    QFile broken(fixture.dir.filePath("Broken.wakeline/content.json"));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("{\"version\": \"1.0\", \"boats\": [tru");
    broken.close();
    EXPECT_EQ(h.documents.openDocument(fixture.dir.filePath("Broken.wakeline")), nullptr);
    ASSERT_EQ(h.errors.size(), 2);
    EXPECT_TRUE(h.errors[0].contains("The document information could not be loaded."))
        << qPrintable(h.errors[0]);
    EXPECT_TRUE(h.errors[1].contains("The document format is invalid.")) << qPrintable(h.errors[1]);
    EXPECT_EQ(h.documents.documents().size(), 1u);
}

TEST(DocumentController, AMissingLogIsReportedInTheProgressWindowAndTheRestOpens) {
    ShellFixture fixture;
    ASSERT_TRUE(QFile::remove(fixture.logPath()));
    QFile::remove(fixture.dir.filePath("import/log.hdf5"));
    Harness h;
    Document* document = h.open(fixture.package);
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(document->boats().size(), 1u);
    EXPECT_EQ(document->races().size(), 1u);
    QCoreApplication::processEvents();
    ProgressWindowController* progress = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* p = qobject_cast<ProgressWindowController*>(widget); p && p->isVisible())
            progress = p;
    ASSERT_NE(progress, nullptr) << "a warning keeps the progress window open";
    auto* log = progress->findChild<QPlainTextEdit*>();
    ASSERT_NE(log, nullptr);
    EXPECT_TRUE(log->toPlainText().contains("Warning: no HDF5 data file found for boat Stella Maris") ||
                log->toPlainText().contains("Could not load data at"))
        << qPrintable(log->toPlainText());
    progress->close();
}

#include "document/AddRace.h"
#include "document/Document.h"
#include "document/ShiftAssets.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "presentation/DocumentUndoStack.h"
#include "presentation/EditPerformer.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/UndoActions.h"
#include "race/Race.h"

#include <QAction>
#include <QMenu>
#include <gtest/gtest.h>

namespace {

const Instant t0 = Instant::fromUnix(1686052800.0);

struct Undo : ::testing::Test {
    Document document;
    std::shared_ptr<MediaGroup> deck = std::make_shared<MediaGroup>("Deck");
    std::shared_ptr<PhotoAsset> photo =
        std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/photos/a.jpg"), t0, 0.0, TimeZone::utc(), deck);

    void SetUp() override {
        document.setMediaGroups({deck});
        document.addAsset(photo, deck);
        document.setPlaybackPosition(t0, true);
        document.setEdited(false);
    }

    void shift(double seconds) {
        performEdit(document, std::make_unique<ShiftAssets>(std::vector<std::shared_ptr<MediaAsset>>{photo},
                                                            seconds, true));
    }
    void addRace(const QString& name) {
        auto race = std::make_shared<Race>();
        race->setName(name);
        race->setTime(t0);
        performEdit(document, std::make_unique<AddRace>(race));
    }
};

} // namespace

TEST_F(Undo, TheEditedMarkFollowsTheHistoryBackToTheSavedState) {
    DocumentUndoStack& stack = DocumentUndoStack::of(document);
    shift(0.1);
    addRace("Race 1");
    EXPECT_TRUE(document.isEdited());
    EXPECT_EQ(document.races().size(), 1u);

    stack.undo();
    EXPECT_TRUE(document.races().empty());
    stack.undo();
    EXPECT_DOUBLE_EQ(photo->offset(), 0.0);
    EXPECT_FALSE(document.isEdited()) << "back at the state of the package";
    stack.redo();
    EXPECT_DOUBLE_EQ(photo->offset(), 0.1);
    EXPECT_TRUE(document.isEdited());

    // A save makes this the clean state: undoing past it marks the document edited again.
    document.setEdited(false);
    stack.undo();
    EXPECT_TRUE(document.isEdited());
    stack.redo();
    EXPECT_FALSE(document.isEdited());

    // A change made around the history: no state of the history matches the package any more.
    shift(0.1);
    document.setRaces({});
    stack.undo();
    EXPECT_TRUE(document.isEdited());
}

TEST_F(Undo, ARunOfShiftsIsUndoneInOneStep) {
    DocumentUndoStack& stack = DocumentUndoStack::of(document);
    for (int i = 0; i < 5; ++i)
        shift(0.1);
    addRace("Race 1");
    shift(-1.0);
    EXPECT_EQ(stack.count(), 3);
    stack.undo();
    EXPECT_NEAR(photo->offset(), 0.5, 1e-9);
    stack.undo();
    stack.undo();
    EXPECT_NEAR(photo->offset(), 0.0, 1e-9);
    EXPECT_NEAR(*document.eventPlaybackPosition() - t0, 0.0, 1e-6);
    EXPECT_FALSE(document.isEdited());
}

TEST_F(Undo, EditsWaitWhileTheDocumentOpensOrSaves) {
    document.setActivity(Document::Activity::saving);
    shift(1.0);
    EXPECT_DOUBLE_EQ(photo->offset(), 0.0);
    EXPECT_FALSE(DocumentUndoStack::of(document).canUndo());
    document.setActivity(Document::Activity::ready);
    EXPECT_DOUBLE_EQ(photo->offset(), 1.0);
    EXPECT_TRUE(DocumentUndoStack::of(document).canUndo());
}

TEST_F(Undo, TheEditMenuNamesWhatItUndoesAndFollowsTheWindowsDocument) {
    PresentationWindowController window;
    QMenu menu;
    UndoActions actions(menu, window);
    EXPECT_FALSE(actions.undoAction()->isEnabled());
    window.setCurrentDocument(&document);
    EXPECT_FALSE(actions.undoAction()->isEnabled());
    shift(0.1);
    EXPECT_TRUE(actions.undoAction()->isEnabled());
    EXPECT_EQ(actions.undoAction()->text(), "&Undo Shift Asset Time");
    EXPECT_FALSE(actions.redoAction()->isEnabled());
    actions.undoAction()->trigger();
    EXPECT_DOUBLE_EQ(photo->offset(), 0.0);
    EXPECT_EQ(actions.redoAction()->text(), "&Redo Shift Asset Time");
    EXPECT_TRUE(actions.redoAction()->isEnabled());
    EXPECT_FALSE(actions.undoAction()->isEnabled());

    // Another document: its own history.
    Document other;
    window.setCurrentDocument(&other);
    EXPECT_FALSE(actions.redoAction()->isEnabled());
    window.setCurrentDocument(&document);
    EXPECT_TRUE(actions.redoAction()->isEnabled());
}

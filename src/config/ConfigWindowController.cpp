#include "config/ConfigWindowController.h"

#include "config/ConfigViewController.h"
#include "document/AddBoat.h"
#include "document/AddMediaGroup.h"
#include "document/AddRace.h"
#include "document/Document.h"
#include "media/MediaGroup.h"
#include "metrics/Boat.h"
#include "presentation/DocumentUndoStack.h"
#include "presentation/EditPerformer.h"
#include "race/Race.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QMenuBar>
#include <QScreen>
#include <QToolBar>
#include <cmath>

namespace {

// Colours that tell boats apart on the map and in the timeline, in the order new boats get them.
constexpr RgbColor boatColors[] = {
    {0.84, 0.15, 0.16}, {0.12, 0.47, 0.71}, {0.17, 0.63, 0.17}, {1.00, 0.50, 0.05}, {0.58, 0.40, 0.74},
    {0.55, 0.34, 0.29}, {0.89, 0.47, 0.76}, {0.09, 0.75, 0.81}, {0.74, 0.74, 0.13}, {0.50, 0.50, 0.50},
};

RgbColor unusedColor(const Document& document) {
    for (const RgbColor& color : boatColors) {
        bool used = false;
        for (const auto& boat : document.boats())
            used = used || boat->color() == color;
        if (!used)
            return color;
    }
    return boatColors[document.boats().size() % std::size(boatColors)];
}

} // namespace

ConfigWindowController* ConfigWindowController::of(Document* document) {
    if (!document)
        return nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* window = qobject_cast<ConfigWindowController*>(widget))
            if (window->currentDocument_ == document)
                return window;
    return nullptr;
}

ConfigWindowController* ConfigWindowController::showFor(Document* document) {
    if (!document)
        return nullptr;
    ConfigWindowController* window = of(document);
    if (!window)
        window = new ConfigWindowController(document);
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

ConfigWindowController::ConfigWindowController(Document* document)
    : currentDocument_(document), view_(new ConfigViewController(document)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("ConfigWindow"));
    setCentralWidget(view_);
    resize(960, 600);
    // The window goes with its document.
    connect(document, &QObject::destroyed, this, &QWidget::close);
    connect(document, &Document::editedChanged, this, [this] { updateTitle(); });
    updateTitle();

    QToolBar* toolbar = addToolBar(tr("Configure"));
    toolbar->setObjectName(QStringLiteral("ConfigToolbar"));
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    auto add = [&](const QString& text, const char* name, void (ConfigWindowController::*slot)()) {
        QAction* action = toolbar->addAction(text, this, slot);
        action->setObjectName(QString::fromLatin1(name));
        return action;
    };
    add(tr("Add Boat"), "addBoat", &ConfigWindowController::addBoat)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_B));
    add(tr("Add Race"), "addRace", &ConfigWindowController::addRace)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_R));
    add(tr("Add Media Group"), "addMediaGroup", &ConfigWindowController::addMediaGroup)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_G));

    // Undo works here as in the document window: the same history.
    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    auto& stack = DocumentUndoStack::of(*document);
    QAction* undo = stack.createUndoAction(this, tr("Undo"));
    undo->setShortcut(QKeySequence::Undo);
    QAction* redo = stack.createRedoAction(this, tr("Redo"));
    redo->setShortcut(QKeySequence::Redo);
    edit->addAction(undo);
    edit->addAction(redo);
    edit->addSeparator();
    for (QAction* action : toolbar->actions())
        edit->addAction(action);
    edit->addSeparator();
    QAction* close = edit->addAction(tr("Close Window"), this, &QWidget::close);
    close->setShortcut(QKeySequence::Close);

    // Adding is refused while the document opens or saves; the buttons say so.
    auto follow = [toolbar](Document::Activity activity) {
        for (QAction* action : toolbar->actions())
            action->setEnabled(activity == Document::Activity::ready);
    };
    connect(document, &Document::activityChanged, this, follow);
    follow(document->activity());
}

void ConfigWindowController::updateTitle() {
    if (!currentDocument_)
        return;
    const QString path = currentDocument_->packagePath();
    const QString name = path.isEmpty() ? tr("Untitled") : QFileInfo(path).completeBaseName();
    setWindowTitle(tr("%1 — Configure Event").arg(name) + QStringLiteral("[*]"));
    setWindowModified(currentDocument_->isEdited());
}

QString ConfigWindowController::newName(const QString& stem, int count, const QStringList& taken) {
    for (int number = count + 1;; ++number) {
        QString name = stem + QString::number(number);
        if (!taken.contains(name))
            return name;
    }
}

void ConfigWindowController::addBoat() {
    if (!currentDocument_)
        return;
    Document& document = *currentDocument_;
    QStringList taken;
    for (const auto& boat : document.boats())
        taken << boat->fullName();
    // The first boat is the one the views follow.
    const Boat::DisplayMode mode = document.mainBoat() ? Boat::DisplayMode::Other : Boat::DisplayMode::Main;
    auto boat = Boat::create(QStringLiteral("My Boat"), QString(), unusedColor(document), mode);
    const QString name = newName(QStringLiteral("Boat "), static_cast<int>(document.boats().size()), taken);
    boat->setFullName(name);
    boat->setShortName(name.size() > 6 ? QStringLiteral("B") + QString::number(document.boats().size() + 1)
                                       : name);
    performEdit(document, std::make_unique<AddBoat>(boat));
    view_->select(ConfigOutlineModel::Item::of(boat));
}

void ConfigWindowController::addRace() {
    if (!currentDocument_)
        return;
    Document& document = *currentDocument_;
    QStringList taken;
    for (const auto& race : document.races())
        taken << race->name();
    auto race = std::make_shared<Race>();
    race->setName(newName(QStringLiteral("Race "), static_cast<int>(document.races().size()), taken));
    // A new race starts where the user is looking, on a whole minute as guns go.
    if (auto position = document.eventPlaybackPosition())
        race->setTime(Instant(std::round(position->secondsSinceReference() / 60.0) * 60.0));
    performEdit(document, std::make_unique<AddRace>(race));
    // The race list is announced after the current event; select once it is in the outline.
    QPointer<ConfigWindowController> self(this);
    QMetaObject::invokeMethod(
        this,
        [self, race] {
            if (self)
                self->view_->select(ConfigOutlineModel::Item::of(race));
        },
        Qt::QueuedConnection);
}

void ConfigWindowController::addMediaGroup() {
    if (!currentDocument_)
        return;
    Document& document = *currentDocument_;
    QStringList taken;
    for (const auto& group : document.mediaGroups())
        taken << group->name;
    auto group = std::make_shared<MediaGroup>(
        newName(QStringLiteral("Group "), static_cast<int>(document.mediaGroups().size()), taken));
    performEdit(document, std::make_unique<AddMediaGroup>(group));
    view_->select(ConfigOutlineModel::Item::of(group));
}

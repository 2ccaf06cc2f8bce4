#include "config/ConfigViewController.h"

#include "config/BoatConfigViewController.h"
#include "config/EventConfigViewController.h"
#include "config/LogImportController.h"
#include "config/MediaFileAddition.h"
#include "config/MediaGroupConfigViewController.h"
#include "config/RaceConfigViewController.h"
#include "document/Document.h"
#include "document/RemoveBoat.h"
#include "document/RemoveMediaGroup.h"
#include "document/RemoveRace.h"
#include "presentation/EditPerformer.h"
#include "race/Race.h"

#include <QAction>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QShortcut>
#include <QSplitter>
#include <QTreeView>
#include <QUrl>
#include <QVBoxLayout>
#include <cstdio>

ConfigViewController::ConfigViewController(Document* document, QWidget* parent)
    : QWidget(parent), document_(document), outlineView_(new QTreeView), contentView_(new QWidget),
      model_(new ConfigOutlineModel(this)) {
    model_->setDocument(document);
    model_->setFileDrop([this](const Item& target, const QStringList& files) { dropFiles(target, files); });

    outlineView_->setObjectName(QStringLiteral("outlineView"));
    outlineView_->setModel(model_);
    outlineView_->setHeaderHidden(true);
    outlineView_->setSelectionMode(QAbstractItemView::SingleSelection);
    outlineView_->setDragDropMode(QAbstractItemView::DropOnly);
    outlineView_->setAcceptDrops(true);
    outlineView_->setDropIndicatorShown(true);
    outlineView_->setContextMenuPolicy(Qt::CustomContextMenu);
    outlineView_->setMinimumWidth(180);
    outlineView_->expandAll();
    connect(outlineView_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { selectionChanged(); });
    connect(outlineView_, &QWidget::customContextMenuRequested, this, [this](const QPoint& point) {
        QMenu* menu = contextMenu(outlineView_->indexAt(point));
        menu->popup(outlineView_->viewport()->mapToGlobal(point));
    });
    // Sections open when rows arrive in them, so that a new boat is seen where it went.
    connect(model_, &QAbstractItemModel::rowsInserted, outlineView_,
            [this](const QModelIndex& parent) { outlineView_->expand(parent); });
    for (QKeySequence key : {QKeySequence(QKeySequence::Delete), QKeySequence(Qt::Key_Backspace)}) {
        auto* shortcut = new QShortcut(key, outlineView_, nullptr, nullptr, Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this,
                [this] { outlineViewItemDeleteAction(selectedItem()); });
    }

    contentView_->setObjectName(QStringLiteral("contentView"));
    auto* contentLayout = new QVBoxLayout(contentView_);
    contentLayout->setContentsMargins(0, 0, 0, 0);

    auto* splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(outlineView_);
    splitter->addWidget(contentView_);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({220, 680});
    splitter->setChildrenCollapsible(false);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);

    // The event is what a new document needs first: its time zone.
    outlineView_->setCurrentIndex(model_->index(0, 0, model_->indexOf(Section::Event)));
}

ConfigViewController::~ConfigViewController() {
    stopObserving();
}

void ConfigViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    startObserving();
}

void ConfigViewController::hideEvent(QHideEvent* event) {
    stopObserving();
    QWidget::hideEvent(event);
}

void ConfigViewController::startObserving() {
    if (!document_ || !observations_.isEmpty())
        return;
    // What changed while the window was hidden shows now.
    for (Section section : {Section::Event, Section::Boats, Section::Races, Section::Media})
        reload(section);
    Document* document = document_;
    observations_ << connect(document, &Document::documentBoatsUpdated, this,
                             [this] { reload(Section::Boats); })
                  << connect(document, &Document::documentRacesUpdated, this,
                             [this] { reload(Section::Races); })
                  << connect(document, &Document::raceUpdated, this, [this] { reload(Section::Races); })
                  << connect(document, &Document::documentAssetsUpdated, this, [this] {
                         // The event's zone is announced with the assets, as every time axis moves.
                         reload(Section::Event);
                         reload(Section::Media);
                     });
}

void ConfigViewController::stopObserving() {
    for (const auto& connection : observations_)
        disconnect(connection);
    observations_.clear();
}

void ConfigViewController::reload(Section section) {
    reloading_ = true;
    model_->reloadSection(section);
    reloading_ = false;
    // The editor's item may be gone (deleted, or an undo took it back), or only moved.
    QModelIndex index = model_->indexOf(editorItem_);
    if (editorItem_.kind != Item::Kind::none && editorItem_.kind != Item::Kind::section && !index.isValid()) {
        select(Item::of(editorItem_.section));
        return;
    }
    // Rows that came or went may have moved the outline's selection; it shows the editor's item.
    if (outlineView_->currentIndex() != index) {
        reloading_ = true;
        if (index.isValid())
            outlineView_->setCurrentIndex(index);
        else
            outlineView_->selectionModel()->clearCurrentIndex();
        reloading_ = false;
    }
}

BoatConfigViewController* ConfigViewController::boatConfigViewController() const {
    return boatConfigViewController_;
}

RaceConfigViewController* ConfigViewController::raceConfigViewController() const {
    return raceConfigViewController_;
}

EventConfigViewController* ConfigViewController::eventConfigViewController() const {
    return eventConfigViewController_;
}

MediaGroupConfigViewController* ConfigViewController::mediaGroupConfigViewController() const {
    return mediaGroupConfigViewController_;
}

ConfigOutlineModel::Item ConfigViewController::selectedItem() const {
    return model_->itemAt(outlineView_->currentIndex());
}

void ConfigViewController::select(const Item& item) {
    QModelIndex index = model_->indexOf(item);
    if (index.isValid())
        outlineView_->setCurrentIndex(index);
    else
        outlineView_->selectionModel()->clearCurrentIndex();
    selectionChanged();
}

void ConfigViewController::selectionChanged() {
    if (reloading_)
        return;
    const Item item = selectedItem();
    auto same = [&] {
        return item.kind == editorItem_.kind && item.boat == editorItem_.boat &&
               item.race == editorItem_.race && item.mediaGroup == editorItem_.mediaGroup && editor_;
    };
    if (item.kind != Item::Kind::section && item.kind != Item::Kind::none && same())
        return;
    if (editor_) {
        // A field that has the focus would report its editing finished while the editor is half
        // destroyed. A user's click in the outline has committed it already.
        for (QObject* child : editor_->findChildren<QObject*>())
            child->blockSignals(true);
        delete editor_;
    }
    boatConfigViewController_ = nullptr;
    raceConfigViewController_ = nullptr;
    eventConfigViewController_ = nullptr;
    mediaGroupConfigViewController_ = nullptr;
    editorItem_ = item;
    QWidget* editor = nullptr;
    switch (item.kind) {
    case Item::Kind::event:
        editor = eventConfigViewController_ = new EventConfigViewController(document_, contentView_);
        break;
    case Item::Kind::boat:
        editor = boatConfigViewController_ = new BoatConfigViewController(document_, item.boat, contentView_);
        break;
    case Item::Kind::race:
        editor = raceConfigViewController_ = new RaceConfigViewController(document_, item.race, contentView_);
        break;
    case Item::Kind::mediaGroup:
        mediaGroupConfigViewController_ =
            new MediaGroupConfigViewController(document_, item.mediaGroup, contentView_);
        mediaGroupConfigViewController_->reloadTable();
        editor = mediaGroupConfigViewController_;
        break;
    case Item::Kind::section: // remembered, so that a reload keeps it selected; no editor
    case Item::Kind::none:
        break;
    }
    editor_ = editor;
    if (editor) {
        editor->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        contentView_->layout()->addWidget(editor);
        editor->show();
    }
}

QMenu* ConfigViewController::contextMenu(const QModelIndex& index) {
    if (!contextMenu_) {
        contextMenu_ = new QMenu(this);
        contextMenu_->setObjectName(QStringLiteral("outlineContextMenu"));
        contextMenu_->addAction(tr("Delete"));
    }
    // The clicked row decides what the entries act on; on any other row they do nothing.
    const Item item = model_->itemAt(index);
    const bool deletable =
        item.kind == Item::Kind::boat || item.kind == Item::Kind::race || item.kind == Item::Kind::mediaGroup;
    for (QAction* action : contextMenu_->actions()) {
        action->disconnect(this);
        action->setEnabled(deletable && document_ && document_->isEditable());
        if (deletable) {
            action->setText(tr("Delete “%1”").arg(model_->data(index).toString()));
            connect(action, &QAction::triggered, this, [this, item] { outlineViewItemDeleteAction(item); });
        } else {
            action->setText(tr("Delete"));
        }
    }
    return contextMenu_;
}

void ConfigViewController::outlineViewItemDeleteAction(const Item& item) {
    if (!document_)
        return;
    switch (item.kind) {
    case Item::Kind::boat:
        performEdit(*document_, std::make_unique<RemoveBoat>(item.boat));
        return;
    case Item::Kind::race:
        performEdit(*document_, std::make_unique<RemoveRace>(item.race));
        return;
    case Item::Kind::mediaGroup:
        performEdit(*document_, std::make_unique<RemoveMediaGroup>(item.mediaGroup));
        return;
    default:
        std::printf("Deleting %s is not supported\n", item.description().toUtf8().constData());
        std::fflush(stdout);
        return;
    }
}

void ConfigViewController::dropFiles(const Item& target, const QStringList& files) {
    if (!document_ || files.isEmpty())
        return;
    if (target.kind == Item::Kind::boat) {
        LogImportController::start(document_, target.boat, files);
        return;
    }
    if (target.kind != Item::Kind::mediaGroup)
        return;
    QList<QUrl> urls;
    for (const QString& file : files)
        urls << QUrl::fromLocalFile(file);
    MediaFileAddition::start(window(), document_, target.mediaGroup, urls);
}

#pragma once

#include "config/ConfigOutlineModel.h"

#include <QPointer>
#include <QWidget>

class BoatConfigViewController;
class EventConfigViewController;
class MediaGroupConfigViewController;
class QMenu;
class QTreeView;
class RaceConfigViewController;

// The configuration window's content: the outline of the event, its boats, races and media groups
// on the left, the editor of the selected item on the right. Deleting an item, from its context
// menu or with the Delete key, is an undoable edit like every other.
class ConfigViewController : public QWidget {
    Q_OBJECT
public:
    using Section = ConfigOutlineModel::Section;
    using Item = ConfigOutlineModel::Item;

    explicit ConfigViewController(Document* document, QWidget* parent = nullptr);
    ~ConfigViewController() override;

    Document* document() const { return document_; }
    QTreeView* outlineView() const { return outlineView_; }
    QWidget* contentView() const { return contentView_; }
    ConfigOutlineModel* outlineModel() const { return model_; }
    // The context menu of the outline, as it is for the row at `index`.
    QMenu* contextMenu(const QModelIndex& index);

    // The editor shown, if any; at most one is.
    BoatConfigViewController* boatConfigViewController() const;
    RaceConfigViewController* raceConfigViewController() const;
    EventConfigViewController* eventConfigViewController() const;
    MediaGroupConfigViewController* mediaGroupConfigViewController() const;
    QWidget* currentEditor() const { return editor_; }

    Item selectedItem() const;
    // Selects an item (and shows its editor); a section or an invalid item clears the editor.
    void select(const Item& item);

    // Deletes a boat, race or media group as an undoable edit; any other item only writes a line.
    void outlineViewItemDeleteAction(const Item& item);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void selectionChanged();
    void reload(Section section);
    void startObserving();
    void stopObserving();
    void dropFiles(const Item& target, const QStringList& files);

    QPointer<Document> document_;
    QTreeView* outlineView_;
    QWidget* contentView_;
    ConfigOutlineModel* model_;
    QPointer<QMenu> contextMenu_;
    QPointer<BoatConfigViewController> boatConfigViewController_;
    QPointer<RaceConfigViewController> raceConfigViewController_;
    QPointer<EventConfigViewController> eventConfigViewController_;
    QPointer<MediaGroupConfigViewController> mediaGroupConfigViewController_;
    QPointer<QWidget> editor_;
    Item editorItem_;
    QList<QMetaObject::Connection> observations_;
    // While a section reloads, the selection the view loses is not a user's choice.
    bool reloading_ = false;
};

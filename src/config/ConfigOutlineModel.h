#pragma once

#include <QAbstractItemModel>
#include <QPointer>
#include <functional>
#include <memory>
#include <vector>

class Boat;
class Document;
class MediaGroup;
class Race;

// The outline of the configuration window: four sections (the event, the boats, the races, the
// media groups) whose children are the document's own objects, never copies. A section reloads
// when the document announces a change of it; rows that stay the same object keep their index, so
// the selection and the open editor survive an edit.
class ConfigOutlineModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum class Section { Event, Boats, Races, Media };
    static constexpr int sectionCount = 4;
    // The event section's one child.
    static constexpr const char* eventItem = "__OutlineItemEvent";

    struct Item {
        enum class Kind { none, section, event, boat, race, mediaGroup };
        Kind kind = Kind::none;
        Section section = Section::Event;
        std::shared_ptr<Boat> boat;
        std::shared_ptr<Race> race;
        std::shared_ptr<MediaGroup> mediaGroup;

        static Item of(Section section) { return {Kind::section, section, {}, {}, {}}; }
        static Item event() { return {Kind::event, Section::Event, {}, {}, {}}; }
        static Item of(std::shared_ptr<Boat> boat) {
            return {Kind::boat, Section::Boats, std::move(boat), {}, {}};
        }
        static Item of(std::shared_ptr<Race> race) {
            return {Kind::race, Section::Races, {}, std::move(race), {}};
        }
        static Item of(std::shared_ptr<MediaGroup> group) {
            return {Kind::mediaGroup, Section::Media, {}, {}, std::move(group)};
        }

        // What a log line calls it: "Boats", "__OutlineItemEvent", "Boat Vento", …
        QString description() const;
    };

    // Files dropped on a boat or a media group row: the handler imports or adds them.
    using FileDrop = std::function<void(const Item& target, const QStringList& files)>;

    explicit ConfigOutlineModel(QObject* parent = nullptr);

    void setDocument(Document* document);
    Document* document() const { return document_; }
    void setFileDrop(FileDrop drop) { fileDrop_ = std::move(drop); }

    Item itemAt(const QModelIndex& index) const;
    QModelIndex indexOf(Section section) const;
    // The row of a boat, race or media group; invalid when the document has none such.
    QModelIndex indexOf(const Item& item) const;

    // Brings a section in line with the document.
    void reloadSection(Section section);

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

private:
    int childCount(Section section) const;
    QStringList droppableFiles(const QMimeData* data, const Item& target) const;

    QPointer<Document> document_;
    // What the rows show now; the document may already hold more or fewer.
    std::vector<std::shared_ptr<Boat>> boats_;
    std::vector<std::shared_ptr<Race>> races_;
    std::vector<std::shared_ptr<MediaGroup>> groups_;
    FileDrop fileDrop_;
};

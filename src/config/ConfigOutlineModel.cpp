#include "config/ConfigOutlineModel.h"

#include "core/FatalError.h"
#include "document/Document.h"
#include "document/LogImport.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "metrics/Boat.h"
#include "race/Race.h"

#include <QApplication>
#include <QFont>
#include <QIcon>
#include <QMimeData>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QUrl>
#include <algorithm>

namespace {

// Children carry their section, plus one, in the internal id; sections carry none.
quintptr idOf(ConfigOutlineModel::Section section) {
    return static_cast<quintptr>(section) + 1;
}

// An icon drawn in the text colour of the palette, as the outline's own glyphs are.
QIcon templateIcon(const QString& path) {
    QPixmap pixmap = QIcon(path).pixmap(32, 32);
    if (pixmap.isNull())
        return {};
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), QApplication::palette().color(QPalette::Text));
    painter.end();
    return QIcon(pixmap);
}

QIcon swatch(RgbColor color) {
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(0, 0, 0, 90));
    painter.setBrush(QColor::fromRgbF(float(color.red), float(color.green), float(color.blue)));
    painter.drawEllipse(QRectF(2.5, 2.5, 11, 11));
    return QIcon(pixmap);
}

QString sectionTitle(ConfigOutlineModel::Section section) {
    switch (section) {
    case ConfigOutlineModel::Section::Event:
        return QObject::tr("Event");
    case ConfigOutlineModel::Section::Boats:
        return QObject::tr("Boats");
    case ConfigOutlineModel::Section::Races:
        return QObject::tr("Races");
    case ConfigOutlineModel::Section::Media:
        return QObject::tr("Media");
    }
    return {};
}

QString raceTitle(const Race& race) {
    return race.name().isEmpty() ? QObject::tr("Untitled Race") : race.name();
}

QString modeText(Boat::DisplayMode mode) {
    switch (mode) {
    case Boat::DisplayMode::Main:
        return QObject::tr("main boat");
    case Boat::DisplayMode::Secondary:
        return QObject::tr("secondary boat");
    case Boat::DisplayMode::Other:
        break;
    }
    return {};
}

} // namespace

QString ConfigOutlineModel::Item::description() const {
    switch (kind) {
    case Kind::none:
        return QStringLiteral("no item");
    case Kind::section:
        return sectionTitle(section);
    case Kind::event:
        return QString::fromLatin1(eventItem);
    case Kind::boat:
        return QStringLiteral("Boat ") + boat->fullName();
    case Kind::race:
        return QStringLiteral("Race ") + race->name();
    case Kind::mediaGroup:
        return QStringLiteral("MediaGroup ") + mediaGroup->name;
    }
    return {};
}

ConfigOutlineModel::ConfigOutlineModel(QObject* parent) : QAbstractItemModel(parent) {}

void ConfigOutlineModel::setDocument(Document* document) {
    beginResetModel();
    document_ = document;
    boats_.clear();
    races_.clear();
    groups_.clear();
    if (document) {
        boats_ = document->boats();
        races_ = document->races();
        groups_ = document->mediaGroups();
    }
    endResetModel();
}

ConfigOutlineModel::Item ConfigOutlineModel::itemAt(const QModelIndex& index) const {
    Item item;
    if (!index.isValid() || index.model() != this)
        return item;
    if (index.internalId() == 0) {
        item.kind = Item::Kind::section;
        item.section = static_cast<Section>(index.row());
        return item;
    }
    item.section = static_cast<Section>(index.internalId() - 1);
    const auto row = static_cast<size_t>(index.row());
    switch (item.section) {
    case Section::Event:
        item.kind = Item::Kind::event;
        break;
    case Section::Boats:
        item.kind = Item::Kind::boat;
        item.boat = boats_.at(row);
        break;
    case Section::Races:
        item.kind = Item::Kind::race;
        item.race = races_.at(row);
        break;
    case Section::Media:
        item.kind = Item::Kind::mediaGroup;
        item.mediaGroup = groups_.at(row);
        break;
    }
    return item;
}

QModelIndex ConfigOutlineModel::indexOf(Section section) const {
    return createIndex(static_cast<int>(section), 0, quintptr(0));
}

QModelIndex ConfigOutlineModel::indexOf(const Item& item) const {
    auto rowOf = [](const auto& list, const auto& object) {
        auto found = std::find(list.begin(), list.end(), object);
        return found == list.end() ? -1 : static_cast<int>(found - list.begin());
    };
    int row = -1;
    switch (item.kind) {
    case Item::Kind::section:
        return indexOf(item.section);
    case Item::Kind::event:
        row = 0;
        break;
    case Item::Kind::boat:
        row = rowOf(boats_, item.boat);
        break;
    case Item::Kind::race:
        row = rowOf(races_, item.race);
        break;
    case Item::Kind::mediaGroup:
        row = rowOf(groups_, item.mediaGroup);
        break;
    case Item::Kind::none:
        break;
    }
    return row < 0 ? QModelIndex() : createIndex(row, 0, idOf(item.section));
}

int ConfigOutlineModel::childCount(Section section) const {
    switch (section) {
    case Section::Event:
        return 1;
    case Section::Boats:
        return static_cast<int>(boats_.size());
    case Section::Races:
        return static_cast<int>(races_.size());
    case Section::Media:
        return static_cast<int>(groups_.size());
    }
    return 0;
}

void ConfigOutlineModel::reloadSection(Section section) {
    if (!document_ || section == Section::Event) {
        if (section == Section::Event)
            emit dataChanged(index(0, 0, indexOf(section)), index(0, 0, indexOf(section)));
        return;
    }
    auto sync = [&](auto& shown, const auto& now) {
        const QModelIndex parent = indexOf(section);
        if (shown == now) {
            if (!shown.empty())
                emit dataChanged(index(0, 0, parent), index(static_cast<int>(shown.size()) - 1, 0, parent));
            return;
        }
        // Rows that came or went: the whole section again. The view restores its selection by
        // object, so an editor open on a row that stays is kept.
        if (!shown.empty()) {
            beginRemoveRows(parent, 0, static_cast<int>(shown.size()) - 1);
            shown.clear();
            endRemoveRows();
        }
        if (!now.empty()) {
            beginInsertRows(parent, 0, static_cast<int>(now.size()) - 1);
            shown = now;
            endInsertRows();
        }
    };
    switch (section) {
    case Section::Boats:
        sync(boats_, document_->boats());
        break;
    case Section::Races:
        sync(races_, document_->races());
        break;
    case Section::Media:
        sync(groups_, document_->mediaGroups());
        break;
    case Section::Event:
        break;
    }
}

QModelIndex ConfigOutlineModel::index(int row, int column, const QModelIndex& parent) const {
    if (column != 0 || row < 0)
        return {};
    if (!parent.isValid())
        return row < sectionCount ? createIndex(row, 0, quintptr(0)) : QModelIndex();
    if (parent.internalId() != 0)
        return {};
    const auto section = static_cast<Section>(parent.row());
    return row < childCount(section) ? createIndex(row, 0, idOf(section)) : QModelIndex();
}

QModelIndex ConfigOutlineModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == 0)
        return {};
    return indexOf(static_cast<Section>(child.internalId() - 1));
}

int ConfigOutlineModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return sectionCount;
    if (parent.internalId() == 0)
        return childCount(static_cast<Section>(parent.row()));
    if (parent.internalId() > sectionCount)
        fatalError(("Unsupported item in outline view: " + itemAt(parent).description()).toStdString());
    return 0; // boats, races and groups are leaves
}

int ConfigOutlineModel::columnCount(const QModelIndex&) const {
    return 1;
}

bool ConfigOutlineModel::hasChildren(const QModelIndex& parent) const {
    return !parent.isValid() || parent.internalId() == 0;
}

QVariant ConfigOutlineModel::data(const QModelIndex& index, int role) const {
    const Item item = itemAt(index);
    switch (role) {
    case Qt::DisplayRole:
        switch (item.kind) {
        case Item::Kind::section:
            return sectionTitle(item.section);
        case Item::Kind::event:
            return document_
                       ? tr("Event (%1)").arg(QString::fromStdString(document_->eventTimezone().identifier()))
                       : tr("Event");
        case Item::Kind::boat:
            return item.boat->fullName().isEmpty() ? tr("Untitled Boat") : item.boat->fullName();
        case Item::Kind::race:
            return raceTitle(*item.race);
        case Item::Kind::mediaGroup: {
            int count = 0;
            if (document_)
                for (const auto& asset : document_->assets())
                    count += asset->mediaGroup() == item.mediaGroup;
            return tr("%1 (%2)")
                .arg(item.mediaGroup->name.isEmpty() ? tr("Untitled Group") : item.mediaGroup->name)
                .arg(count);
        }
        case Item::Kind::none:
            break;
        }
        break;
    case Qt::ToolTipRole:
        if (item.kind == Item::Kind::boat) {
            QString mode = modeText(item.boat->displayMode());
            return mode.isEmpty() ? item.boat->shortName()
                                  : item.boat->shortName() + QStringLiteral(", ") + mode;
        }
        if (item.kind == Item::Kind::mediaGroup)
            return tr("Drop photos and videos here to add them to the group");
        break;
    case Qt::DecorationRole:
        switch (item.kind) {
        case Item::Kind::event: {
            static const QIcon calendar = templateIcon(QStringLiteral(":/images/Calendar.svg"));
            return calendar;
        }
        case Item::Kind::race: {
            static const QIcon flag = templateIcon(QStringLiteral(":/images/FinishFlag.svg"));
            return flag;
        }
        case Item::Kind::boat:
            return swatch(item.boat->color());
        case Item::Kind::mediaGroup: {
            static const QIcon photo = templateIcon(QStringLiteral(":/images/PhotoAssetIcon.svg"));
            return photo;
        }
        default:
            break;
        }
        break;
    case Qt::FontRole:
        if (item.kind == Item::Kind::section ||
            (item.kind == Item::Kind::boat && item.boat->displayMode() == Boat::DisplayMode::Main)) {
            QFont font;
            font.setBold(true);
            return font;
        }
        break;
    default:
        break;
    }
    return {};
}

Qt::ItemFlags ConfigOutlineModel::flags(const QModelIndex& index) const {
    const Item item = itemAt(index);
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (item.kind == Item::Kind::boat || item.kind == Item::Kind::mediaGroup)
        flags |= Qt::ItemIsDropEnabled;
    return flags;
}

QStringList ConfigOutlineModel::mimeTypes() const {
    return {QStringLiteral("text/uri-list")};
}

Qt::DropActions ConfigOutlineModel::supportedDropActions() const {
    return Qt::CopyAction | Qt::LinkAction;
}

QStringList ConfigOutlineModel::droppableFiles(const QMimeData* data, const Item& target) const {
    QStringList files;
    // Rows dragged out of a media group editor carry their files too; they are in the document
    // already and must not be added twice.
    if (!data || data->hasFormat(QStringLiteral("MediaAssetPasteBoard")))
        return files;
    for (const QUrl& url : data->urls()) {
        if (!url.isLocalFile())
            continue;
        const QString path = url.toLocalFile();
        if (target.kind == Item::Kind::boat ? isConvertibleLogFile(path) : !isConvertibleLogFile(path))
            files << path;
    }
    return files;
}

bool ConfigOutlineModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int row, int,
                                         const QModelIndex& parent) const {
    // Only on a row itself, not between rows.
    if (row != -1 || !fileDrop_)
        return false;
    const Item target = itemAt(parent);
    if (target.kind != Item::Kind::boat && target.kind != Item::Kind::mediaGroup)
        return false;
    return !droppableFiles(data, target).isEmpty();
}

bool ConfigOutlineModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                      const QModelIndex& parent) {
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    const Item target = itemAt(parent);
    fileDrop_(target, droppableFiles(data, target));
    return true;
}

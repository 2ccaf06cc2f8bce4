#include "config/MediaAssetTableModel.h"

#include "core/DateFormat.h"
#include "media/MediaAsset.h"

#include <QFileInfo>
#include <QMimeData>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>
#include <algorithm>
#include <cmath>

namespace {

const char* const timePattern = "yyyy-MM-dd HH:mm:ss.S";

QString fileNameOf(const MediaAsset& asset) {
    return QFileInfo(asset.url().toLocalFile()).fileName();
}

QString durationText(double seconds) {
    if (!(seconds > 0))
        return {};
    // Tenths, rounded once, so that 59.96 s reads 0:01:00.0 rather than 0:00:60.0.
    const long long tenths = std::llround(seconds * 10.0);
    const long long wholeSeconds = tenths / 10;
    return QString::asprintf("%lld:%02lld:%02lld.%lld", wholeSeconds / 3600, wholeSeconds / 60 % 60,
                             wholeSeconds % 60, tenths % 10);
}

// Negative, zero or positive as `a` sorts before, with or after `b` in `column`.
int compare(const MediaAsset& a, const MediaAsset& b, int column) {
    auto order = [](auto x, auto y) { return x < y ? -1 : (y < x ? 1 : 0); };
    switch (column) {
    case MediaAssetTableModel::FileName:
        return fileNameOf(a).localeAwareCompare(fileNameOf(b));
    case MediaAssetTableModel::Kind:
        return order(a.isPhoto(), b.isPhoto());
    case MediaAssetTableModel::StartTime:
        return order(a.startTime(), b.startTime());
    case MediaAssetTableModel::Duration:
        return order(a.duration(), b.duration());
    case MediaAssetTableModel::FileTimeZone:
        return order(a.fileTimeZone().identifier(), b.fileTimeZone().identifier());
    case MediaAssetTableModel::Offset:
        return order(a.offset(), b.offset());
    case MediaAssetTableModel::FileStartTime:
        return order(a.fileStartTime(), b.fileStartTime());
    default:
        return 0;
    }
}

} // namespace

QString MediaAssetTableModel::columnKey(int column) {
    static const char* const keys[ColumnCount] = {"FileName",     "Kind",   "StartTime",    "Duration",
                                                  "FileTimeZone", "Offset", "FileStartTime"};
    return column >= 0 && column < ColumnCount ? QString::fromLatin1(keys[column]) : QString();
}

int MediaAssetTableModel::columnOfKey(const QString& key) {
    for (int column = 0; column < ColumnCount; ++column)
        if (columnKey(column) == key)
            return column;
    return -1;
}

QByteArray MediaAssetTableModel::propertyList(const QList<QUrl>& urls) {
    QByteArray data;
    QXmlStreamWriter xml(&data);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeDTD(QStringLiteral("<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"));
    xml.writeStartElement(QStringLiteral("plist"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
    xml.writeStartElement(QStringLiteral("dict"));
    xml.writeTextElement(QStringLiteral("key"), QString::fromLatin1(assetUrlsKey));
    xml.writeStartElement(QStringLiteral("array"));
    for (const QUrl& url : urls)
        xml.writeTextElement(QStringLiteral("string"), url.toString(QUrl::FullyEncoded));
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    return data;
}

std::optional<QList<QUrl>> MediaAssetTableModel::urlsOfPropertyList(const QByteArray& data) {
    // plist > dict > key "assetUrls", then its array of strings.
    QXmlStreamReader xml(data);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("plist"))
        return std::nullopt;
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("dict"))
        return std::nullopt;
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("key")) {
            xml.skipCurrentElement();
            continue;
        }
        const bool wanted = xml.readElementText() == QLatin1String(assetUrlsKey);
        if (!xml.readNextStartElement())
            break;
        if (!wanted || xml.name() != QLatin1String("array")) {
            xml.skipCurrentElement();
            continue;
        }
        QList<QUrl> urls;
        while (xml.readNextStartElement()) {
            if (xml.name() == QLatin1String("string"))
                urls << QUrl(xml.readElementText());
            else
                xml.skipCurrentElement();
        }
        if (xml.hasError())
            return std::nullopt;
        return urls;
    }
    return std::nullopt;
}

MediaAssetTableModel::MediaAssetTableModel(QObject* parent)
    : QAbstractTableModel(parent), eventTimeFormat_(std::make_unique<DateFormat>(timePattern, eventZone_)),
      fileTimeFormat_(std::make_unique<DateFormat>(timePattern, TimeZone::utc())) {}

MediaAssetTableModel::~MediaAssetTableModel() = default;

void MediaAssetTableModel::setAssets(std::vector<std::shared_ptr<MediaAsset>> assets,
                                     const TimeZone& eventZone) {
    beginResetModel();
    documentOrder_ = std::move(assets);
    if (!(eventZone == eventZone_)) {
        eventZone_ = eventZone;
        eventTimeFormat_ = std::make_unique<DateFormat>(timePattern, eventZone_);
    }
    applySort();
    endResetModel();
}

std::shared_ptr<MediaAsset> MediaAssetTableModel::assetAt(int row) const {
    return row >= 0 && row < static_cast<int>(assets_.size()) ? assets_[std::size_t(row)] : nullptr;
}

int MediaAssetTableModel::rowOf(const std::shared_ptr<MediaAsset>& asset) const {
    auto found = std::find(assets_.begin(), assets_.end(), asset);
    return found == assets_.end() ? -1 : static_cast<int>(found - assets_.begin());
}

int MediaAssetTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(assets_.size());
}

int MediaAssetTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QString MediaAssetTableModel::text(const MediaAsset& asset, int column) const {
    switch (column) {
    case FileName:
        return fileNameOf(asset);
    case Kind:
        return asset.isPhoto() ? tr("Photo") : tr("Video");
    case StartTime:
        return QString::fromStdString(eventTimeFormat_->format(asset.startTime()));
    case Duration:
        return durationText(asset.duration());
    case FileTimeZone:
        return QString::fromStdString(asset.fileTimeZone().identifier());
    case Offset:
        return QString::asprintf("%.3f", asset.offset());
    case FileStartTime:
        return QString::fromStdString(fileTimeFormat_->format(asset.fileStartTime()));
    default:
        return {};
    }
}

QVariant MediaAssetTableModel::data(const QModelIndex& index, int role) const {
    auto asset = index.isValid() ? assetAt(index.row()) : nullptr;
    if (!asset)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return text(*asset, index.column());
    case Qt::ToolTipRole:
        if (index.column() == FileName)
            return asset->url().toLocalFile();
        return {};
    case Qt::TextAlignmentRole:
        if (index.column() == Duration || index.column() == Offset)
            return int(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    default:
        return {};
    }
}

QVariant MediaAssetTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::DisplayRole) {
        switch (section) {
        case FileName:
            return tr("File");
        case Kind:
            return tr("Kind");
        case StartTime:
            return tr("Start");
        case Duration:
            return tr("Duration");
        case FileTimeZone:
            return tr("File Time Zone");
        case Offset:
            return tr("Offset (s)");
        case FileStartTime:
            return tr("File Clock");
        default:
            return {};
        }
    }
    if (role == Qt::ToolTipRole) {
        if (section == StartTime)
            return tr("When the file starts on the event's clock (%1)")
                .arg(QString::fromStdString(eventZone_.identifier()));
        if (section == FileStartTime)
            return tr("The start as the camera's clock read it, in the file's time zone");
        if (section == Offset)
            return tr("The correction added to the file's time");
    }
    return {};
}

Qt::ItemFlags MediaAssetTableModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (index.isValid())
        flags |= Qt::ItemIsDragEnabled;
    return flags;
}

void MediaAssetTableModel::sort(int column, Qt::SortOrder order) {
    if (column < 0 || column >= ColumnCount)
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList persistent = persistentIndexList();
    std::vector<std::shared_ptr<MediaAsset>> before;
    for (const QModelIndex& index : persistent)
        before.push_back(assetAt(index.row()));
    sortColumn_ = column;
    sortOrder_ = order;
    applySort();
    QModelIndexList after;
    for (qsizetype i = 0; i < persistent.size(); ++i)
        after << index(rowOf(before[std::size_t(i)]), persistent[i].column());
    changePersistentIndexList(persistent, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void MediaAssetTableModel::applySort() {
    // From the document's order each time, so that equal keys keep the order the files were added.
    assets_ = documentOrder_;
    std::stable_sort(assets_.begin(), assets_.end(), [this](const auto& a, const auto& b) {
        const int c = compare(*a, *b, sortColumn_);
        return sortOrder_ == Qt::AscendingOrder ? c < 0 : c > 0;
    });
}

QStringList MediaAssetTableModel::mimeTypes() const {
    return {QString::fromLatin1(pasteboardType), QStringLiteral("text/uri-list")};
}

QMimeData* MediaAssetTableModel::mimeData(const QModelIndexList& indexes) const {
    QList<int> rows;
    for (const QModelIndex& index : indexes)
        if (index.isValid() && !rows.contains(index.row()))
            rows << index.row();
    std::sort(rows.begin(), rows.end());
    QList<QUrl> urls;
    for (int row : rows)
        if (auto asset = assetAt(row))
            urls << asset->url();
    if (urls.isEmpty())
        return nullptr;
    auto* mime = new QMimeData();
    mime->setData(QString::fromLatin1(pasteboardType), propertyList(urls));
    // Other programs take the rows as the files they are.
    mime->setUrls(urls);
    return mime;
}

Qt::DropActions MediaAssetTableModel::supportedDragActions() const {
    return Qt::CopyAction | Qt::LinkAction;
}

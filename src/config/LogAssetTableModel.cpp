#include "config/LogAssetTableModel.h"

#include "boatlog/LogFileAsset.h"
#include "core/DateFormat.h"
#include "core/NumberText.h"
#include "metrics/TimeIntervalFormatter.h"

#include <QBrush>
#include <QFileInfo>
#include <QPalette>
#include <algorithm>

namespace {

std::optional<double> durationOf(const LogFileAsset& asset) {
    if (!asset.fileStartTime() || !asset.fileEndTime())
        return std::nullopt;
    return *asset.fileEndTime() - *asset.fileStartTime();
}

// Records per second between the first and the last record.
std::optional<double> rateOf(const LogFileAsset& asset) {
    const auto duration = durationOf(asset);
    const std::int64_t records = asset.boatLog() ? asset.boatLog()->recordCount() : 0;
    if (!duration || *duration <= 0.0 || records < 2)
        return std::nullopt;
    return double(records - 1) / *duration;
}

QString offsetText(double seconds) {
    return QString::fromStdString(shortestText(seconds)) + QStringLiteral(" s");
}

int compareKeys(const QVariant& a, const QVariant& b) {
    if (a.typeId() == QMetaType::QString)
        return QString::localeAwareCompare(a.toString().toCaseFolded(), b.toString().toCaseFolded());
    const double x = a.toDouble(), y = b.toDouble();
    return x < y ? -1 : (y < x ? 1 : 0);
}

} // namespace

LogAssetTableModel::LogAssetTableModel(QObject* parent)
    : QAbstractTableModel(parent), timeFormat_(std::make_unique<DateFormat>(timePattern, TimeZone::utc())) {}

LogAssetTableModel::~LogAssetTableModel() = default;

void LogAssetTableModel::setContent(std::vector<std::shared_ptr<LogFileAsset>> assets,
                                    std::vector<UnloadedLogAsset> unloaded, const TimeZone& displayZone) {
    beginResetModel();
    assets_ = std::move(assets);
    timeFormat_ = std::make_unique<DateFormat>(timePattern, displayZone);
    rows_.clear();
    for (const auto& asset : assets_)
        rows_.push_back({asset, std::nullopt});
    for (auto& log : unloaded)
        rows_.push_back({nullptr, std::move(log)});
    applySort();
    endResetModel();
}

std::shared_ptr<LogFileAsset> LogAssetTableModel::assetAt(int row) const {
    return row >= 0 && row < int(rows_.size()) ? rows_[row].asset : nullptr;
}

const UnloadedLogAsset* LogAssetTableModel::unloadedAt(int row) const {
    return row >= 0 && row < int(rows_.size()) && rows_[row].unloaded ? &*rows_[row].unloaded : nullptr;
}

int LogAssetTableModel::rowOf(const LogFileAsset* asset) const {
    for (std::size_t i = 0; i < rows_.size(); ++i)
        if (rows_[i].asset.get() == asset)
            return int(i);
    return -1;
}

int LogAssetTableModel::rowOfUnloaded(const QUuid& uuid) const {
    for (std::size_t i = 0; i < rows_.size(); ++i)
        if (rows_[i].unloaded && rows_[i].unloaded->reference.uuid == uuid)
            return int(i);
    return -1;
}

int LogAssetTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows_.size());
}

int LogAssetTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LogAssetTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case File:
        return tr("File");
    case Start:
        return tr("Start");
    case End:
        return tr("End");
    case Duration:
        return tr("Duration");
    case Rate:
        return tr("Rate");
    case Records:
        return tr("Records");
    case Zone:
        return tr("Time Zone");
    case Offset:
        return tr("Offset");
    default:
        return {};
    }
}

QString LogAssetTableModel::text(const Row& row, int column) const {
    if (row.unloaded) {
        const UnloadedLogAsset& log = *row.unloaded;
        switch (column) {
        case File:
            return log.path.isEmpty() ? log.reference.uuid.toString(QUuid::WithoutBraces) + ".hdf5"
                                      : QFileInfo(log.path).fileName();
        case Start:
            return tr("Not loaded: %1").arg(log.reason);
        case Zone:
            return QString::fromStdString(log.reference.fileTimeZone.value_or(std::string()));
        case Offset:
            return log.reference.offset ? offsetText(*log.reference.offset) : QString();
        default:
            return {};
        }
    }
    const LogFileAsset& asset = *row.asset;
    switch (column) {
    case File:
        return QFileInfo(asset.url().toLocalFile()).fileName();
    case Start:
        return asset.fileStartTime() ? QString::fromStdString(timeFormat_->format(*asset.fileStartTime()))
                                     : QString();
    case End:
        return asset.fileEndTime() ? QString::fromStdString(timeFormat_->format(*asset.fileEndTime()))
                                   : QString();
    case Duration: {
        static const TimeIntervalFormatter formatter;
        const auto duration = durationOf(asset);
        return duration ? formatter.string(*duration) : QString();
    }
    case Rate: {
        const auto rate = rateOf(asset);
        return rate ? QString::asprintf("%.1f Hz", *rate) : QString();
    }
    case Records:
        return asset.boatLog() ? QString::number(asset.boatLog()->recordCount()) : QString();
    case Zone:
        return QString::fromStdString(asset.fileTimeZone().identifier());
    case Offset:
        return offsetText(asset.offset());
    default:
        return {};
    }
}

QVariant LogAssetTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= int(rows_.size()))
        return {};
    const Row& row = rows_[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return text(row, index.column());
    case Qt::ToolTipRole:
        if (row.unloaded)
            return tr("This log could not be loaded: %1. It stays with the boat until you remove it.")
                .arg(row.unloaded->reason);
        if (index.column() == File)
            return row.asset->url().toLocalFile();
        if (index.column() == Start || index.column() == End)
            return tr("In the event's time zone");
        return {};
    case Qt::ForegroundRole:
        if (row.unloaded)
            return QBrush(QPalette().color(QPalette::Disabled, QPalette::Text));
        return {};
    case Qt::TextAlignmentRole:
        if (index.column() >= Duration && index.column() <= Records && !row.unloaded)
            return int(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    default:
        return {};
    }
}

QVariant LogAssetTableModel::sortKey(const Row& row, int column) const {
    if (column == File || column == Zone)
        return text(row, column);
    if (row.unloaded) {
        if (column == Offset && row.unloaded->reference.offset)
            return *row.unloaded->reference.offset;
        return {};
    }
    const LogFileAsset& asset = *row.asset;
    auto number = [](std::optional<double> value) { return value ? QVariant(*value) : QVariant(); };
    switch (column) {
    case Start:
        return asset.fileStartTime() ? QVariant(asset.fileStartTime()->secondsSinceReference()) : QVariant();
    case End:
        return asset.fileEndTime() ? QVariant(asset.fileEndTime()->secondsSinceReference()) : QVariant();
    case Duration:
        return number(durationOf(asset));
    case Rate:
        return number(rateOf(asset));
    case Records:
        return asset.boatLog() ? QVariant(double(asset.boatLog()->recordCount())) : QVariant();
    case Offset:
        return asset.offset();
    default:
        return {};
    }
}

void LogAssetTableModel::applySort() {
    if (sortColumn_ < 0 || sortColumn_ >= ColumnCount) {
        // Unsorted: as the document holds them, the unloaded after.
        std::stable_partition(rows_.begin(), rows_.end(),
                              [](const Row& row) { return row.asset != nullptr; });
        return;
    }
    std::vector<std::pair<QVariant, Row>> keyed;
    keyed.reserve(rows_.size());
    for (auto& row : rows_)
        keyed.emplace_back(sortKey(row, sortColumn_), std::move(row));
    const bool descending = sortOrder_ == Qt::DescendingOrder;
    std::stable_sort(keyed.begin(), keyed.end(), [descending](const auto& a, const auto& b) {
        const bool hasA = a.first.isValid(), hasB = b.first.isValid();
        if (hasA != hasB)
            return hasA;
        if (!hasA)
            return false;
        const int order = compareKeys(a.first, b.first);
        return descending ? order > 0 : order < 0;
    });
    rows_.clear();
    for (auto& [key, row] : keyed)
        rows_.push_back(std::move(row));
}

void LogAssetTableModel::sort(int column, Qt::SortOrder order) {
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<std::pair<const void*, QUuid>> identities;
    for (const QModelIndex& index : before) {
        const Row& row = rows_[index.row()];
        identities.emplace_back(row.asset.get(), row.unloaded ? row.unloaded->reference.uuid : QUuid());
    }
    sortColumn_ = column;
    sortOrder_ = order;
    applySort();
    QModelIndexList after;
    for (int i = 0; i < before.size(); ++i) {
        const auto& [asset, uuid] = identities[i];
        const int row = asset ? rowOf(static_cast<const LogFileAsset*>(asset)) : rowOfUnloaded(uuid);
        after << (row < 0 ? QModelIndex() : index(row, before[i].column()));
    }
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

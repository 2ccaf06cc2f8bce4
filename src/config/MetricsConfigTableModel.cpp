#include "config/MetricsConfigTableModel.h"

#include "config/MetricsConfigViewController.h"
#include "metrics/MetricPresentation.h"

#include <QDataStream>
#include <QIODevice>
#include <QMimeData>
#include <QPalette>
#include <QTableView>
#include <algorithm>

const QString MetricsConfigTableModel::mimeType = QStringLiteral("application/x-wakeline-metric-keys");

MetricsConfigTableModel::MetricsConfigTableModel(MetricsConfigViewController* controller, QTableView* table)
    : QAbstractTableModel(table), controller_(controller), table_(table) {}

void MetricsConfigTableModel::reload() {
    beginResetModel();
    endResetModel();
}

int MetricsConfigTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : controller_->numberOfRows(table_);
}

int MetricsConfigTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 1;
}

QVariant MetricsConfigTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const QString key = controller_->objectValue(table_, index.row());
    switch (role) {
    case Qt::DisplayRole:
        return MetricPresentation(BoatMetric(key.toStdString())).title();
    case Qt::ToolTipRole:
        return key;
    case Qt::UserRole:
        return key;
    case Qt::ForegroundRole:
        // Metrics no log of the event holds would show "—"; they stay choosable for other events.
        if (table_ == controller_->availableTableView() && !controller_->hasData(key))
            return table_->palette().color(QPalette::Disabled, QPalette::Text);
        return {};
    default:
        return {};
    }
}

Qt::ItemFlags MetricsConfigTableModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
}

Qt::DropActions MetricsConfigTableModel::supportedDropActions() const {
    return Qt::MoveAction | Qt::CopyAction;
}

QStringList MetricsConfigTableModel::mimeTypes() const {
    return {mimeType};
}

QMimeData* MetricsConfigTableModel::mimeData(const QModelIndexList& indexes) const {
    QList<int> rows;
    for (const QModelIndex& index : indexes)
        if (!rows.contains(index.row()))
            rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    QStringList keys;
    for (int row : rows)
        keys.append(controller_->objectValue(table_, row));
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    // The source table, so that a drop can tell a move within a list from an addition.
    stream << quint64(reinterpret_cast<quintptr>(table_)) << keys;
    auto* mime = new QMimeData;
    mime->setData(mimeType, bytes);
    mime->setText(keys.join(QLatin1Char('\n')));
    return mime;
}

bool MetricsConfigTableModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int,
                                              const QModelIndex&) const {
    return data && data->hasFormat(mimeType);
}

bool MetricsConfigTableModel::dropMimeData(const QMimeData* data, Qt::DropAction, int row, int,
                                           const QModelIndex& parent) {
    if (!data || !data->hasFormat(mimeType))
        return false;
    QDataStream stream(data->data(mimeType));
    quint64 source = 0;
    QStringList keys;
    stream >> source >> keys;
    if (stream.status() != QDataStream::Ok)
        return false;
    // Dropped onto a row: before it.
    if (row < 0 && parent.isValid())
        row = parent.row();
    const QTableView* sourceTable = nullptr;
    for (const QTableView* table : {controller_->overlayTableView(), controller_->overlayBeforeGunTableView(),
                                    controller_->availableTableView()})
        if (reinterpret_cast<quintptr>(table) == source)
            sourceTable = table;
    return controller_->dropKeys(table_, keys, sourceTable, row);
}

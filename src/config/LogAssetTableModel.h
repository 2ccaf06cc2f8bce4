#pragma once

#include "core/TimeZone.h"
#include "document/PackageRemainder.h"

#include <QAbstractTableModel>
#include <memory>
#include <optional>
#include <vector>

class DateFormat;
class LogFileAsset;

// The logs of one boat as table rows, sortable by every column: the loaded ones, and those the
// document could not load, greyed and with the reason why.
class LogAssetTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { File, Start, End, Duration, Rate, Records, Zone, Offset, ColumnCount };

    explicit LogAssetTableModel(QObject* parent = nullptr);
    ~LogAssetTableModel() override;

    // The boat's logs as the document holds them; times are shown in `displayZone`. Keeps the
    // sort order.
    void setContent(std::vector<std::shared_ptr<LogFileAsset>> assets, std::vector<UnloadedLogAsset> unloaded,
                    const TimeZone& displayZone);

    // As the document holds them.
    const std::vector<std::shared_ptr<LogFileAsset>>& assets() const { return assets_; }
    // The loaded log of a row, or null.
    std::shared_ptr<LogFileAsset> assetAt(int row) const;
    // The unloaded log of a row, or null.
    const UnloadedLogAsset* unloadedAt(int row) const;
    // The row showing a log; -1 when none does.
    int rowOf(const LogFileAsset* asset) const;
    int rowOfUnloaded(const QUuid& uuid) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // Rows without a value in the column (an unloaded log has no times) stay last either way.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // "yyyy-MM-dd HH:mm:ss.S"
    static constexpr const char* timePattern = "yyyy-MM-dd HH:mm:ss.S";

private:
    struct Row {
        std::shared_ptr<LogFileAsset> asset;
        std::optional<UnloadedLogAsset> unloaded;
    };
    QString text(const Row& row, int column) const;
    // What a column sorts by: a number or a text; none when the row has no value there.
    QVariant sortKey(const Row& row, int column) const;
    void applySort();

    std::vector<std::shared_ptr<LogFileAsset>> assets_;
    std::vector<Row> rows_; // in the table's order
    std::unique_ptr<DateFormat> timeFormat_;
    int sortColumn_ = -1;
    Qt::SortOrder sortOrder_ = Qt::AscendingOrder;
};

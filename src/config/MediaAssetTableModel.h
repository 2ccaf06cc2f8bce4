#pragma once

#include "core/TimeZone.h"

#include <QAbstractTableModel>
#include <QList>
#include <QUrl>
#include <memory>
#include <optional>
#include <vector>

class DateFormat;
class MediaAsset;
class QMimeData;

// The photos and videos of one media group as table rows, in the order the user sorted them by, and
// dragged out as the assets' pasteboard entry plus their files.
class MediaAssetTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { FileName, Kind, StartTime, Duration, FileTimeZone, Offset, FileStartTime, ColumnCount };

    // The pasteboard type of dragged rows, and the key of its list of URLs.
    static constexpr const char* pasteboardType = "MediaAssetPasteBoard";
    static constexpr const char* assetUrlsKey = "assetUrls";
    // The sort key of a column ("FileName"), and the column of a key (-1 when none).
    static QString columnKey(int column);
    static int columnOfKey(const QString& key);
    // The property list written for dragged rows and read back; none for anything else.
    static QByteArray propertyList(const QList<QUrl>& urls);
    static std::optional<QList<QUrl>> urlsOfPropertyList(const QByteArray& data);

    explicit MediaAssetTableModel(QObject* parent = nullptr);
    ~MediaAssetTableModel() override;

    // Shows `assets` in the sort order in force; start times are read in `eventZone`.
    void setAssets(std::vector<std::shared_ptr<MediaAsset>> assets, const TimeZone& eventZone);
    const std::vector<std::shared_ptr<MediaAsset>>& sortedAssets() const { return assets_; }
    std::shared_ptr<MediaAsset> assetAt(int row) const;
    int rowOf(const std::shared_ptr<MediaAsset>& asset) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override;

private:
    QString text(const MediaAsset& asset, int column) const;
    void applySort();

    // In the document's order, and as shown.
    std::vector<std::shared_ptr<MediaAsset>> documentOrder_;
    std::vector<std::shared_ptr<MediaAsset>> assets_;
    TimeZone eventZone_;
    std::unique_ptr<DateFormat> eventTimeFormat_;
    std::unique_ptr<DateFormat> fileTimeFormat_;
    int sortColumn_ = StartTime;
    Qt::SortOrder sortOrder_ = Qt::AscendingOrder;
};

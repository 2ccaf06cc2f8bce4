#pragma once

#include <QAbstractTableModel>

class MetricsConfigViewController;
class QTableView;

// One of the three tables of the overlay configuration. Rows and texts come from the controller,
// which tells the tables apart; drags carry metric keys between them.
class MetricsConfigTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    static const QString mimeType;

    MetricsConfigTableModel(MetricsConfigViewController* controller, QTableView* table);

    // Reads the rows again.
    void reload();

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

private:
    MetricsConfigViewController* controller_;
    QTableView* table_;
};

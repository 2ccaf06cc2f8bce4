#pragma once

#include <QPointer>
#include <QStringList>
#include <QWidget>

class MetricsTableViewController;
class QListWidget;

// The chooser of a metrics table: its rows (added from the catalogue and the event's own columns,
// removed, reordered by dragging or with the arrows) and the boats it shows as columns. Every
// change reaches the table at once.
class MetricsTableConfigViewController : public QWidget {
    Q_OBJECT
public:
    MetricsTableConfigViewController(MetricsTableViewController* table, QWidget* parent = nullptr);

    QListWidget* rowsList() const { return rows_; }
    QListWidget* availableList() const { return available_; }
    QListWidget* boatsList() const { return boats_; }

    // Reads the table's rows and the document's boats and metrics anew.
    void reload();
    void addSelected();
    void removeSelected();
    void moveSelected(int delta);

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QStringList rowKeys() const;
    void setRows(const QStringList& keys, const QList<int>& selected);
    void apply();

    QPointer<MetricsTableViewController> table_;
    QListWidget* rows_;
    QListWidget* available_;
    QListWidget* boats_;
    QStringList availableKeys_;
    bool reloading_ = false;
};

#pragma once

#include "metrics/MetricPresentation.h"
#include "presentation/DocumentObservingViewController.h"

#include <QPointer>
#include <QStringList>
#include <memory>
#include <vector>

class Boat;
class QTableWidget;

// The selected metrics of every boat at the playback position: one column per boat, one row per
// metric, values in display units. The table's shape is built when the boats or the metric
// selection change; a playback tick only rewrites the cell texts.
class MetricsTableViewController : public DocumentObservingViewController {
    Q_OBJECT
public:
    explicit MetricsTableViewController(QWidget* parent = nullptr);
    ~MetricsTableViewController() override;

    // What the table shows when nothing is selected.
    static QStringList defaultMetrics();
    // Shown for a metric a boat has no value of at the position.
    static const QString noValueText;

    // Raw metric keys, in row order, and the full names of the boats shown as columns (empty for
    // every boat); an empty list of metrics gives the default metrics.
    void setDisplayedMetrics(const QStringList& metrics, const QStringList& boats = {});
    const QStringList& displayedMetrics() const { return displayedMetrics_; }
    const QStringList& displayedBoats() const { return displayedBoats_; }
    // The boats shown, in document order.
    const std::vector<std::shared_ptr<Boat>>& shownBoats() const { return boats_; }
    // The rows and boats chooser; opens it, or brings it forward when open.
    void openRowsConfig();
    QWidget* rowsConfig() const { return rowsConfig_; }

    QTableWidget* tableView() const { return table_; }
    // Rebuilds the rows and columns and reads every value anew.
    void refresh();

signals:
    // The user chose other rows or boats in the chooser.
    void rowsEdited();

protected:
    void viewDidAppear() override;
    void documentDidChange() override;
    void didUpdateAssets() override;
    void didUpdateBoats() override;
    void didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) override;

private:
    void rebuild();
    void updateBoatHeaders();
    void updateValues();

    QTableWidget* table_;
    QStringList displayedMetrics_;
    QStringList displayedBoats_;
    QPointer<QWidget> rowsConfig_;
    std::vector<MetricPresentation> rows_;
    std::vector<std::shared_ptr<Boat>> boats_;
    QList<QMetaObject::Connection> boatConnections_;
};

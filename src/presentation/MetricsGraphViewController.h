#pragma once

#include "presentation/DocumentObservingViewController.h"

#include <QStringList>
#include <memory>
#include <vector>

class Boat;
class MetricsGraphView;
class QMenu;
class QToolButton;

// The graph of a presentation window ("MetricsGraph"): chosen metrics of chosen boats around the
// playback position, with a chooser for both, and buttons that follow the position or show the
// whole race. The choices belong to the window, which saves them.
class MetricsGraphViewController : public DocumentObservingViewController {
    Q_OBJECT
public:
    explicit MetricsGraphViewController(QWidget* parent = nullptr);
    ~MetricsGraphViewController() override;

    // Shown while nothing is chosen.
    static QStringList defaultMetrics();

    // Raw metric keys in lane order; empty for the default ones.
    const QStringList& graphMetrics() const { return graphMetrics_; }
    void setGraphMetrics(const QStringList& metrics);
    // Boats by full name; empty for the default: the main and secondary boats when the document
    // has them, else every boat. Names of boats the document lacks are passed over; when none is
    // left, the default boats show.
    const QStringList& graphBoats() const { return graphBoats_; }
    void setGraphBoats(const QStringList& boats);

    // What the graph shows now, after the defaults and the document's boats are applied.
    const std::vector<std::shared_ptr<Boat>>& shownBoats() const { return shownBoats_; }
    QStringList shownMetrics() const;

    MetricsGraphView* graphView() const { return graph_; }
    // The whole race at the playback position (with its start sequence); without races the event.
    void showWholeRace();
    // Back to the window around the position.
    void followPosition();
    // The chooser: checkable boats and metrics, as the context menu and the toolbar show them.
    void fillChooser(QMenu& menu);

signals:
    // The chosen metrics or boats changed.
    void changed();

protected:
    void viewDidAppear() override;
    void documentDidChange() override;
    void didUpdateAssets() override;
    void didUpdateRaces() override;
    void didUpdateBoats() override;
    void didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) override;

private:
    void rebuild();
    void updateButtons();
    // The metrics the chooser offers: those the boats' logs hold, and those chosen.
    QStringList offeredMetrics() const;
    void toggleBoat(const std::shared_ptr<Boat>& boat, bool shown);
    void toggleMetric(const QString& key, bool shown);

    MetricsGraphView* graph_;
    QToolButton* followButton_;
    QToolButton* raceButton_;
    QToolButton* chooserButton_;
    QStringList graphMetrics_;
    QStringList graphBoats_;
    std::vector<std::shared_ptr<Boat>> shownBoats_;
    QList<QMetaObject::Connection> boatConnections_;
    bool wholeRace_ = false;
};

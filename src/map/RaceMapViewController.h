#pragma once

#include "metrics/BoatMetric.h"
#include "presentation/DocumentObservingViewController.h"

#include <QString>
#include <memory>
#include <vector>

class MapScene;
class MapView;
class QMenu;
class RaceMap;
class TrackColorLegend;

// The "RaceMap" view: the document's boats, tracks and race geometry on a map that follows the
// playback position. The logic lives in RaceMap; this view feeds it the document's changes and
// the track lengths from the settings, and shows its scene in a MapView.
class RaceMapViewController : public DocumentObservingViewController {
    Q_OBJECT
public:
    explicit RaceMapViewController(QWidget* parent = nullptr);
    ~RaceMapViewController() override;

    MapView* mapView() const { return mapView_; }
    MapScene& scene() const { return *scene_; }
    RaceMap& raceMap() const { return *raceMap_; }

    // Hands the map back to its own camera after the user zoomed: the zoom it last chose, the
    // camera on the main boat.
    void resetCamera();

    // The metric the boats' past tracks are coloured by, as its raw key; empty: each boat's own
    // colour. The window keeps it and hands it to the map view of a new layout.
    QString trackColorMetric() const;
    void setTrackColorMetric(const QString& rawKey);
    // The metrics the map's menu offers to colour tracks by.
    static std::vector<BoatMetric> trackColorMetrics();
    // Adds the "Colour Track By" submenu to the map's context menu.
    void addTrackColorMenu(QMenu* menu);
    TrackColorLegend* trackColorLegend() const { return legend_; }

signals:
    void trackColorMetricChanged(const QString& rawKey);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

    void documentDidChange() override;
    void didUpdateRaces() override;
    void didUpdateBoats() override;
    void didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) override;

private:
    void readTrackIntervals();
    void stopObservingDefaults();
    // The legend follows the race map's colour scale, which may change at any update.
    void updateLegend();

    std::unique_ptr<MapScene> scene_;
    std::unique_ptr<RaceMap> raceMap_;
    MapView* mapView_;
    TrackColorLegend* legend_;
    int defaultsObserver_ = -1;
};

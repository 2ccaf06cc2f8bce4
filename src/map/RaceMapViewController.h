#pragma once

#include "presentation/DocumentObservingViewController.h"

#include <memory>

class MapScene;
class MapView;
class RaceMap;

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

    std::unique_ptr<MapScene> scene_;
    std::unique_ptr<RaceMap> raceMap_;
    MapView* mapView_;
    int defaultsObserver_ = -1;
};

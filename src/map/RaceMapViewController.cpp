#include "map/RaceMapViewController.h"

#include "core/UserDefaults.h"
#include "document/Document.h"
#include "map/MapScene.h"
#include "map/MapView.h"
#include "map/RaceMap.h"
#include "map/TrackIntervals.h"

#include <QVBoxLayout>
#include <cmath>

RaceMapViewController::RaceMapViewController(QWidget* parent)
    : DocumentObservingViewController(parent), scene_(std::make_unique<MapScene>()),
      raceMap_(std::make_unique<RaceMap>(*scene_)), mapView_(new MapView(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(mapView_);
    mapView_->setScene(scene_.get());
    mapView_->setDelegate(raceMap_.get());
    connect(mapView_, &MapView::resetRequested, this, &RaceMapViewController::resetCamera);
}

RaceMapViewController::~RaceMapViewController() {
    stopObservingDefaults();
    // The view draws the scene and the logic fills it: the view goes first, the scene last.
    delete mapView_;
    raceMap_.reset();
    scene_.reset();
}

void RaceMapViewController::showEvent(QShowEvent* event) {
    DocumentObservingViewController::showEvent(event);
    readTrackIntervals();
    if (defaultsObserver_ < 0)
        defaultsObserver_ = UserDefaults::standard().observe([this](const QString& key) {
            if (key != TrackIntervals::pastKey && key != TrackIntervals::futureKey &&
                key != TrackIntervals::pastAuxKey && key != TrackIntervals::futureAuxKey)
                return;
            // Settings may change on another thread; the map is the main thread's.
            QMetaObject::invokeMethod(this, &RaceMapViewController::readTrackIntervals, Qt::AutoConnection);
        });
}

void RaceMapViewController::hideEvent(QHideEvent* event) {
    stopObservingDefaults();
    DocumentObservingViewController::hideEvent(event);
}

void RaceMapViewController::stopObservingDefaults() {
    if (defaultsObserver_ >= 0)
        UserDefaults::standard().stopObserving(defaultsObserver_);
    defaultsObserver_ = -1;
}

void RaceMapViewController::readTrackIntervals() {
    raceMap_->setTrackIntervals(TrackIntervals::read(UserDefaults::standard()));
}

void RaceMapViewController::documentDidChange() {
    raceMap_->setDocument(document());
}

void RaceMapViewController::didUpdateRaces() {
    raceMap_->racesChanged();
}

void RaceMapViewController::didUpdateBoats() {
    raceMap_->boatsChanged();
}

void RaceMapViewController::didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) {
    raceMap_->playbackPositionChanged(position, seeked);
}

void RaceMapViewController::resetCamera() {
    if (const auto level = raceMap_->lastZoomLevel())
        scene_->setMapPointsPerViewPoint(std::exp2(20 - *level));
    // A seek's update frames the main boat again, now that the zoom is the map's own.
    if (Document* d = document())
        raceMap_->playbackPositionChanged(d->eventPlaybackPosition(), true);
}

#include "map/RaceMapViewController.h"

#include "boatlog/BoatLog.h"
#include "boatlog/LogFileAsset.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/LoggedMetrics.h"
#include "map/MapScene.h"
#include "map/MapView.h"
#include "map/RaceMap.h"
#include "map/TrackColorLegend.h"
#include "map/TrackIntervals.h"
#include "metrics/MetricPresentation.h"

#include <QActionGroup>
#include <QMenu>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace {
// Clear of the scale bar (bottom left), the north arrow (top right) and the status line (top middle).
constexpr int legendMargin = 10;
} // namespace

RaceMapViewController::RaceMapViewController(QWidget* parent)
    : DocumentObservingViewController(parent), scene_(std::make_unique<MapScene>()),
      raceMap_(std::make_unique<RaceMap>(*scene_)), mapView_(new MapView(this)),
      legend_(new TrackColorLegend(mapView_)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(mapView_);
    mapView_->setScene(scene_.get());
    mapView_->setDelegate(raceMap_.get());
    connect(mapView_, &MapView::resetRequested, this, &RaceMapViewController::resetCamera);
    connect(mapView_, &MapView::contextMenuAboutToShow, this, &RaceMapViewController::addTrackColorMenu);
    legend_->move(legendMargin, legendMargin);
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
    updateLegend();
}

void RaceMapViewController::documentDidChange() {
    raceMap_->setDocument(document());
    updateLegend();
}

void RaceMapViewController::didUpdateRaces() {
    raceMap_->racesChanged();
    updateLegend();
}

void RaceMapViewController::didUpdateBoats() {
    raceMap_->boatsChanged();
    updateLegend();
}

void RaceMapViewController::didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) {
    raceMap_->playbackPositionChanged(position, seeked);
    updateLegend();
}

QString RaceMapViewController::trackColorMetric() const {
    const auto& metric = raceMap_->trackColorMetric();
    return metric ? QString::fromStdString(metric->rawKey()) : QString();
}

void RaceMapViewController::setTrackColorMetric(const QString& rawKey) {
    const QString key = rawKey.trimmed();
    std::optional<BoatMetric> metric;
    if (!key.isEmpty())
        metric = BoatMetric(key.toStdString());
    if (metric == raceMap_->trackColorMetric())
        return;
    raceMap_->setTrackColorMetric(metric);
    updateLegend();
    emit trackColorMetricChanged(trackColorMetric());
}

std::vector<BoatMetric> RaceMapViewController::trackColorMetrics() {
    using Case = BoatMetric::Case;
    return {Case::BoatSpeed,       Case::SOG, Case::VMG, Case::BoatSpeedPercOfTarget,
            Case::VMGPercOfTarget, Case::TWS, Case::TWA, Case::Heel};
}

void RaceMapViewController::addTrackColorMenu(QMenu* menu) {
    QMenu* submenu = menu->addMenu(tr("Colour Track By"));
    auto* choices = new QActionGroup(submenu);
    const QString current = trackColorMetric();
    auto addChoice = [&](const QString& title, const QString& key, bool enabled) {
        QAction* action = submenu->addAction(title);
        action->setCheckable(true);
        action->setChecked(key == current);
        action->setEnabled(enabled || key == current);
        action->setData(key);
        choices->addAction(action);
        connect(action, &QAction::triggered, this, [this, key] { setTrackColorMetric(key); });
    };
    addChoice(tr("Boat Colour"), QString(), true);
    submenu->addSeparator();

    // Metrics that no log of the document has are shown but cannot be chosen.
    const std::vector<BoatMetric> logged =
        document() ? loggedMetrics(*document()) : std::vector<BoatMetric>();
    std::vector<BoatMetric> offered = trackColorMetrics();
    if (const auto& chosen = raceMap_->trackColorMetric();
        chosen && std::find(offered.begin(), offered.end(), *chosen) == offered.end())
        offered.push_back(*chosen);
    for (const BoatMetric& metric : offered)
        addChoice(MetricPresentation(metric).name(), QString::fromStdString(metric.rawKey()),
                  std::find(logged.begin(), logged.end(), metric) != logged.end());
}

void RaceMapViewController::updateLegend() {
    legend_->setContent(document() ? raceMap_->trackColorMetric() : std::nullopt,
                        raceMap_->trackColorScale());
}

void RaceMapViewController::resetCamera() {
    if (const auto level = raceMap_->lastZoomLevel())
        scene_->setMapPointsPerViewPoint(std::exp2(20 - *level));
    // A seek's update frames the main boat again, now that the zoom is the map's own.
    if (Document* d = document())
        raceMap_->playbackPositionChanged(d->eventPlaybackPosition(), true);
}

#include "presentation/MetricsGraphViewController.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/LoggedMetrics.h"
#include "document/RaceAtPosition.h"
#include "metrics/BoatMetric.h"
#include "metrics/MetricPresentation.h"
#include "presentation/MetricsGraphView.h"
#include "race/Race.h"
#include "timeline/TimelineViewController.h"

#include <QHBoxLayout>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <set>

namespace {

using Case = BoatMetric::Case;

// Positions and clock readings make no sense as a line against time.
bool isGraphable(const BoatMetric& metric) {
    switch (metric.metricCase()) {
    case Case::Lat:
    case Case::Lon:
    case Case::LatBow:
    case Case::LonBow:
    case Case::LatCenter:
    case Case::LonCenter:
    case Case::LatStern:
    case Case::LonStern:
    case Case::MkLat:
    case Case::MkLon:
    case Case::Portlat:
    case Case::Portlon:
    case Case::Stbdlat:
    case Case::Stbdlon:
    case Case::TimeLocal:
    case Case::TimeUTC:
        return false;
    default:
        return true;
    }
}

int displayRank(const Boat& boat) {
    switch (boat.displayMode()) {
    case Boat::DisplayMode::Main:
        return 0;
    case Boat::DisplayMode::Secondary:
        return 1;
    case Boat::DisplayMode::Other:
        break;
    }
    return 2;
}

} // namespace

MetricsGraphViewController::MetricsGraphViewController(QWidget* parent)
    : DocumentObservingViewController(parent), graph_(new MetricsGraphView(this)),
      followButton_(new QToolButton(this)), raceButton_(new QToolButton(this)),
      chooserButton_(new QToolButton(this)) {
    setObjectName("MetricsGraph");

    followButton_->setText(tr("Follow Position"));
    followButton_->setToolTip(tr("A window around the playback position; the mouse wheel zooms"));
    followButton_->setCheckable(true);
    raceButton_->setText(tr("Whole Race"));
    raceButton_->setToolTip(tr("The whole race at the playback position; without races, the whole event"));
    raceButton_->setCheckable(true);
    chooserButton_->setText(tr("Metrics and Boats"));
    chooserButton_->setPopupMode(QToolButton::InstantPopup);
    auto* chooser = new QMenu(chooserButton_);
    chooserButton_->setMenu(chooser);
    connect(chooser, &QMenu::aboutToShow, this, [this, chooser] { fillChooser(*chooser); });
    // The controls take keyboard focus only by Tab, so that the playback keys keep working.
    for (QToolButton* button : {followButton_, raceButton_, chooserButton_})
        button->setFocusPolicy(Qt::TabFocus);
    connect(followButton_, &QToolButton::clicked, this, [this] { followPosition(); });
    connect(raceButton_, &QToolButton::clicked, this, [this] { showWholeRace(); });

    graph_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(graph_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QMenu menu;
        fillChooser(menu);
        menu.exec(graph_->mapToGlobal(at));
    });
    connect(graph_, &MetricsGraphView::windowChanged, this, [this] {
        if (graph_->isFollowing())
            wholeRace_ = false;
        updateButtons();
    });

    auto* controls = new QHBoxLayout;
    controls->setContentsMargins(6, 3, 6, 3);
    controls->setSpacing(4);
    controls->addWidget(followButton_);
    controls->addWidget(raceButton_);
    controls->addStretch(1);
    controls->addWidget(chooserButton_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(controls);
    layout->addWidget(graph_, 1);
    rebuild();
    updateButtons();
}

MetricsGraphViewController::~MetricsGraphViewController() = default;

QStringList MetricsGraphViewController::defaultMetrics() {
    return {"BoatSpeed", "TWA"};
}

void MetricsGraphViewController::setGraphMetrics(const QStringList& metrics) {
    if (metrics == graphMetrics_)
        return;
    graphMetrics_ = metrics;
    rebuild();
    emit changed();
}

void MetricsGraphViewController::setGraphBoats(const QStringList& boats) {
    if (boats == graphBoats_)
        return;
    graphBoats_ = boats;
    rebuild();
    emit changed();
}

QStringList MetricsGraphViewController::shownMetrics() const {
    return graphMetrics_.isEmpty() ? defaultMetrics() : graphMetrics_;
}

void MetricsGraphViewController::showWholeRace() {
    Document* d = document();
    std::optional<Instant> at = d ? d->eventPlaybackPosition() : std::nullopt;
    if (d && !at)
        at = d->eventStartTime();
    std::optional<std::pair<Instant, Instant>> range;
    if (at) {
        if (auto race = raceAtPosition(d->races(), *at)) {
            // The same lead-in and run-out as the timeline's race focus, so both show the same race.
            const Instant finish = std::max(race->bestGuessFinishTime(), race->time());
            range = std::pair{race->time() - TimelineViewController::raceLeadIn,
                              finish + TimelineViewController::raceRunOut};
        } else if (auto start = d->eventStartTime(), end = d->eventEndTime(); start && end && *end > *start) {
            range = std::pair{*start, *end};
        }
    }
    if (range) {
        wholeRace_ = true;
        graph_->showRange(range->first, range->second);
    }
    updateButtons();
}

void MetricsGraphViewController::followPosition() {
    // Pressed again while following, it brings back the standard window.
    const double halfWidth = graph_->isFollowing() ? MetricsGraphView::defaultHalfWidth : graph_->halfWidth();
    wholeRace_ = false;
    graph_->follow(halfWidth);
    updateButtons();
}

void MetricsGraphViewController::updateButtons() {
    followButton_->setChecked(graph_->isFollowing());
    raceButton_->setChecked(!graph_->isFollowing() && wholeRace_);
}

void MetricsGraphViewController::viewDidAppear() {
    DocumentObservingViewController::viewDidAppear();
    // Nothing was heard while hidden.
    rebuild();
    graph_->reload();
    graph_->setPlaybackTime(document() ? document()->eventPlaybackPosition() : std::nullopt);
}

void MetricsGraphViewController::documentDidChange() {
    graph_->setDocument(document());
    rebuild();
    graph_->setPlaybackTime(document() ? document()->eventPlaybackPosition() : std::nullopt);
}

void MetricsGraphViewController::didUpdateAssets() {
    // Logs may have come, gone or moved in time.
    graph_->reload();
}

void MetricsGraphViewController::didUpdateRaces() {
    graph_->reload();
}

void MetricsGraphViewController::didUpdateBoats() {
    rebuild();
    graph_->reload();
}

void MetricsGraphViewController::didUpdatePlaybackPosition(std::optional<Instant> position, bool) {
    graph_->setPlaybackTime(position);
    // A whole-race window moves on to the race of a position outside it.
    if (wholeRace_ && position && !graph_->isFollowing()) {
        auto shown = graph_->window();
        if (shown && (*position < shown->first || *position > shown->second)) {
            showWholeRace();
            if (auto now = graph_->window(); !now || *position < now->first || *position > now->second)
                followPosition();
        }
    }
}

void MetricsGraphViewController::rebuild() {
    for (const auto& connection : boatConnections_)
        disconnect(connection);
    boatConnections_.clear();

    std::vector<std::shared_ptr<Boat>> boats;
    if (Document* d = document()) {
        for (const auto& boat : d->boats())
            if (boat && graphBoats_.contains(boat->fullName()))
                boats.push_back(boat);
        if (boats.empty()) {
            for (const auto& boat : d->boats())
                if (boat && boat->displayMode() != Boat::DisplayMode::Other)
                    boats.push_back(boat);
            if (boats.empty())
                boats = d->boats();
        }
        // The main boat first: its tags win the room by the position line, its line lies on top.
        std::stable_sort(boats.begin(), boats.end(),
                         [](const auto& a, const auto& b) { return displayRank(*a) < displayRank(*b); });
        for (const auto& boat : d->boats()) {
            boatConnections_.append(
                connect(boat.get(), &Boat::colorChanged, this, [this] { graph_->reload(); }));
            boatConnections_.append(
                connect(boat.get(), &Boat::shortNameChanged, this, [this] { graph_->reload(); }));
            boatConnections_.append(
                connect(boat.get(), &Boat::displayModeChanged, this, [this] { rebuild(); }));
            // A renamed boat stays chosen under its new name.
            boatConnections_.append(connect(boat.get(), &Boat::fullNameChanged, this, [this] {
                if (graphBoats_.isEmpty())
                    return;
                QStringList names;
                for (const auto& shown : shownBoats_)
                    names.append(shown->fullName());
                setGraphBoats(names);
            }));
        }
    }
    shownBoats_ = boats;
    graph_->setBoats(std::move(boats));

    std::vector<MetricPresentation> metrics;
    for (const QString& key : shownMetrics())
        metrics.emplace_back(BoatMetric(key.toStdString()));
    graph_->setMetrics(std::move(metrics));
    graph_->updateGeometry();
}

QStringList MetricsGraphViewController::offeredMetrics() const {
    QStringList keys;
    if (Document* d = document())
        for (const BoatMetric& metric : loggedMetrics(*d))
            if (isGraphable(metric))
                keys.append(QString::fromStdString(metric.rawKey()));
    for (const QString& key : shownMetrics())
        if (!keys.contains(key))
            keys.append(key);
    return keys;
}

void MetricsGraphViewController::fillChooser(QMenu& menu) {
    menu.clear();
    menu.addSection(tr("Boats"));
    if (Document* d = document()) {
        for (const auto& boat : d->boats()) {
            auto* action = menu.addAction(boat->fullName());
            action->setCheckable(true);
            const bool shown = std::find(shownBoats_.begin(), shownBoats_.end(), boat) != shownBoats_.end();
            action->setChecked(shown);
            // The graph keeps at least one boat.
            action->setEnabled(!(shown && shownBoats_.size() == 1));
            connect(action, &QAction::triggered, this, [this, boat](bool on) { toggleBoat(boat, on); });
        }
    }
    auto* defaultBoats = menu.addAction(tr("Main and Secondary Boats"), this, [this] { setGraphBoats({}); });
    defaultBoats->setEnabled(!graphBoats_.isEmpty());

    menu.addSection(tr("Metrics"));
    const QStringList shown = shownMetrics();
    for (const QString& key : offeredMetrics()) {
        auto* action = menu.addAction(MetricPresentation(BoatMetric(key.toStdString())).title());
        action->setCheckable(true);
        action->setChecked(shown.contains(key));
        action->setEnabled(!(shown.contains(key) && shown.size() == 1));
        connect(action, &QAction::triggered, this, [this, key](bool on) { toggleMetric(key, on); });
    }
    auto* defaults = menu.addAction(tr("Default Metrics"), this, [this] { setGraphMetrics({}); });
    defaults->setEnabled(!graphMetrics_.isEmpty());
}

void MetricsGraphViewController::toggleBoat(const std::shared_ptr<Boat>& boat, bool shown) {
    Document* d = document();
    if (!d || !boat)
        return;
    QStringList names;
    for (const auto& candidate : d->boats()) {
        const bool isShown =
            std::find(shownBoats_.begin(), shownBoats_.end(), candidate) != shownBoats_.end();
        if (candidate == boat ? shown : isShown)
            names.append(candidate->fullName());
    }
    if (!names.isEmpty())
        setGraphBoats(names);
}

void MetricsGraphViewController::toggleMetric(const QString& key, bool shown) {
    QStringList metrics = shownMetrics();
    if (shown && !metrics.contains(key))
        metrics.append(key);
    else if (!shown)
        metrics.removeAll(key);
    if (!metrics.isEmpty())
        setGraphMetrics(metrics);
}

#include "app/StandardViews.h"

#include "map/RaceMapViewController.h"
#include "presentation/MetricsGraphViewController.h"
#include "presentation/MetricsTableViewController.h"
#include "presentation/VideoPlaybackViewController.h"
#include "presentation/ViewFactory.h"
#include "timeline/TimelineViewController.h"

void StandardViews::registerAll() {
    ViewFactory::registerView(QStringLiteral("VideoPlayback"),
                              [](QWidget* parent) { return new VideoPlaybackViewController(parent); });
    ViewFactory::registerView(QStringLiteral("MetricsTable"),
                              [](QWidget* parent) { return new MetricsTableViewController(parent); });
    ViewFactory::registerView(QStringLiteral("TimelineView"),
                              [](QWidget* parent) { return new TimelineViewController(parent); });
    ViewFactory::registerView(QStringLiteral("RaceMap"),
                              [](QWidget* parent) { return new RaceMapViewController(parent); });
    ViewFactory::registerView(QStringLiteral("MetricsGraph"),
                              [](QWidget* parent) { return new MetricsGraphViewController(parent); });
}

#include "presentation/MetricsGraphWindowState.h"

#include "presentation/MetricsGraphViewController.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/StateRecordValues.h"

#include <algorithm>

using StateRecordValues::isTextList;

namespace {

const QString metricsKey = QStringLiteral("graphMetrics");
const QString boatsKey = QStringLiteral("graphBoats");

// Copies first: the graph reports each change back into the window's state as it is made.
void hand(MetricsGraphViewController& graph, const MetricsGraphWindowState& choices) {
    const QStringList metrics = choices.metrics;
    const QStringList boats = choices.boats;
    graph.setGraphMetrics(metrics);
    graph.setGraphBoats(boats);
}

} // namespace

MetricsGraphWindowState& MetricsGraphWindowState::of(PresentationWindowController& window) {
    if (auto* state = window.findChild<MetricsGraphWindowState*>(QString(), Qt::FindDirectChildrenOnly))
        return *state;
    return *new MetricsGraphWindowState(&window);
}

void MetricsGraphWindowState::restore(PresentationWindowController& window, const QVariantMap& state) {
    MetricsGraphWindowState& choices = of(window);
    if (auto metrics = state.value(metricsKey); isTextList(metrics))
        choices.metrics = metrics.toStringList();
    if (auto boats = state.value(boatsKey); isTextList(boats))
        choices.boats = boats.toStringList();
    if (auto* graph = window.rootView<MetricsGraphViewController>())
        hand(*graph, choices);
}

void MetricsGraphWindowState::record(const PresentationWindowController& window, QVariantMap& state) {
    QStringList metrics, boats;
    if (auto* graph = window.rootView<MetricsGraphViewController>()) {
        metrics = graph->graphMetrics();
        boats = graph->graphBoats();
    } else if (auto* choices =
                   window.findChild<MetricsGraphWindowState*>(QString(), Qt::FindDirectChildrenOnly)) {
        metrics = choices->metrics;
        boats = choices->boats;
    }
    state.insert(metricsKey, metrics);
    state.insert(boatsKey, boats);
}

void MetricsGraphWindowState::attach(PresentationWindowController& window) {
    auto* graph = window.rootView<MetricsGraphViewController>();
    if (!graph)
        return;
    MetricsGraphWindowState& choices = of(window);
    hand(*graph, choices);
    connect(graph, &MetricsGraphViewController::changed, &choices, [&choices, graph] {
        choices.metrics = graph->graphMetrics();
        choices.boats = graph->graphBoats();
    });
}

#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantMap>

class PresentationWindowController;

// The graph's choices of metrics and boats belong to its presentation window: they outlive a
// layout without a graph, come back with the window's saved state ("graphMetrics", "graphBoats")
// and are written into it. Kept as a child of the window.
class MetricsGraphWindowState : public QObject {
    Q_OBJECT
public:
    // Raw metric keys and boats' full names; empty lists stand for the graph's defaults.
    QStringList metrics;
    QStringList boats;

    // The window's state, made on first use.
    static MetricsGraphWindowState& of(PresentationWindowController& window);
    // Reads both keys, each ignored when missing or not a list of texts, and hands them to the
    // window's graph, if it has one.
    static void restore(PresentationWindowController& window, const QVariantMap& state);
    static void record(const PresentationWindowController& window, QVariantMap& state);
    // Gives the graph of the window's current layout the window's choices and keeps them in step
    // with the graph's.
    static void attach(PresentationWindowController& window);

private:
    explicit MetricsGraphWindowState(QObject* parent) : QObject(parent) {}
};

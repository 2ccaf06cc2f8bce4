#pragma once

#include <QString>
#include <functional>

class DocumentObservingViewController;
class QWidget;

// Makes the child views of presentation windows by their identifier ("VideoPlayback",
// "MetricsTable", "TimelineView", "RaceMap", "MetricsGraph").
class ViewFactory {
public:
    using Constructor = std::function<DocumentObservingViewController*(QWidget* parent)>;

    // An unknown identifier is a programming error.
    static DocumentObservingViewController* make(const QString& identifier, QWidget* parent);
    // Tests put their own views in place of the standard ones.
    static void registerView(const QString& identifier, Constructor constructor);
};

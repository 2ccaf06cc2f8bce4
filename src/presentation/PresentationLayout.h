#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// The arrangements of a presentation window; the raw value is the case name.
enum class PresentationLayout {
    video,
    metrics,
    videoTimeline,
    videoMapTimeline,
    mapTimeline,
    videoGraphTimeline,
    mapGraphTimeline
};

QString presentationLayoutText(PresentationLayout layout);
std::optional<PresentationLayout> presentationLayoutFromText(const QString& text);
// The child views of a layout, by view identifier, in the order they are placed.
QStringList presentationLayoutViews(PresentationLayout layout);
// The menu title of a layout.
QString presentationLayoutTitle(PresentationLayout layout);

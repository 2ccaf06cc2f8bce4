#include "presentation/PresentationLayout.h"

#include <array>

namespace {
constexpr std::array allLayouts{PresentationLayout::video,           PresentationLayout::metrics,
                                PresentationLayout::videoTimeline,   PresentationLayout::videoMapTimeline,
                                PresentationLayout::mapTimeline,     PresentationLayout::videoGraphTimeline,
                                PresentationLayout::mapGraphTimeline};
}

QString presentationLayoutText(PresentationLayout layout) {
    switch (layout) {
    case PresentationLayout::video:
        return QStringLiteral("video");
    case PresentationLayout::metrics:
        return QStringLiteral("metrics");
    case PresentationLayout::videoTimeline:
        return QStringLiteral("videoTimeline");
    case PresentationLayout::videoMapTimeline:
        return QStringLiteral("videoMapTimeline");
    case PresentationLayout::mapTimeline:
        return QStringLiteral("mapTimeline");
    case PresentationLayout::videoGraphTimeline:
        return QStringLiteral("videoGraphTimeline");
    case PresentationLayout::mapGraphTimeline:
        return QStringLiteral("mapGraphTimeline");
    }
    return {};
}

std::optional<PresentationLayout> presentationLayoutFromText(const QString& text) {
    for (PresentationLayout layout : allLayouts)
        if (presentationLayoutText(layout) == text)
            return layout;
    return std::nullopt;
}

QStringList presentationLayoutViews(PresentationLayout layout) {
    switch (layout) {
    case PresentationLayout::video:
        return {QStringLiteral("VideoPlayback")};
    case PresentationLayout::metrics:
        return {QStringLiteral("MetricsTable")};
    case PresentationLayout::videoTimeline:
        return {QStringLiteral("VideoPlayback"), QStringLiteral("TimelineView")};
    case PresentationLayout::videoMapTimeline:
        return {QStringLiteral("VideoPlayback"), QStringLiteral("RaceMap"), QStringLiteral("TimelineView")};
    case PresentationLayout::mapTimeline:
        return {QStringLiteral("RaceMap"), QStringLiteral("TimelineView")};
    case PresentationLayout::videoGraphTimeline:
        return {QStringLiteral("VideoPlayback"), QStringLiteral("MetricsGraph"),
                QStringLiteral("TimelineView")};
    case PresentationLayout::mapGraphTimeline:
        return {QStringLiteral("RaceMap"), QStringLiteral("MetricsGraph"), QStringLiteral("TimelineView")};
    }
    return {};
}

QString presentationLayoutTitle(PresentationLayout layout) {
    switch (layout) {
    case PresentationLayout::video:
        return QStringLiteral("Video");
    case PresentationLayout::metrics:
        return QStringLiteral("Metrics");
    case PresentationLayout::videoTimeline:
        return QStringLiteral("Video and Timeline");
    case PresentationLayout::videoMapTimeline:
        return QStringLiteral("Video, Map and Timeline");
    case PresentationLayout::mapTimeline:
        return QStringLiteral("Map and Timeline");
    case PresentationLayout::videoGraphTimeline:
        return QStringLiteral("Video, Graph and Timeline");
    case PresentationLayout::mapGraphTimeline:
        return QStringLiteral("Map, Graph and Timeline");
    }
    return {};
}

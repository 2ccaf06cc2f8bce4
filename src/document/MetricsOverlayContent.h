#pragma once

#include "core/Instant.h"
#include "core/RgbColor.h"
#include "metrics/MetricPresentation.h"

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

class Document;

// What the metric overlays over a photo or video say at a moment: the after-gun list once the
// race at the position has started (and when there is no race), the before-gun list before its
// gun; each row for the main boat, with the secondary boat's value beside it when there is one.
class MetricsOverlayContent {
public:
    struct Row {
        QString name;
        QString unit;
        QString value;
        // Empty without a secondary boat.
        QString secondaryValue;
        bool operator==(const Row&) const = default;
    };
    struct BoatLabel {
        QString name;
        RgbColor color;
        bool operator==(const BoatLabel&) const = default;
    };
    struct Content {
        bool beforeGun = false;
        std::optional<BoatLabel> mainBoat;
        std::optional<BoatLabel> secondaryBoat;
        std::vector<Row> rows;
        bool operator==(const Content&) const = default;
    };

    // What a new window shows: the start before the gun, speed and angles after it.
    static QStringList defaultMetrics();
    static QStringList defaultMetricsBeforeGun();

    MetricsOverlayContent();
    void setMetrics(const QStringList& metrics, const QStringList& beforeGun);

    // The rows at `position`; every value is "—" without a position or a log covering it. No rows
    // when the main boat (else the first) has no log.
    Content at(const Document& document, std::optional<Instant> position) const;

private:
    std::vector<MetricPresentation> metrics_;
    std::vector<MetricPresentation> beforeGun_;
};

#pragma once

#include "core/Measurement.h"
#include "metrics/BoatMetric.h"

#include <QString>
#include <memory>
#include <optional>

class Formatter;

// How one metric is shown on screen, the same in the overlays, the metrics table and the graphs:
// a short name, the unit its values are converted to, and a formatter with a fixed number of
// decimals, so that a column of changing values does not jitter.
class MetricPresentation {
public:
    explicit MetricPresentation(BoatMetric metric);

    // Shown for a metric that has no value at the position.
    static const QString noValueText;

    const BoatMetric& metric() const { return metric_; }
    // "BSP", "Time to gun", or the raw key of a metric without a name of its own.
    const QString& name() const { return name_; }
    // The display unit's symbol ("kn", "°", "m"); empty for plain numbers and for durations and
    // percentages, whose texts carry their own.
    const QString& unitSymbol() const { return unitSymbol_; }
    // The name with the unit in brackets, for a heading: "BSP (kn)".
    QString title() const;
    const Unit& displayUnit() const { return *displayUnit_; }
    // A compass direction: shown in 0…359, so that 359.7 reads 0 rather than 360.
    bool isDirection() const { return isDirection_; }

    // The value in the display unit; none when absent or of another dimension.
    std::optional<double> displayValue(const std::optional<Measurement>& measurement) const;
    // The display text of a value; noValueText when there is none.
    QString text(const std::optional<Measurement>& measurement) const;
    // The display text of a number already in the display unit.
    QString text(double displayValue) const;

private:
    BoatMetric metric_;
    QString name_;
    QString unitSymbol_;
    const Unit* displayUnit_;
    std::shared_ptr<const Formatter> formatter_;
    bool isDirection_ = false;
};

#pragma once

#include "metrics/BoatMetric.h"
#include "metrics/TimeIntervalFormatter.h"

#include <memory>

// A metric value in seconds shown as a time interval ("-00:01:15").
class BoatMetric::DurationFormatter : public Formatter {
public:
    explicit DurationFormatter(std::shared_ptr<const TimeIntervalFormatter> base) : base(std::move(base)) {}

    std::shared_ptr<const TimeIntervalFormatter> base;

    QString string(const QVariant& value) const override;
};

#pragma once

#include "metrics/BoatMetric.h"
#include "metrics/NumberFormatter.h"

#include <memory>

// Shows angles above 180 as their negative counterpart (190 → −170), so that port angles read
// as negative; the number itself is formatted by `base`.
class BoatMetric::ZeroBasedAngleFormatter : public Formatter {
public:
    explicit ZeroBasedAngleFormatter(std::shared_ptr<const NumberFormatter> base) : base(std::move(base)) {}

    std::shared_ptr<const NumberFormatter> base;

    QString string(const QVariant& value) const override;
};

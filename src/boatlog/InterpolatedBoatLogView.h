#pragma once

#include "boatlog/BoatLog.h"

// A blend of two neighbouring records: `leftWeight` of the left record and the rest of the right
// one, with the metric's own blend rule (the short way round for wind and heading angles).
class InterpolatedBoatLogView {
public:
    InterpolatedBoatLogView(const BoatLog& log, BoatLogIndex leftIndex, BoatLogIndex rightIndex,
                            double leftWeight)
        : log_(&log), leftIndex_(leftIndex), rightIndex_(rightIndex), leftWeight_(leftWeight) {}

    const BoatLog& log() const { return *log_; }
    BoatLogIndex index() const { return leftIndex_; }
    BoatLogIndex leftIndex() const { return leftIndex_; }
    BoatLogIndex rightIndex() const { return rightIndex_; }
    double leftWeight() const { return leftWeight_; }
    Instant time() const { return rightIndex_.time + leftWeight_ * (leftIndex_.time - rightIndex_.time); }

    std::optional<Measurement> value(const BoatMetric& metric) const {
        auto left = log_->value(leftIndex_, metric);
        if (!left)
            return std::nullopt;
        auto right = log_->value(rightIndex_, metric);
        if (!right)
            return std::nullopt;
        return metric.blend(*left, *right, leftWeight_);
    }

private:
    const BoatLog* log_;
    BoatLogIndex leftIndex_;
    BoatLogIndex rightIndex_;
    double leftWeight_;
};

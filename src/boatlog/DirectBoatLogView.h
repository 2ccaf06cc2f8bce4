#pragma once

#include "boatlog/BoatLog.h"

// The values of one record as they stand. Borrows the log: views are made per tick and for one
// drawing, and never outlive the log asset that owns the log.
class DirectBoatLogView {
public:
    DirectBoatLogView(const BoatLog& log, BoatLogIndex index) : log_(&log), index_(index) {}

    const BoatLog& log() const { return *log_; }
    BoatLogIndex index() const { return index_; }
    Instant time() const { return index_.time; }
    std::optional<Measurement> value(const BoatMetric& metric) const { return log_->value(index_, metric); }

private:
    const BoatLog* log_;
    BoatLogIndex index_;
};

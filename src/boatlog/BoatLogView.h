#pragma once

#include "boatlog/DirectBoatLogView.h"
#include "boatlog/InterpolatedBoatLogView.h"

#include <variant>

// The boat's state at one instant: a direct or an interpolated view. A value type without
// allocation, since every boat gets one on every playback tick.
class BoatLogView {
public:
    BoatLogView(DirectBoatLogView view) : view_(view) {}
    BoatLogView(InterpolatedBoatLogView view) : view_(view) {}

    const BoatLog& log() const {
        return std::visit([](const auto& v) -> const BoatLog& { return v.log(); }, view_);
    }
    BoatLogIndex index() const {
        return std::visit([](const auto& v) { return v.index(); }, view_);
    }
    Instant time() const {
        return std::visit([](const auto& v) { return v.time(); }, view_);
    }
    std::optional<Measurement> value(const BoatMetric& metric) const {
        return std::visit([&](const auto& v) { return v.value(metric); }, view_);
    }

    const DirectBoatLogView* direct() const { return std::get_if<DirectBoatLogView>(&view_); }
    const InterpolatedBoatLogView* interpolated() const {
        return std::get_if<InterpolatedBoatLogView>(&view_);
    }

private:
    std::variant<DirectBoatLogView, InterpolatedBoatLogView> view_;
};

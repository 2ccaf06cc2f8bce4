#pragma once

#include "boatlog/BoatLogView.h"
#include "core/Instant.h"

#include <memory>
#include <optional>

class Boat;
class Document;

// A boat's logs seen as one: what every view that shows numbers reads at an instant.
struct BoatLogLookup {
    // The boat's state at `t` from the first of its logs that covers it, blended between records.
    static std::optional<BoatLogView> view(const Document& document, const std::shared_ptr<Boat>& boat,
                                           Instant t);
};

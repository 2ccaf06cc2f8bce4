#pragma once

#include "core/Instant.h"

#include <optional>
#include <string>

class Document;

// Turns the races, events and legs that the main boat's logs carry into the document's races,
// legs, tacks and gybes. Runs at the end of opening a document.
class LegDerivation {
public:
    // Legs shorter than this are manoeuvres, not legs.
    static constexpr double minimumLegDuration = 60.0;

    static void apply(Document& document);
    // A metadata time: "yyyy-MM-dd'T'HH:mm:ss.SZ" when it has a fraction, the same without one
    // otherwise. None when it does not parse.
    static std::optional<Instant> parseTime(const std::string& text);
};

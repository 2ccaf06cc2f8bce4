#pragma once

#include "core/Instant.h"
#include "document/MetricSeries.h"
#include "metrics/MetricPresentation.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

class Boat;
class BoatLog;
class Document;

// The series a graph shows, one per metric and boat, read for a span wider than the graph's
// window. A playing graph slides over data it already holds; once its window has moved a quarter
// of the margin, the span moves after it and only the seconds new to it are read, so that no
// tick of playback pays for a whole read. What it shows changing (boats, metrics, logs, column
// width) reads anew.
class MetricSeriesSet {
public:
    enum class Change {
        none, // the span still holds the window
        slid, // the span moved at the same column width: the columns both spans hold are unchanged
        read, // read anew
    };

    struct Lane {
        MetricPresentation presentation;
        std::vector<MetricSeries> series; // one per boat, in the order given
        // The lowest and highest value of the lane's series over the whole span; none without data.
        std::optional<std::pair<double, double>> valueRange;
    };

    // Makes the set hold the window [start, end] at `columnSeconds` per column, in a span of the
    // window widened by `margin` seconds on each side.
    Change update(const Document& document, const std::vector<std::shared_ptr<Boat>>& boats,
                  const std::vector<MetricPresentation>& metrics, Instant start, Instant end,
                  double columnSeconds, double margin);
    // The next update reads anew: the logs' times or contents changed.
    void invalidate() { valid_ = false; }

    bool isValid() const { return valid_; }
    Instant spanStart() const { return spanStart_; }
    Instant spanEnd() const { return spanEnd_; }
    double columnSeconds() const { return columnSeconds_; }
    const std::vector<Lane>& lanes() const { return lanes_; }
    // Counts the changes, so that a drawing made of an earlier state can tell it is stale.
    std::uint64_t generation() const { return generation_; }

    // A boat's logs in the order the document lists them, as BoatLogLookup consults them.
    static std::vector<const BoatLog*> logsOf(const Document& document, const std::shared_ptr<Boat>& boat);

private:
    bool valid_ = false;
    Instant spanStart_;
    Instant spanEnd_;
    double columnSeconds_ = 0.0;
    std::vector<const Boat*> boats_;
    std::vector<std::vector<const BoatLog*>> logs_;
    std::vector<BoatMetric> metrics_;
    std::vector<Lane> lanes_;
    std::uint64_t generation_ = 0;
};

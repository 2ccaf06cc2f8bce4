#include "document/MetricSeriesSet.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"

#include <algorithm>
#include <cmath>

namespace {

// The lowest and highest value of all the lane's series.
void updateValueRange(MetricSeriesSet::Lane& lane) {
    lane.valueRange.reset();
    for (const MetricSeries& series : lane.series) {
        if (auto range = series.valueRange()) {
            if (!lane.valueRange)
                lane.valueRange = range;
            lane.valueRange->first = std::min(lane.valueRange->first, range->first);
            lane.valueRange->second = std::max(lane.valueRange->second, range->second);
        }
    }
}

} // namespace

std::vector<const BoatLog*> MetricSeriesSet::logsOf(const Document& document,
                                                    const std::shared_ptr<Boat>& boat) {
    std::vector<const BoatLog*> logs;
    if (!boat)
        return logs;
    for (const auto& asset : document.logAssets(boat))
        if (asset && asset->boatLog())
            logs.push_back(asset->boatLog().get());
    return logs;
}

MetricSeriesSet::Change MetricSeriesSet::update(const Document& document,
                                                const std::vector<std::shared_ptr<Boat>>& boats,
                                                const std::vector<MetricPresentation>& metrics, Instant start,
                                                Instant end, double columnSeconds, double margin) {
    std::vector<const Boat*> boatKeys;
    std::vector<std::vector<const BoatLog*>> logs;
    for (const auto& boat : boats) {
        boatKeys.push_back(boat.get());
        logs.push_back(logsOf(document, boat));
    }
    std::vector<BoatMetric> metricKeys;
    for (const auto& presentation : metrics)
        metricKeys.push_back(presentation.metric());

    margin = std::max(0.0, margin);
    const Instant wantedStart = start - margin;
    const Instant wantedEnd = end + margin;
    const bool sameChoice = valid_ && columnSeconds == columnSeconds_ && boatKeys == boats_ &&
                            logs == logs_ && metricKeys == metrics_;
    if (sameChoice) {
        // Small moves leave the span where it is: each move costs a copy of what is kept.
        const double slack = margin / 4.0;
        if (start >= spanStart_ && end <= spanEnd_ && std::abs(wantedStart - spanStart_) <= slack &&
            std::abs(wantedEnd - spanEnd_) <= slack)
            return Change::none;
        for (std::size_t m = 0; m < lanes_.size(); ++m) {
            Lane& lane = lanes_[m];
            for (std::size_t b = 0; b < lane.series.size(); ++b)
                lane.series[b].slide(spanStart_, spanEnd_, logs_[b], lane.presentation, wantedStart,
                                     wantedEnd, columnSeconds);
            updateValueRange(lane);
        }
        spanStart_ = wantedStart;
        spanEnd_ = wantedEnd;
        ++generation_;
        return Change::slid;
    }

    valid_ = true;
    spanStart_ = wantedStart;
    spanEnd_ = wantedEnd;
    columnSeconds_ = columnSeconds;
    boats_ = std::move(boatKeys);
    logs_ = std::move(logs);
    metrics_ = std::move(metricKeys);
    lanes_.clear();
    lanes_.reserve(metrics.size());
    for (const auto& presentation : metrics) {
        Lane lane{presentation, {}, std::nullopt};
        lane.series.reserve(logs_.size());
        for (const auto& boatLogs : logs_)
            lane.series.push_back(
                MetricSeries::read(boatLogs, presentation, spanStart_, spanEnd_, columnSeconds));
        updateValueRange(lane);
        lanes_.push_back(std::move(lane));
    }
    ++generation_;
    return Change::read;
}

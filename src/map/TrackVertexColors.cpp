#include "map/TrackVertexColors.h"

#include "boatlog/BoatLog.h"
#include "map/BoatLogReading.h"
#include "map/TrackColorMap.h"
#include "map/TrackColorScale.h"

#include <algorithm>
#include <cstdlib>

void TrackVertexColors::cover(const BoatLog& log, const std::shared_ptr<const TrackColorScale>& scale,
                              const BoatLogIndex& first, const BoatLogIndex& last) {
    if (log_ != &log || scale_ != scale)
        reset();
    log_ = &log;
    scale_ = scale;
    if (!scale || last.index < first.index) {
        levels_.clear();
        firstRecord_ = first.index;
        return;
    }
    const std::int64_t known = static_cast<std::int64_t>(levels_.size());
    const std::int64_t knownLast = firstRecord_ + known - 1;
    if (known == 0 || last.index < firstRecord_ || first.index > knownLast) {
        // No overlap (a seek): colour the whole window.
        levels_.clear();
        firstRecord_ = first.index;
        colorRecords(first, last, false);
        return;
    }
    // Drop what fell out of the window at either end, then colour what came in.
    if (first.index > firstRecord_) {
        levels_.erase(levels_.begin(), levels_.begin() + (first.index - firstRecord_));
        firstRecord_ = first.index;
    }
    if (last.index < knownLast)
        levels_.resize(static_cast<std::size_t>(last.index - firstRecord_ + 1));
    if (first.index < firstRecord_) {
        BoatLogIndex end = first;
        while (end.index + 1 < firstRecord_)
            end = log.indexAfter(end);
        colorRecords(first, end, true);
        firstRecord_ = first.index;
    }
    const std::int64_t coveredLast = firstRecord_ + static_cast<std::int64_t>(levels_.size()) - 1;
    if (last.index > coveredLast) {
        BoatLogIndex start = last;
        while (start.index > coveredLast + 1)
            start = log.indexBefore(start);
        colorRecords(start, last, false);
    }
}

void TrackVertexColors::colorRecords(const BoatLogIndex& first, const BoatLogIndex& last, bool atFront) {
    values_.clear();
    BoatLogReading::appendValues(*log_, scale_->metric(), first, last, values_);
    recordsColored_ += static_cast<std::int64_t>(values_.size());
    if (atFront) {
        for (auto v = values_.rbegin(); v != values_.rend(); ++v)
            levels_.push_front(scale_->level(*v));
    } else {
        for (double v : values_)
            levels_.push_back(scale_->level(v));
    }
}

void TrackVertexColors::reset() {
    log_ = nullptr;
    scale_.reset();
    levels_.clear();
    firstRecord_ = 0;
}

bool TrackVertexColors::fillGaps(std::vector<std::uint8_t>& levels) {
    auto known = std::find_if(levels.begin(), levels.end(),
                              [](std::uint8_t level) { return level != TrackColorMap::noLevel; });
    if (known == levels.end())
        return false;
    std::fill(levels.begin(), known, *known);
    for (auto level = known; level != levels.end(); ++level)
        if (*level == TrackColorMap::noLevel)
            *level = *(level - 1);
    return true;
}

void TrackVertexColors::holdSteps(std::vector<std::uint8_t>& levels) {
    constexpr std::uint8_t top = TrackColorMap::levelCount - 1;
    for (std::size_t i = 1; i < levels.size(); ++i)
        if (levels[i] != 0 && levels[i] != top && std::abs(int(levels[i]) - int(levels[i - 1])) <= 1)
            levels[i] = levels[i - 1];
}

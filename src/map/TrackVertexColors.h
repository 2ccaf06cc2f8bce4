#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

class BoatLog;
class TrackColorScale;
// Not included: this header reaches widget headers that moc reads.
struct BoatLogIndex;

// The colour levels of one boat's past track, record by record. Playback moves the track's window
// a few records forward per tick: the records it already knows keep their levels, and only the
// records new to the window are read and coloured.
class TrackVertexColors {
public:
    // Makes the levels of records first…last of `log` known; a new log or scale starts afresh.
    // The race map makes a new scale whenever the document's logs change, so a log is told
    // apart by its address.
    void cover(const BoatLog& log, const std::shared_ptr<const TrackColorScale>& scale,
               const BoatLogIndex& first, const BoatLogIndex& last);
    // The level of a record within the last cover(); TrackColorMap::noLevel for a missing value.
    std::uint8_t levelOf(std::int64_t record) const {
        return levels_[static_cast<std::size_t>(record - firstRecord_)];
    }
    // How many records were coloured since the start: for checks that playback stays incremental.
    std::int64_t recordsColored() const { return recordsColored_; }
    void reset();

    // Gives every missing level (a record without the value) the level before it, or after it at
    // the start; false when no level is known at all, and the track keeps its boat's colour.
    static bool fillGaps(std::vector<std::uint8_t>& levels);
    // Lets a vertex keep the level before it through a change of one step, except into either end
    // of the scale. Two neighbouring levels look alike, while a speedo's wobble across a step
    // would cut the track into runs of a vertex or two, each drawn on its own.
    static void holdSteps(std::vector<std::uint8_t>& levels);

private:
    void colorRecords(const BoatLogIndex& first, const BoatLogIndex& last, bool atFront);

    const BoatLog* log_ = nullptr;
    std::shared_ptr<const TrackColorScale> scale_;
    std::deque<std::uint8_t> levels_;
    std::int64_t firstRecord_ = 0;
    std::vector<double> values_;
    std::int64_t recordsColored_ = 0;
};

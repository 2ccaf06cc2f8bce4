#include "document/MetricSeries.h"

#include "boatlog/BoatLog.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace {

struct Sample {
    double time;
    double value; // NaN where the record has none
};

// The records of one log from the last one at or before `start` to the first one after `end`,
// leaving out those inside `taken` (the spans of the logs read before it). A neighbour beyond the
// widest blended gap would stand alone off the graph, yet stretch its scale: it is left out too.
void collect(const BoatLog& log, const BoatMetric& metric, const MetricPresentation& presentation,
             Instant start, Instant end, const std::vector<std::pair<Instant, Instant>>& taken,
             std::vector<Sample>& out) {
    std::optional<BoatLogIndex> last = log.lastIndex();
    if (!last)
        return;
    BoatLogIndex first = log.startIndex();
    BoatLogIndex i = first;
    if (auto after = log.firstIndexAfter(start))
        i = after->index == first.index ? *after : log.indexBefore(*after);
    else if (start >= last->time)
        i = *last;
    auto isTaken = [&taken](Instant t) {
        return std::any_of(taken.begin(), taken.end(),
                           [t](const auto& span) { return t >= span.first && t <= span.second; });
    };
    const Instant earliest = start - BoatLog::maximumInterpolationGap;
    const Instant latest = end + BoatLog::maximumInterpolationGap;
    while (true) {
        if (i.time >= earliest && i.time <= latest && !isTaken(i.time)) {
            std::optional<double> value = presentation.displayValue(log.value(i, metric));
            out.push_back({i.time.secondsSinceReference(), value ? *value : std::nan("")});
        }
        if (i.time > end || i.index >= last->index)
            break;
        i = log.indexAfter(i);
    }
}

// The samples a read of [start, end] builds from, in time order.
std::vector<Sample> gather(const std::vector<const BoatLog*>& logs, const MetricPresentation& presentation,
                           Instant start, Instant end) {
    std::vector<Sample> samples;
    std::vector<std::pair<Instant, Instant>> taken;
    bool merged = false;
    for (const BoatLog* log : logs) {
        if (!log)
            continue;
        const std::size_t before = samples.size();
        collect(*log, presentation.metric(), presentation, start, end, taken, samples);
        merged = merged || (before > 0 && samples.size() > before);
        if (auto last = log->lastIndex())
            taken.emplace_back(log->startIndex().time, last->time);
    }
    if (merged)
        std::stable_sort(samples.begin(), samples.end(),
                         [](const Sample& a, const Sample& b) { return a.time < b.time; });
    return samples;
}

// Columns are counted from the reference date, so that reads of different spans line up.
double columnOf(double time, double columnSeconds) {
    return std::floor(time / columnSeconds);
}

constexpr double unbounded = std::numeric_limits<double>::infinity();

} // namespace

// Takes samples in time order and builds the runs and the reduced columns. Only the points of the
// columns [firstColumn, endColumn) are kept, so that a part of a read can be built from the samples
// around it alone.
class MetricSeries::Builder {
public:
    Builder(MetricSeries& series, double columnSeconds, std::optional<std::pair<double, double>> circle,
            double firstColumn = -unbounded, double endColumn = unbounded)
        : series_(series), columnSeconds_(columnSeconds), circle_(circle), firstColumn_(firstColumn),
          endColumn_(endColumn) {}

    // Goes on as if the samples up to this one had been added: the next one joins its run or
    // breaks it just as in a read from further back.
    void resumeAfter(double time, double value) {
        if (std::isnan(value)) {
            inRun_ = false;
            runPending_ = true;
            return;
        }
        inRun_ = true;
        runPending_ = false;
        lastTime_ = time;
        lastValue_ = circle_ ? intoCircle(value, *circle_) : value;
    }

    void add(double time, double value) {
        if (std::isnan(value)) {
            endRun();
            return;
        }
        if (circle_)
            value = intoCircle(value, *circle_);
        if (inRun_) {
            if (time - lastTime_ > BoatLog::maximumInterpolationGap) {
                endRun();
            } else if (circle_ && std::abs(value - lastValue_) > 180.0) {
                crossEdge(time, value);
            }
        }
        point(time, value);
        inRun_ = true;
        lastTime_ = time;
        lastValue_ = value;
    }

    void finish() { endRun(); }

private:
    struct Entry {
        double time;
        double value;
        double column;
        std::uint64_t number;
    };

    // The short way round from the last value to `value` passes an edge of the range: the run ends
    // on that edge and the next one begins on the other, at the moment of crossing.
    void crossEdge(double time, double value) {
        auto [low, high] = *circle_;
        const bool down = value - lastValue_ > 180.0;
        const double unwrapped = down ? value - 360.0 : value + 360.0;
        const double edge = down ? low : high;
        const double fraction = (edge - lastValue_) / (unwrapped - lastValue_);
        const double crossing = lastTime_ + fraction * (time - lastTime_);
        point(crossing, edge);
        endRun();
        point(crossing, down ? high : low);
    }

    void point(double time, double value) {
        const double column = columnOf(time, columnSeconds_);
        if (columnOpen_ && column != column_)
            flushColumn();
        const Entry entry{time, value, column, count_++};
        if (!columnOpen_) {
            columnOpen_ = true;
            column_ = column;
            first_ = low_ = high_ = last_ = entry;
            return;
        }
        if (value < low_.value)
            low_ = entry;
        if (value > high_.value)
            high_ = entry;
        last_ = entry;
    }

    void flushColumn() {
        if (!columnOpen_)
            return;
        columnOpen_ = false;
        push(first_);
        const Entry* extremes[2] = {&low_, &high_};
        if (high_.number < low_.number)
            std::swap(extremes[0], extremes[1]);
        std::uint64_t emitted = first_.number;
        for (const Entry* e : extremes) {
            if (e->number != emitted && e->number != last_.number) {
                push(*e);
                emitted = e->number;
            }
        }
        if (last_.number != first_.number)
            push(last_);
    }

    void push(const Entry& entry) {
        // A point left out still takes the start of its run, as it would in the whole read.
        const bool kept = entry.column >= firstColumn_ && entry.column < endColumn_;
        if (runPending_) {
            if (kept)
                series_.runStarts_.push_back(static_cast<std::uint32_t>(series_.times_.size()));
            runPending_ = false;
        }
        if (!kept)
            return;
        series_.times_.push_back(entry.time);
        series_.values_.push_back(entry.value);
    }

    void endRun() {
        flushColumn();
        inRun_ = false;
        runPending_ = true;
    }

    MetricSeries& series_;
    const double columnSeconds_;
    const std::optional<std::pair<double, double>> circle_;
    const double firstColumn_;
    const double endColumn_;
    bool inRun_ = false;
    bool runPending_ = true;
    double lastTime_ = 0.0;
    double lastValue_ = 0.0;
    bool columnOpen_ = false;
    double column_ = 0.0;
    Entry first_{}, low_{}, high_{}, last_{};
    std::uint64_t count_ = 0;
};

MetricSeries MetricSeries::read(const std::vector<const BoatLog*>& logs,
                                const MetricPresentation& presentation, Instant start, Instant end,
                                double columnSeconds) {
    MetricSeries series;
    if (!(columnSeconds > 0.0) || !(end >= start))
        return series;
    const std::vector<Sample> samples = gather(logs, presentation, start, end);
    series.times_.reserve(samples.size());
    series.values_.reserve(samples.size());
    Builder builder(series, columnSeconds, circularRange(presentation));
    for (const Sample& sample : samples)
        builder.add(sample.time, sample.value);
    builder.finish();
    return series;
}

// A column's points depend only on the samples in it and on the one before it (which decides
// whether its first sample joins a run or starts one, and where a circular value crosses an
// edge). The columns both spans hold whole therefore come out of both reads alike; those before
// them are built from the new span's start, and those after them from the sample before them on.
void MetricSeries::slide(Instant heldStart, Instant heldEnd, const std::vector<const BoatLog*>& logs,
                         const MetricPresentation& presentation, Instant start, Instant end,
                         double columnSeconds) {
    if (!(columnSeconds > 0.0) || !(end >= start)) {
        *this = MetricSeries();
        return;
    }
    const double firstKept =
        columnOf(std::max(start, heldStart).secondsSinceReference(), columnSeconds) + 1.0;
    const double endKept = columnOf(std::min(end, heldEnd).secondsSinceReference(), columnSeconds);
    // The tail is read from far enough back to find the sample before its first column, or to
    // know that a gap breaks the line there; that must lie inside the new span.
    const double tailFrom = endKept * columnSeconds - BoatLog::maximumInterpolationGap - columnSeconds;
    if (!(heldEnd >= heldStart) || !(endKept > firstKept) || !(tailFrom > start.secondsSinceReference())) {
        *this = read(logs, presentation, start, end, columnSeconds);
        return;
    }
    const auto circle = circularRange(presentation);

    // Up to the first sample in the kept columns: a circular value may cross an edge before it.
    MetricSeries head;
    Builder before(head, columnSeconds, circle, -unbounded, firstKept);
    for (const Sample& sample :
         gather(logs, presentation, start, Instant((firstKept + 1.0) * columnSeconds))) {
        before.add(sample.time, sample.value);
        if (columnOf(sample.time, columnSeconds) >= firstKept)
            break;
    }
    before.finish();

    auto columnBefore = [columnSeconds](double column) {
        return [columnSeconds, column](double t) { return columnOf(t, columnSeconds) < column; };
    };
    const auto first = std::partition_point(times_.begin(), times_.end(), columnBefore(firstKept));
    const auto last = std::partition_point(first, times_.end(), columnBefore(endKept));
    keepAfter(std::move(head), std::size_t(first - times_.begin()), std::size_t(last - times_.begin()));

    Builder after(*this, columnSeconds, circle, endKept, unbounded);
    const std::vector<Sample> tail = gather(logs, presentation, Instant(tailFrom), end);
    auto next = std::find_if(tail.begin(), tail.end(), [&](const Sample& sample) {
        return columnOf(sample.time, columnSeconds) >= endKept;
    });
    if (next != tail.begin())
        after.resumeAfter(std::prev(next)->time, std::prev(next)->value);
    for (auto it = next; it != tail.end(); ++it)
        after.add(it->time, it->value);
    after.finish();
}

void MetricSeries::keepAfter(MetricSeries&& head, std::size_t first, std::size_t end) {
    std::vector<std::uint32_t> runs = std::move(head.runStarts_);
    const auto offset = static_cast<std::uint32_t>(head.times_.size());
    auto run = std::lower_bound(runStarts_.begin(), runStarts_.end(), std::uint32_t(first));
    // Only a point that starts a run in this read too can come first; said here so that the runs
    // stay well formed whatever is kept.
    if (offset == 0 && first < end && (run == runStarts_.end() || *run != first))
        runs.push_back(0);
    for (; run != runStarts_.end() && *run < end; ++run)
        runs.push_back(offset + (*run - std::uint32_t(first)));
    runStarts_ = std::move(runs);

    // In place, moving the kept points once: playing drops many points in front and adds few.
    auto keep = [first, end](std::vector<double>& points, const std::vector<double>& front) {
        points.erase(points.begin() + std::ptrdiff_t(end), points.end());
        if (front.size() <= first) {
            const std::size_t from = first - front.size();
            std::copy(front.begin(), front.end(), points.begin() + std::ptrdiff_t(from));
            points.erase(points.begin(), points.begin() + std::ptrdiff_t(from));
        } else {
            points.erase(points.begin(), points.begin() + std::ptrdiff_t(first));
            points.insert(points.begin(), front.begin(), front.end());
        }
    };
    keep(times_, head.times_);
    keep(values_, head.values_);
}

std::optional<std::pair<double, double>> MetricSeries::circularRange(const MetricPresentation& presentation) {
    if (!presentation.metric().isCircular())
        return std::nullopt;
    if (presentation.isDirection())
        return std::pair{0.0, 360.0};
    return std::pair{-180.0, 180.0};
}

double MetricSeries::intoCircle(double value, std::pair<double, double> range) {
    value = std::fmod(value, 360.0);
    if (range.first < 0.0) {
        if (value > 180.0)
            value -= 360.0;
        else if (value <= -180.0)
            value += 360.0;
    } else if (value < 0.0) {
        value += 360.0;
    }
    return value;
}

std::pair<std::size_t, std::size_t> MetricSeries::run(std::size_t i) const {
    const std::size_t begin = runStarts_[i];
    const std::size_t end = i + 1 < runStarts_.size() ? runStarts_[i + 1] : times_.size();
    return {begin, end};
}

std::optional<std::pair<double, double>> MetricSeries::valueRange() const {
    if (values_.empty())
        return std::nullopt;
    auto [low, high] = std::minmax_element(values_.begin(), values_.end());
    return std::pair{*low, *high};
}

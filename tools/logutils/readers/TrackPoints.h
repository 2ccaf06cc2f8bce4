#pragma once

#include "readers/InputTable.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>

// The table of a GPS track: points with a time and a position, and the speed and course when
// the format has them. A point without a time, with a position of 0,0 or out of range, or
// earlier than the point before it in the same track is dropped and counted.
class TrackPoints {
public:
    struct Point {
        std::string_view time;
        double lat = 0.0;
        double lon = 0.0;
        double sog = nan(); // knots
        double cog = nan(); // degrees
        double heading = nan();
    };

    // A point as add() judges it on its own, before its place in the track is known. Judging is
    // thread-safe, so that a long track's points can be judged on several threads.
    struct Judged {
        double time = nan();              // seconds since 1970
        bool hasZone = false;             // the time said its zone
        const char* dropReason = nullptr; // why the point is dropped, if it is
        std::string_view dropText;        // the text that made it so, into the point's own text
        double values[5] = {};            // lat, lon, SOG, COG, heading; NaN where absent
    };
    static Judged judge(const Point& point);

    // `text` is the whole file, for telling the line of a dropped point.
    TrackPoints(InputTable& table, std::string_view text, std::string kind);

    // A new track or segment: its first point may be earlier than the last of the one before.
    void startTrack() { lastTime_ = -INFINITY; }
    // `offset`: the point's byte offset in the file.
    void add(const Point& point, std::ptrdiff_t offset) { add(judge(point), offset); }
    void add(const Judged& point, std::ptrdiff_t offset);
    // Counts a point that had no usable position or time before it reached add().
    void drop(std::string_view reason, std::ptrdiff_t offset, std::string_view text = {});

    // False, with the reason, when no point was usable.
    bool finish(std::string& error);

    static constexpr double nan() { return __builtin_nan(""); }

private:
    std::int64_t lineAt(std::ptrdiff_t offset) const;
    InputColumn& column(int index);

    InputTable& table_;
    std::string_view text_;
    double lastTime_ = -INFINITY;
    bool anyZone_ = false; // some time said its zone
};

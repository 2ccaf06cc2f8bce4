#pragma once

#include <optional>
#include <string>
#include <vector>

class FigureTable;

// Starts from the countdown (`TimeToGun`): each time it runs out, one race. The gun is the last
// counting sample's time plus its count, so a log of one record a second still places it to the
// fraction. A start followed by another countdown's gun within `practiceWithinSeconds` was a
// practice (or a recall): "PracticeStart"; the others are "Race". A race lasts until the next gun
// or the end of the log's stretch of records; the start line's ends are those at the gun.
namespace RaceDetector {

constexpr double practiceWithinSeconds = 15 * 60.0;
// The countdown must reach zero within this of its last positive sample, else it was stopped.
constexpr double runOutSeconds = 5.0;
// A race lasts no further than a gap of records longer than this.
constexpr double stretchGapSeconds = 60.0;

struct Race {
    double gun = 0.0; // as the table's times
    std::optional<double> duration;
    std::optional<double> portLat, portLon, stbdLat, stbdLon;
    std::string type;
};

std::vector<Race> detect(const FigureTable& table);

} // namespace RaceDetector

#pragma once

#include "core/Instant.h"
#include "document/Document.h"
#include "map/MapCoordinate.h"

#include <QTemporaryDir>
#include <string>
#include <vector>

// Writes a boat log the way the converter does: `values` row-major, one row per time (Unix seconds).
void writeBoatLog(const QString& path, const std::vector<std::string>& columns,
                  const std::vector<double>& times, const std::vector<double>& values);

// Gives the document one race with its gun at `gun` and a 300 m start line east of `pin`.
void setStartRace(Document& document, MapCoordinate pin, Instant gun);

// A fleet for the per-tick benchmarks: 20 boats logged at 10 Hz for half an hour, each sailing its
// own slow spiral, with position, heading, wind, start-line figures and a mark; a race whose gun
// is in the middle of the logs and whose start line lies among the boats.
struct FleetFixture {
    static constexpr int boatCount = 20;
    static constexpr double rate = 10.0;
    static constexpr double logSeconds = 1800.0;
    static constexpr double startUnix = 1686052800.0;
    static constexpr double gunSeconds = 900.0;
    static inline const MapCoordinate pin{54.5, 10.2};
    static const std::vector<std::string>& columns();

    QTemporaryDir dir;
    Document document;

    FleetFixture();
    // Playback instants in the last five minutes before the gun, where every line shows.
    static Instant tick(std::size_t i);
};

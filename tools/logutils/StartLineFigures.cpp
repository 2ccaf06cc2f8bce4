#include "StartLineFigures.h"

#include "FigureTable.h"
#include "Geodesy.h"
#include "Parallel.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double radians = std::numbers::pi / 180.0;
// Below this approach speed the boat is not heading for the line: no time to it.
constexpr double slowestApproach = 0.1; // m/s

} // namespace

void StartLineFigures::derive(FigureTable& table, double boatLength, double gpsOffset) {
    const char* ends[] = {"Portlat", "Portlon", "Stbdlat", "Stbdlon"};
    const FigureTable::Column* line[4];
    for (int k = 0; k < 4; ++k)
        if (!(line[k] = table.find(ends[k])))
            return;
    const auto* gun = table.find("TimeToGun");
    const auto* lat = table.find("Lat");
    const auto* lon = table.find("Lon");
    if (!gun || !lat || !lon)
        return;
    const auto* heading = table.findFirst({"Heading", "COG"});
    const auto* sog = table.find("SOG");
    const auto* cog = table.find("COG");
    const double forward = boatLength - gpsOffset;

    auto want = [&](const char* name) { return table.has(name) ? nullptr : &table.derive(name); };
    Values* below = want("BelowLine");
    Values* distance = want("DistanceToLine");
    Values* timeToLine = want("TimeToLine");
    Values* burn = want("TimeToBurn");
    const auto* measuredTimeToLine = table.find("TimeToLine");

    // Each row from its own values: the rows are shared between the cores.
    Parallel::forRows(table.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const Geodesy::Position port{(*line[0])[i], (*line[1])[i]}, stbd{(*line[2])[i], (*line[3])[i]};
            const double toGun = (*gun)[i];
            if (!std::isfinite(port.lat) || !std::isfinite(port.lon) || !std::isfinite(stbd.lat) ||
                !std::isfinite(stbd.lon) || !std::isfinite(toGun) || !std::isfinite((*lat)[i]) ||
                !std::isfinite((*lon)[i]))
                continue;
            const double lineLength = Geodesy::distance(port, stbd);
            if (lineLength <= 0.0)
                continue;
            Geodesy::Position bow{(*lat)[i], (*lon)[i]};
            if (heading && std::isfinite((*heading)[i]) && forward != 0.0)
                bow = Geodesy::destination(bow, (*heading)[i], forward);

            // Looking up the course from behind the line, the port end is on the left: the pre-start
            // side is the right of the direction port → starboard.
            const double off = Geodesy::crossTrack(port, stbd, bow);
            const double along = Geodesy::alongTrack(port, stbd, bow);
            double nearest = std::abs(off);
            if (along < 0.0 || along > lineLength)
                nearest = std::min(Geodesy::distance(bow, port), Geodesy::distance(bow, stbd));
            if (below)
                (*below)[i] = off;
            if (distance)
                (*distance)[i] = off >= 0.0 ? nearest : -nearest;

            double toLine = measuredTimeToLine ? (*measuredTimeToLine)[i] : NAN;
            if (timeToLine && sog && cog && std::isfinite((*sog)[i]) && std::isfinite((*cog)[i])) {
                const double towardsLine = Geodesy::initialBearing(port, stbd) - 90.0;
                const double approach = (*sog)[i] / Geodesy::knotsPerMetrePerSecond *
                                        std::cos(((*cog)[i] - towardsLine) * radians);
                if (off > 0.0 && approach > slowestApproach)
                    toLine = (*timeToLine)[i] = off / approach;
            }
            if (burn && std::isfinite(toLine) && toGun >= 0.0)
                (*burn)[i] = toGun - toLine;
        }
    });
}

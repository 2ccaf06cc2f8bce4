#include "DerivedFigures.h"

#include "FigureTable.h"
#include "Geodesy.h"
#include "Parallel.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double radians = std::numbers::pi / 180.0;

double at(const FigureTable::Column* column, std::size_t i) {
    return column ? (*column)[i] : NAN;
}

// The first value of `columns` that row i has.
double firstAt(std::initializer_list<const FigureTable::Column*> columns, std::size_t i) {
    for (auto column : columns)
        if (column && std::isfinite((*column)[i]))
            return (*column)[i];
    return NAN;
}

// Over a second either side: a GPS fix jitters by metres, and one step of a 10 Hz grid would
// turn that into knots.
void positionFigures(FigureTable& table) {
    const auto* lat = table.find("Lat");
    const auto* lon = table.find("Lon");
    const bool wantSog = !table.has("SOG"), wantCog = !table.has("COG");
    if (!lat || !lon || (!wantSog && !wantCog))
        return;
    Values* sog = wantSog ? &table.derive("SOG") : nullptr;
    Values* cog = wantCog ? &table.derive("COG") : nullptr;
    const auto& times = table.times();
    const std::size_t n = table.size();
    const double span = std::max(1.0, table.step());
    Parallel::forRows(n, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            std::size_t a = i, b = i;
            while (a > 0 && times[i] - times[a - 1] <= span + 1e-6 && std::isfinite((*lat)[a - 1]))
                --a;
            while (b + 1 < n && times[b + 1] - times[i] <= span + 1e-6 && std::isfinite((*lat)[b + 1]))
                ++b;
            if (a == b || !std::isfinite((*lat)[a]) || !std::isfinite((*lat)[b]) ||
                !std::isfinite((*lon)[a]) || !std::isfinite((*lon)[b]))
                continue;
            const Geodesy::Position from{(*lat)[a], (*lon)[a]}, to{(*lat)[b], (*lon)[b]};
            const double metres = Geodesy::distance(from, to);
            if (sog)
                (*sog)[i] = metres / (times[b] - times[a]) * Geodesy::knotsPerMetrePerSecond;
            if (cog && metres > 0.0)
                (*cog)[i] = Geodesy::initialBearing(from, to);
        }
    });
}

void windFigures(FigureTable& table) {
    const std::size_t n = table.size();
    const auto* awa = table.find("AWA");
    const auto* aws = table.find("AWS");
    const auto* boatSpeed = table.find("BoatSpeed");
    const auto* sog = table.find("SOG");
    const auto* heading = table.find("Heading");
    const auto* cog = table.find("COG");

    // The true wind is the apparent wind less the wind of the boat's own motion (from dead ahead,
    // at the boat's speed).
    if (awa && aws && (boatSpeed || sog) && (!table.has("TWA") || !table.has("TWS"))) {
        Values* twa = table.has("TWA") ? nullptr : &table.derive("TWA");
        Values* tws = table.has("TWS") ? nullptr : &table.derive("TWS");
        Parallel::forRows(n, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const double angle = (*awa)[i], speed = (*aws)[i], boat = firstAt({boatSpeed, sog}, i);
                if (!std::isfinite(angle) || !std::isfinite(speed) || !std::isfinite(boat))
                    continue;
                const double x = speed * std::cos(angle * radians) - boat;
                const double y = speed * std::sin(angle * radians);
                if (tws)
                    (*tws)[i] = std::hypot(x, y);
                if (twa && (x != 0.0 || y != 0.0))
                    (*twa)[i] = Geodesy::signedAngle(std::atan2(y, x) / radians);
            }
        });
    }
    // A wind direction (MWD) and a heading give the angle.
    if (!table.has("TWA") && table.find("TWD") && (heading || cog)) {
        const auto* twd = table.find("TWD");
        auto& twa = table.derive("TWA");
        Parallel::forRows(n, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                twa[i] = Geodesy::signedAngle((*twd)[i] - firstAt({heading, cog}, i));
        });
    }
    if (!table.has("TWD") && table.find("TWA") && (heading || cog)) {
        const auto* twa = table.find("TWA");
        auto& twd = table.derive("TWD");
        Parallel::forRows(n, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const double v = (*twa)[i] + firstAt({heading, cog}, i);
                if (std::isfinite(v))
                    twd[i] = Geodesy::bearing360(v);
            }
        });
    }
    if (!table.has("VMG") && table.find("TWA") && (boatSpeed || sog)) {
        const auto* twa = table.find("TWA");
        auto& vmg = table.derive("VMG");
        Parallel::forRows(n, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                vmg[i] = firstAt({boatSpeed, sog}, i) * std::cos(at(twa, i) * radians);
        });
    }
}

} // namespace

void DerivedFigures::derive(FigureTable& table) {
    positionFigures(table);
    windFigures(table);
}

#include "SegmentRecords.h"

#include "core/DateFormat.h"

#include <cmath>
#include <nlohmann/json.hpp>

std::string SegmentRecords::timeText(double logTime, std::optional<std::int64_t> utcOffsetMinutes) {
    static const DateFormat format("yyyy-MM-dd'T'HH:mm:ss.SZ", TimeZone::utc());
    const double utc = logTime - static_cast<double>(utcOffsetMinutes.value_or(0)) * 60.0;
    // The pattern shows tenths: rounding here keeps 12:00:04.96 from reading as 12:00:04.9.
    return format.format(Instant::fromUnix(std::round(utc * 10.0) / 10.0));
}

std::string SegmentRecords::json(std::optional<std::int64_t> utcOffsetMinutes) const {
    using Json = nlohmann::ordered_json;
    Json root = Json::object();
    Json raceArray = Json::array();
    for (const auto& race : races) {
        Json record = Json::object();
        record["time"] = timeText(race.gun, utcOffsetMinutes);
        if (race.duration)
            record["raceDuration"] = *race.duration;
        if (race.portLat && race.portLon && race.stbdLat && race.stbdLon) {
            record["Portlat"] = *race.portLat;
            record["Portlon"] = *race.portLon;
            record["Stbdlat"] = *race.stbdLat;
            record["Stbdlon"] = *race.stbdLon;
        }
        record["raceType"] = race.type;
        raceArray.push_back(std::move(record));
    }
    Json eventArray = Json::array();
    for (const auto& manoeuvre : manoeuvres)
        eventArray.push_back(Json{{"eventType", manoeuvre.tack ? "Tack" : "Gybe"},
                                  {"time", timeText(manoeuvre.time, utcOffsetMinutes)}});
    Json legArray = Json::array();
    for (const auto& leg : legs)
        legArray.push_back(Json{{"time", timeText(leg.start, utcOffsetMinutes)},
                                {"eventType", leg.type},
                                {"duration", leg.duration}});
    root["races"] = std::move(raceArray);
    root["events"] = std::move(eventArray);
    root["legs"] = std::move(legArray);
    return root.dump();
}

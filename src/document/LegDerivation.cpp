#include "document/LegDerivation.h"

#include "boatlog/LogFileAsset.h"
#include "core/DateFormat.h"
#include "core/NumberText.h"
#include "document/Document.h"
#include "race/Race.h"

#include <algorithm>
#include <map>

std::optional<Instant> LegDerivation::parseTime(const std::string& text) {
    static const DateFormat withFraction("yyyy-MM-dd'T'HH:mm:ss.SZ", TimeZone::utc());
    static const DateFormat withoutFraction("yyyy-MM-dd'T'HH:mm:ssZ", TimeZone::utc());
    return text.find('.') != std::string::npos ? withFraction.parse(text) : withoutFraction.parse(text);
}

namespace {

QString coordinateText(const std::optional<double>& value) {
    return value ? QString::fromStdString(shortestText(*value)) : QString();
}

std::optional<SailingLegType> legType(const std::string& eventType) {
    if (eventType == "Upwind")
        return SailingLegType::Upwind;
    if (eventType == "Downwind")
        return SailingLegType::Downwind;
    if (eventType == "Reach")
        return SailingLegType::Reaching;
    return std::nullopt;
}

// Cuts a leg to the race it overlaps most; none when it overlaps no race.
std::optional<SailingLeg> clipToRaces(SailingLeg leg, const std::vector<std::shared_ptr<Race>>& races) {
    if (races.empty())
        return leg;
    double bestOverlap = 0.0;
    std::optional<SailingLeg> best;
    for (const auto& race : races) {
        Instant start = std::max(leg.start, race->time());
        Instant end = std::min(leg.end, race->bestGuessFinishTime());
        if (end > start && end - start > bestOverlap) {
            bestOverlap = end - start;
            best = SailingLeg{start, end, leg.type};
        }
    }
    return best;
}

} // namespace

void LegDerivation::apply(Document& document) {
    auto main = document.mainBoat();
    const auto& assets = main ? document.logAssets(main) : std::vector<std::shared_ptr<LogFileAsset>>{};
    if (assets.empty()) {
        document.setLegs({});
        document.setTackTimes({});
        document.setGybeTimes({});
        return;
    }

    std::vector<std::shared_ptr<Race>> races;
    std::map<std::string, int> numberOfType;
    std::vector<Instant> tacks;
    std::vector<Instant> gybes;
    for (const auto& asset : assets) {
        if (!asset->metadata())
            continue;
        for (const RaceMetadata& record : asset->metadata()->races) {
            auto time = parseTime(record.time);
            if (!time)
                continue;
            auto race = std::make_shared<Race>();
            std::string type = record.raceType.value_or("Race");
            int number = ++numberOfType[type];
            if (type == "PracticeStart")
                race->setName(QString("Practice Start %1").arg(number));
            else
                race->setName(QString::fromStdString(type) + QString(" %1").arg(number));
            race->setTime(*time);
            race->setPinLat(coordinateText(record.Portlat));
            race->setPinLon(coordinateText(record.Portlon));
            race->setRcLat(coordinateText(record.Stbdlat));
            race->setRcLon(coordinateText(record.Stbdlon));
            // Without a duration the race has no finish; it then shows an hour long.
            if (record.raceDuration)
                race->setFinishTime(*time + *record.raceDuration);
            races.push_back(std::move(race));
        }
        for (const EventMetadata& event : asset->metadata()->events) {
            auto time = parseTime(event.time);
            if (!time)
                continue;
            if (event.eventType == "Tack")
                tacks.push_back(*time);
            else if (event.eventType == "Gybe")
                gybes.push_back(*time);
        }
    }
    // Logs without race records leave the races the user made alone.
    if (!races.empty())
        document.setRaces(races);
    const auto& clipRaces = document.races();

    std::vector<SailingLeg> legs;
    for (const auto& asset : assets) {
        if (!asset->metadata())
            continue;
        for (const LegMetadata& record : asset->metadata()->legs) {
            if (!record.duration || *record.duration < minimumLegDuration)
                continue;
            auto start = parseTime(record.time);
            auto type = legType(record.eventType);
            if (!start || !type)
                continue;
            if (auto leg = clipToRaces({*start, *start + *record.duration, *type}, clipRaces))
                legs.push_back(*leg);
        }
    }
    document.setLegs(std::move(legs));
    document.setTackTimes(std::move(tacks));
    document.setGybeTimes(std::move(gybes));
}

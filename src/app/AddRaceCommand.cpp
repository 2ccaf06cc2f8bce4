#include "app/AddRaceCommand.h"

#include "app/EditingVerb.h"
#include "app/TimeArgument.h"
#include "document/AddRace.h"
#include "document/Document.h"
#include "race/Race.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace {

int usage(const char* problem) {
    std::fprintf(
        stderr,
        "wakeline add-race: %s\nusage: wakeline add-race EVENT --name NAME --gun TIME [--finish TIME] "
        "[--pin LAT,LON --rc LAT,LON]\n",
        problem);
    return 2;
}

// "54.5,10.25" → the two texts, when both are numbers in range.
std::optional<std::pair<QString, QString>> coordinate(const QString& text) {
    const QStringList parts = text.split(',');
    if (parts.size() != 2)
        return std::nullopt;
    bool latOk = false;
    bool lonOk = false;
    double lat = parts[0].trimmed().toDouble(&latOk);
    double lon = parts[1].trimmed().toDouble(&lonOk);
    if (!latOk || !lonOk || lat < -90 || lat > 90 || lon < -180 || lon > 180)
        return std::nullopt;
    return std::pair{parts[0].trimmed(), parts[1].trimmed()};
}

} // namespace

int AddRaceCommand::run(const QStringList& arguments) {
    // arguments[0] is the program.
    QString package;
    std::optional<QString> name;
    std::optional<Instant> gun;
    std::optional<Instant> finish;
    std::optional<std::pair<QString, QString>> pin;
    std::optional<std::pair<QString, QString>> rc;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        auto value = [&]() -> std::optional<QString> {
            if (i + 1 >= arguments.size())
                return std::nullopt;
            return arguments[++i];
        };
        if (argument == "--name") {
            name = value();
            if (!name)
                return usage("--name needs a value");
        } else if (argument == "--gun" || argument == "--finish") {
            auto text = value();
            auto time = text ? parseTimeArgument(text->toStdString()) : std::nullopt;
            if (!time)
                return usage(argument == "--gun" ? "--gun needs a TIME (Unix seconds or ISO 8601)"
                                                 : "--finish needs a TIME (Unix seconds or ISO 8601)");
            (argument == "--gun" ? gun : finish) = time;
        } else if (argument == "--pin" || argument == "--rc") {
            auto text = value();
            auto ends = text ? coordinate(*text) : std::nullopt;
            if (!ends)
                return usage("--pin and --rc need LAT,LON in degrees");
            (argument == "--pin" ? pin : rc) = ends;
        } else if (argument.startsWith("--")) {
            return usage("unknown option");
        } else if (package.isEmpty()) {
            package = argument;
        } else {
            return usage("one EVENT only");
        }
    }
    if (package.isEmpty() || !name || !gun)
        return usage("EVENT, --name and --gun are needed");
    if (bool(pin) != bool(rc))
        return usage("a start line needs both --pin and --rc");
    if (finish && *finish <= *gun)
        return usage("the finish must come after the gun");

    auto race = std::make_shared<Race>();
    race->setName(*name);
    race->setTime(*gun);
    race->setFinishTime(finish);
    if (pin) {
        race->setPinLat(pin->first);
        race->setPinLon(pin->second);
        race->setRcLat(rc->first);
        race->setRcLon(rc->second);
    }
    return EditingVerb::run(package, std::make_unique<AddRace>(race),
                            [race](const Document& document, nlohmann::ordered_json& json) {
                                json["race"] = {
                                    {"name", race->name().toStdString()},
                                    {"gun", race->time().unixSeconds()},
                                    {"finish", race->finishTime()
                                                   ? nlohmann::ordered_json(race->finishTime()->unixSeconds())
                                                   : nlohmann::ordered_json(nullptr)},
                                    {"pinLat", race->pinLat().toStdString()},
                                    {"pinLon", race->pinLon().toStdString()},
                                    {"rcLat", race->rcLat().toStdString()},
                                    {"rcLon", race->rcLon().toStdString()}};
                                json["raceCount"] = document.races().size();
                            });
}

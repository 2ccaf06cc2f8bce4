#include "race/Race.h"

#include "core/DecodingError.h"

#include <nlohmann/json.hpp>

Race::Race() : time_(Instant::now()) {}

namespace {

QString requiredText(const nlohmann::ordered_json& json, const char* key) {
    auto found = json.find(key);
    if (found == json.end())
        throw DecodingError(std::string("Race: missing key \"") + key + "\"");
    if (!found->is_string())
        throw DecodingError(std::string("Race: \"") + key + "\" is not a string");
    return QString::fromStdString(found->get<std::string>());
}

Instant instantValue(const nlohmann::ordered_json& value, const char* key) {
    if (!value.is_number())
        throw DecodingError(std::string("Race: \"") + key + "\" is not a date");
    return Instant(value.get<double>());
}

} // namespace

std::shared_ptr<Race> Race::decode(const nlohmann::ordered_json& json) {
    if (!json.is_object())
        throw DecodingError("Race: not an object");
    auto race = std::make_shared<Race>();
    race->name_ = requiredText(json, "name");
    auto time = json.find("time");
    if (time == json.end())
        throw DecodingError("Race: missing key \"time\"");
    race->time_ = instantValue(*time, "time");
    auto finish = json.find("finishTime");
    if (finish != json.end() && !finish->is_null())
        race->finishTime_ = instantValue(*finish, "finishTime");
    race->pinLat_ = requiredText(json, "pinLat");
    race->pinLon_ = requiredText(json, "pinLon");
    race->rcLat_ = requiredText(json, "rcLat");
    race->rcLon_ = requiredText(json, "rcLon");
    race->unknownKeys_ =
        UnknownKeys::collect(json, {"name", "time", "finishTime", "pinLat", "pinLon", "rcLat", "rcLon"});
    return race;
}

nlohmann::ordered_json Race::encode() const {
    nlohmann::ordered_json json;
    json["name"] = name_.toStdString();
    json["time"] = time_.secondsSinceReference();
    if (finishTime_)
        json["finishTime"] = finishTime_->secondsSinceReference();
    json["pinLat"] = pinLat_.toStdString();
    json["pinLon"] = pinLon_.toStdString();
    json["rcLat"] = rcLat_.toStdString();
    json["rcLon"] = rcLon_.toStdString();
    unknownKeys_.appendTo(json);
    return json;
}

void Race::setName(const QString& name) {
    name_ = name;
    emit raceUpdated();
}

void Race::setTime(Instant time) {
    time_ = time;
    emit raceUpdated();
}

void Race::setFinishTime(std::optional<Instant> finishTime) {
    finishTime_ = finishTime;
    emit raceUpdated();
}

void Race::setPinLat(const QString& text) {
    pinLat_ = text;
    emit raceUpdated();
}

void Race::setPinLon(const QString& text) {
    pinLon_ = text;
    emit raceUpdated();
}

void Race::setRcLat(const QString& text) {
    rcLat_ = text;
    emit raceUpdated();
}

void Race::setRcLon(const QString& text) {
    rcLon_ = text;
    emit raceUpdated();
}

#include "metrics/Boat.h"

#include "core/DecodingError.h"
#include "core/UserDefaults.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

Boat::Boat(QString fullName, QString shortName, RgbColor color, DisplayMode displayMode,
           const UserDefaults& defaults)
    : fullName_(std::move(fullName)), shortName_(std::move(shortName)), color_(color),
      displayMode_(displayMode), boatLength_(defaults.doubleValue("boatLength")),
      gpsOffset_(defaults.doubleValue("gpsAntennaLoc")) {}

Boat::Boat(QString fullName, QString shortName, RgbColor color, DisplayMode displayMode)
    : Boat(std::move(fullName), std::move(shortName), color, displayMode, UserDefaults::standard()) {}

std::shared_ptr<Boat> Boat::create(QString fullName, QString shortName, RgbColor color,
                                   DisplayMode displayMode) {
    return std::make_shared<Boat>(std::move(fullName), std::move(shortName), color, displayMode);
}

namespace {

const nlohmann::ordered_json& required(const nlohmann::ordered_json& json, const char* key) {
    auto found = json.find(key);
    if (found == json.end())
        throw DecodingError(std::string("Boat: missing key \"") + key + "\"");
    return *found;
}

std::string requiredString(const nlohmann::ordered_json& json, const char* key) {
    const auto& value = required(json, key);
    if (!value.is_string())
        throw DecodingError(std::string("Boat: \"") + key + "\" is not a string");
    return value.get<std::string>();
}

double requiredNumber(const nlohmann::ordered_json& json, const char* key) {
    const auto& value = required(json, key);
    if (!value.is_number())
        throw DecodingError(std::string("Boat: \"") + key + "\" is not a number");
    return value.get<double>();
}

} // namespace

std::shared_ptr<Boat> Boat::decode(const nlohmann::ordered_json& json) {
    if (!json.is_object())
        throw DecodingError("Boat: not an object");
    auto fullName = requiredString(json, "fullName");
    auto shortName = requiredString(json, "shortName");
    auto color = requiredString(json, "color");
    auto mode = requiredString(json, "displayMode");
    double length = requiredNumber(json, "boatLength");
    double offset = requiredNumber(json, "gpsOffset");
    auto boat = std::make_shared<Boat>(QString::fromStdString(fullName), QString::fromStdString(shortName),
                                       colorFromText(color), displayModeFromText(mode));
    boat->boatLength_ = length;
    boat->gpsOffset_ = offset;
    boat->unknownKeys_ = UnknownKeys::collect(
        json, {"fullName", "shortName", "color", "displayMode", "boatLength", "gpsOffset"});
    return boat;
}

nlohmann::ordered_json Boat::encode() const {
    nlohmann::ordered_json json;
    json["fullName"] = fullName_.toStdString();
    json["shortName"] = shortName_.toStdString();
    json["color"] = colorText(color_);
    json["displayMode"] = displayModeText(displayMode_);
    json["boatLength"] = boatLength_;
    json["gpsOffset"] = gpsOffset_;
    unknownKeys_.appendTo(json);
    return json;
}

std::string Boat::displayModeText(DisplayMode mode) {
    switch (mode) {
    case DisplayMode::Main:
        return "Main";
    case DisplayMode::Secondary:
        return "Secondary";
    case DisplayMode::Other:
        break;
    }
    return "Other";
}

Boat::DisplayMode Boat::displayModeFromText(const std::string& text) {
    if (text == "Main")
        return DisplayMode::Main;
    if (text == "Secondary")
        return DisplayMode::Secondary;
    return DisplayMode::Other;
}

std::string Boat::colorText(RgbColor color) {
    auto channel = [](double c) { return std::clamp(static_cast<int>(c * 255.0), 0, 255); };
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "%02x%02x%02x", channel(color.red), channel(color.green),
                  channel(color.blue));
    return buffer;
}

RgbColor Boat::colorFromText(const std::string& text) {
    if (text.empty() || text.size() > 16)
        return RgbColor::pureRed();
    std::uint64_t value = 0;
    for (char c : text) {
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return RgbColor::pureRed();
        value = value * 16 + static_cast<std::uint64_t>(digit);
    }
    return {((value >> 16) & 0xff) / 255.0, ((value >> 8) & 0xff) / 255.0, (value & 0xff) / 255.0};
}

void Boat::setFullName(const QString& name) {
    fullName_ = name;
    emit fullNameChanged();
}

void Boat::setShortName(const QString& name) {
    shortName_ = name;
    emit shortNameChanged();
}

void Boat::setColor(RgbColor color) {
    color_ = color;
    emit colorChanged();
}

void Boat::setDisplayMode(DisplayMode mode) {
    displayMode_ = mode;
    emit displayModeChanged();
}

void Boat::setBoatLength(double length) {
    boatLength_ = length;
    emit boatLengthChanged();
}

void Boat::setGpsOffset(double offset) {
    gpsOffset_ = offset;
    emit gpsOffsetChanged();
}

// Here rather than in the library's one object of all meta-object code, which would bring the
// media libraries into the log converter, a user of Boat that needs none of them.
#include "moc_Boat.cpp"

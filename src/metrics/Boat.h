#pragma once

#include "core/RgbColor.h"
#include "core/UnknownKeys.h"

#include <QObject>
#include <QString>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

class UserDefaults;

// One boat of the event: its names, colour, how prominently views show it, and the two figures
// the log converter needs (length and GPS antenna position).
class Boat : public QObject {
    Q_OBJECT
public:
    enum class DisplayMode { Main, Secondary, Other };

    // Length and antenna position come from the preferences "boatLength" and "gpsAntennaLoc".
    Boat(QString fullName, QString shortName, RgbColor color, DisplayMode displayMode,
         const UserDefaults& defaults);
    Boat(QString fullName, QString shortName, RgbColor color, DisplayMode displayMode);

    static std::shared_ptr<Boat> create(QString fullName, QString shortName, RgbColor color,
                                        DisplayMode displayMode);
    // All six keys are required; throws DecodingError otherwise. Other keys are kept and written
    // back.
    static std::shared_ptr<Boat> decode(const nlohmann::ordered_json& json);
    nlohmann::ordered_json encode() const;

    static std::string displayModeText(DisplayMode mode);
    // Text other than the three raw values reads as Other.
    static DisplayMode displayModeFromText(const std::string& text);
    // Six lower-case hex digits, no "#".
    static std::string colorText(RgbColor color);
    // Anything that is not one hexadecimal number reads as pure red.
    static RgbColor colorFromText(const std::string& text);

    const QString& fullName() const { return fullName_; }
    const QString& shortName() const { return shortName_; }
    RgbColor color() const { return color_; }
    DisplayMode displayMode() const { return displayMode_; }
    double boatLength() const { return boatLength_; }
    double gpsOffset() const { return gpsOffset_; }

    void setFullName(const QString& name);
    void setShortName(const QString& name);
    void setColor(RgbColor color);
    void setDisplayMode(DisplayMode mode);
    void setBoatLength(double length);
    void setGpsOffset(double offset);

signals:
    void fullNameChanged();
    void shortNameChanged();
    void colorChanged();
    void displayModeChanged();
    void boatLengthChanged();
    void gpsOffsetChanged();

private:
    QString fullName_;
    QString shortName_;
    RgbColor color_;
    DisplayMode displayMode_;
    double boatLength_ = 0.0;
    double gpsOffset_ = 0.0;
    UnknownKeys unknownKeys_;
};

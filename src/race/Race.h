#pragma once

#include "core/Instant.h"
#include "core/UnknownKeys.h"

#include <QObject>
#include <QString>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>

// One race of the event: its name, gun time, optional finish time and the two ends of its start
// line, kept as the text the user typed. Every change of a field emits raceUpdated.
class Race : public QObject {
    Q_OBJECT
public:
    // Name "", gun time now, no finish, no start line.
    Race();

    // Throws DecodingError when a required key is missing or of the wrong type. Other keys are
    // kept and written back.
    static std::shared_ptr<Race> decode(const nlohmann::ordered_json& json);
    nlohmann::ordered_json encode() const;

    const QString& name() const { return name_; }
    Instant time() const { return time_; }
    std::optional<Instant> finishTime() const { return finishTime_; }
    const QString& pinLat() const { return pinLat_; }
    const QString& pinLon() const { return pinLon_; }
    const QString& rcLat() const { return rcLat_; }
    const QString& rcLon() const { return rcLon_; }
    // The finish time, or one hour after the gun when the finish is not known.
    Instant bestGuessFinishTime() const { return finishTime_ ? *finishTime_ : time_ + 3600.0; }

    void setName(const QString& name);
    void setTime(Instant time);
    void setFinishTime(std::optional<Instant> finishTime);
    void setPinLat(const QString& text);
    void setPinLon(const QString& text);
    void setRcLat(const QString& text);
    void setRcLon(const QString& text);

signals:
    // After every change of any field, so that one connection follows the whole race.
    void raceUpdated();

private:
    QString name_;
    Instant time_;
    std::optional<Instant> finishTime_;
    QString pinLat_;
    QString pinLon_;
    QString rcLat_;
    QString rcLon_;
    UnknownKeys unknownKeys_;
};

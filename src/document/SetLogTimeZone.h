#pragma once

#include "core/Instant.h"
#include "core/TimeZone.h"
#include "document/DocumentEdit.h"
#include "document/SailingLeg.h"

#include <memory>
#include <vector>

class LogFileAsset;
class Race;

// Reads the clock times of logs in another zone, which moves them on the event axis; with
// `reloadRaces`, the races, legs, tacks and gybes are then derived from the logs again, in the
// same step. Undone, zones, races, legs, tacks and gybes are as they were.
class SetLogTimeZone : public DocumentEdit {
public:
    SetLogTimeZone(std::vector<std::shared_ptr<LogFileAsset>> assets, TimeZone zone, bool reloadRaces);

    QString text() const override { return QStringLiteral("Set Log Time Zone"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const TimeZone& zone() const { return zone_; }
    bool reloadsRaces() const { return reloadRaces_; }

private:
    std::vector<std::shared_ptr<LogFileAsset>> assets_;
    TimeZone zone_;
    bool reloadRaces_;
    std::vector<TimeZone> previousZones_;
    std::vector<std::shared_ptr<Race>> previousRaces_;
    std::vector<SailingLeg> previousLegs_;
    std::vector<Instant> previousTacks_;
    std::vector<Instant> previousGybes_;
};

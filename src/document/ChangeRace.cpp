#include "document/ChangeRace.h"

#include "race/Race.h"

ChangeRace::Fields ChangeRace::Fields::of(const Race& race) {
    return {race.name(),   race.time(),  race.finishTime(), race.pinLat(),
            race.pinLon(), race.rcLat(), race.rcLon()};
}

ChangeRace::ChangeRace(std::shared_ptr<Race> race, Fields fields, QString text)
    : race_(std::move(race)), before_(Fields::of(*race_)), after_(std::move(fields)), text_(std::move(text)) {
}

// Only what differs, so that views hear of the change once.
void ChangeRace::write(Race& race, const Fields& fields) {
    if (race.name() != fields.name)
        race.setName(fields.name);
    if (race.time() != fields.time)
        race.setTime(fields.time);
    if (race.finishTime() != fields.finishTime)
        race.setFinishTime(fields.finishTime);
    if (race.pinLat() != fields.pinLat)
        race.setPinLat(fields.pinLat);
    if (race.pinLon() != fields.pinLon)
        race.setPinLon(fields.pinLon);
    if (race.rcLat() != fields.rcLat)
        race.setRcLat(fields.rcLat);
    if (race.rcLon() != fields.rcLon)
        race.setRcLon(fields.rcLon);
}

void ChangeRace::apply(Document&) {
    write(*race_, after_);
}

void ChangeRace::revert(Document&) {
    write(*race_, before_);
}

bool ChangeRace::absorb(const DocumentEdit& next) {
    auto* other = dynamic_cast<const ChangeRace*>(&next);
    if (!other || other->race_ != race_ || other->text_ != text_)
        return false;
    after_ = other->after_;
    return true;
}

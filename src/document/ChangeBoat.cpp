#include "document/ChangeBoat.h"

#include "document/Document.h"

std::unique_ptr<ChangeBoat> ChangeBoat::fullName(std::shared_ptr<Boat> boat, QString name) {
    return std::unique_ptr<ChangeBoat>(new ChangeBoat(std::move(boat), Setting::fullName, std::move(name)));
}

std::unique_ptr<ChangeBoat> ChangeBoat::shortName(std::shared_ptr<Boat> boat, QString name) {
    return std::unique_ptr<ChangeBoat>(new ChangeBoat(std::move(boat), Setting::shortName, std::move(name)));
}

std::unique_ptr<ChangeBoat> ChangeBoat::color(std::shared_ptr<Boat> boat, RgbColor color) {
    return std::unique_ptr<ChangeBoat>(new ChangeBoat(std::move(boat), Setting::color, color));
}

std::unique_ptr<ChangeBoat> ChangeBoat::displayMode(std::shared_ptr<Boat> boat, Boat::DisplayMode mode) {
    return std::unique_ptr<ChangeBoat>(new ChangeBoat(std::move(boat), Setting::displayMode, mode));
}

std::unique_ptr<ChangeBoat> ChangeBoat::boatLength(std::shared_ptr<Boat> boat, double metres) {
    return std::unique_ptr<ChangeBoat>(new ChangeBoat(std::move(boat), Setting::boatLength, metres));
}

std::unique_ptr<ChangeBoat> ChangeBoat::gpsOffset(std::shared_ptr<Boat> boat, double metres) {
    return std::unique_ptr<ChangeBoat>(new ChangeBoat(std::move(boat), Setting::gpsOffset, metres));
}

ChangeBoat::ChangeBoat(std::shared_ptr<Boat> boat, Setting setting, Value value)
    : boat_(std::move(boat)), setting_(setting), value_(std::move(value)) {}

QString ChangeBoat::text() const {
    switch (setting_) {
    case Setting::fullName:
        return QStringLiteral("Change Boat Name");
    case Setting::shortName:
        return QStringLiteral("Change Boat Short Name");
    case Setting::color:
        return QStringLiteral("Change Boat Colour");
    case Setting::displayMode:
        return QStringLiteral("Change Boat Display Mode");
    case Setting::boatLength:
        return QStringLiteral("Change Boat Length");
    case Setting::gpsOffset:
        return QStringLiteral("Change GPS Antenna Position");
    }
    return {};
}

ChangeBoat::Value ChangeBoat::current() const {
    switch (setting_) {
    case Setting::fullName:
        return boat_->fullName();
    case Setting::shortName:
        return boat_->shortName();
    case Setting::color:
        return boat_->color();
    case Setting::displayMode:
        return boat_->displayMode();
    case Setting::boatLength:
        return boat_->boatLength();
    case Setting::gpsOffset:
        return boat_->gpsOffset();
    }
    return {};
}

void ChangeBoat::set(const Value& value) {
    switch (setting_) {
    case Setting::fullName:
        boat_->setFullName(std::get<QString>(value));
        break;
    case Setting::shortName:
        boat_->setShortName(std::get<QString>(value));
        break;
    case Setting::color:
        boat_->setColor(std::get<RgbColor>(value));
        break;
    case Setting::displayMode:
        boat_->setDisplayMode(std::get<Boat::DisplayMode>(value));
        break;
    case Setting::boatLength:
        boat_->setBoatLength(std::get<double>(value));
        break;
    case Setting::gpsOffset:
        boat_->setGpsOffset(std::get<double>(value));
        break;
    }
}

void ChangeBoat::apply(Document& document) {
    previous_ = current();
    if (setting_ == Setting::displayMode) {
        modes_.clear();
        for (const auto& boat : document.boats())
            modes_.emplace_back(boat, boat->displayMode());
        // Announces the change itself.
        document.setDisplayMode(boat_, std::get<Boat::DisplayMode>(value_));
        return;
    }
    set(value_);
    document.setEdited(true);
    // Names and colours show in the outline, on the map and in the timeline.
    emit document.documentBoatsUpdated();
}

void ChangeBoat::revert(Document& document) {
    if (setting_ == Setting::displayMode) {
        // Straight onto the boats: through the document, restoring one holder would demote another.
        for (const auto& [boat, mode] : modes_)
            boat->setDisplayMode(mode);
        modes_.clear();
    } else if (previous_) {
        set(*previous_);
    }
    previous_.reset();
    document.setEdited(true);
    emit document.documentBoatsUpdated();
}

bool ChangeBoat::absorb(const DocumentEdit& next) {
    auto* change = dynamic_cast<const ChangeBoat*>(&next);
    if (!change || change->boat_ != boat_ || change->setting_ != setting_ ||
        (setting_ != Setting::boatLength && setting_ != Setting::gpsOffset))
        return false;
    value_ = change->value_;
    return true;
}

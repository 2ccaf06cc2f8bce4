#pragma once

#include "core/RgbColor.h"
#include "document/DocumentEdit.h"
#include "metrics/Boat.h"

#include <memory>
#include <optional>
#include <variant>
#include <vector>

// Changes one setting of one boat. A display mode goes through the document, which takes Main or
// Secondary from the boat that held it; undone, every boat has its mode back.
class ChangeBoat : public DocumentEdit {
public:
    enum class Setting { fullName, shortName, color, displayMode, boatLength, gpsOffset };
    using Value = std::variant<QString, RgbColor, Boat::DisplayMode, double>;

    static std::unique_ptr<ChangeBoat> fullName(std::shared_ptr<Boat> boat, QString name);
    static std::unique_ptr<ChangeBoat> shortName(std::shared_ptr<Boat> boat, QString name);
    static std::unique_ptr<ChangeBoat> color(std::shared_ptr<Boat> boat, RgbColor color);
    static std::unique_ptr<ChangeBoat> displayMode(std::shared_ptr<Boat> boat, Boat::DisplayMode mode);
    static std::unique_ptr<ChangeBoat> boatLength(std::shared_ptr<Boat> boat, double metres);
    static std::unique_ptr<ChangeBoat> gpsOffset(std::shared_ptr<Boat> boat, double metres);

    QString text() const override;
    void apply(Document& document) override;
    void revert(Document& document) override;
    // Steps of a spin box in a row make one change of the figure.
    bool absorb(const DocumentEdit& next) override;

    const std::shared_ptr<Boat>& boat() const { return boat_; }
    Setting setting() const { return setting_; }
    const Value& value() const { return value_; }

private:
    ChangeBoat(std::shared_ptr<Boat> boat, Setting setting, Value value);
    Value current() const;
    void set(const Value& value);

    std::shared_ptr<Boat> boat_;
    Setting setting_;
    Value value_;
    std::optional<Value> previous_;
    // Every boat's mode before a display mode change.
    std::vector<std::pair<std::shared_ptr<Boat>, Boat::DisplayMode>> modes_;
};

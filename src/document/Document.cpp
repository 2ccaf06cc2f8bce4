#include "document/Document.h"

#include "boatlog/LogFileAsset.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "race/Race.h"

#include <QFile>
#include <QTimer>
#include <algorithm>

Document::Document(QObject* parent) : QObject(parent), eventTimezone_(TimeZone::current()) {}

Document::~Document() = default;

void Document::setEdited(bool edited) {
    if (edited) {
        ++changeCount_;
        emit changed();
    }
    if (isEdited_ == edited)
        return;
    isEdited_ = edited;
    emit editedChanged(edited);
}

void Document::setActivity(Activity activity) {
    if (activity_ == activity)
        return;
    activity_ = activity;
    emit activityChanged(activity);
    // An edit may start another save or open, so run them one at a time and stop when one does.
    while (isEditable() && !pendingEdits_.empty()) {
        auto edit = std::move(pendingEdits_.front());
        pendingEdits_.erase(pendingEdits_.begin());
        edit();
    }
}

void Document::whenEditable(std::function<void()> edit) {
    if (isEditable())
        edit();
    else
        pendingEdits_.push_back(std::move(edit));
}

void Document::postQueued(void (Document::*signal)()) {
    QMetaObject::invokeMethod(
        this, [this, signal] { emit(this->*signal)(); }, Qt::QueuedConnection);
}

void Document::setBoats(std::vector<BoatPtr> boats) {
    boats_ = std::move(boats);
    for (const auto& [boat, logs] : std::vector(remainder_.unloadedLogs))
        if (std::find(boats_.begin(), boats_.end(), boat) == boats_.end())
            remainder_.forgetBoat(boat.get());
    setEdited(true);
    emit documentBoatsUpdated();
}

void Document::addBoat(BoatPtr boat) {
    boats_.push_back(std::move(boat));
    setEdited(true);
    emit documentBoatsUpdated();
}

void Document::removeBoat(const BoatPtr& boat) {
    std::erase(boats_, boat);
    std::erase_if(logAssetsPerBoat_, [&](const auto& entry) { return entry.first == boat; });
    remainder_.forgetBoat(boat.get());
    setEdited(true);
    emit documentBoatsUpdated();
}

void Document::setDisplayMode(const BoatPtr& boat, Boat::DisplayMode mode) {
    if (mode != Boat::DisplayMode::Other) {
        for (const auto& other : boats_)
            if (other != boat && other->displayMode() == mode)
                other->setDisplayMode(Boat::DisplayMode::Other);
    }
    boat->setDisplayMode(mode);
    setEdited(true);
    emit documentBoatsUpdated();
}

Document::BoatPtr Document::mainBoat() const {
    for (const auto& boat : boats_)
        if (boat->displayMode() == Boat::DisplayMode::Main)
            return boat;
    return nullptr;
}

Document::BoatPtr Document::secondaryBoat() const {
    for (const auto& boat : boats_)
        if (boat->displayMode() == Boat::DisplayMode::Secondary)
            return boat;
    return nullptr;
}

Document::BoatPtr Document::displayBoat() {
    if (auto main = mainBoat())
        return main;
    if (!boats_.empty())
        return boats_.front();
    // Not a user's change: the document does not count as edited for it.
    auto boat = Boat::create("My Boat", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    boats_.push_back(boat);
    postQueued(&Document::documentBoatsUpdated);
    return boat;
}

const std::vector<Document::LogAssetPtr>& Document::logAssets(const BoatPtr& boat) const {
    static const std::vector<LogAssetPtr> none;
    for (const auto& [owner, assets] : logAssetsPerBoat_)
        if (owner == boat)
            return assets;
    return none;
}

void Document::addLogAsset(const BoatPtr& boat, LogAssetPtr asset) {
    auto entry = std::find_if(logAssetsPerBoat_.begin(), logAssetsPerBoat_.end(),
                              [&](const auto& e) { return e.first == boat; });
    if (entry == logAssetsPerBoat_.end()) {
        logAssetsPerBoat_.emplace_back(boat, std::vector<LogAssetPtr>{});
        entry = std::prev(logAssetsPerBoat_.end());
    }
    entry->second.push_back(std::move(asset));
    setEdited(true);
}

void Document::removeLogAsset(const LogAssetPtr& asset) {
    for (auto& entry : logAssetsPerBoat_)
        std::erase(entry.second, asset);
    setEdited(true);
}

std::vector<Document::LogAssetPtr> Document::allLogAssets() const {
    std::vector<LogAssetPtr> all;
    for (const auto& boat : boats_) {
        const auto& assets = logAssets(boat);
        all.insert(all.end(), assets.begin(), assets.end());
    }
    return all;
}

void Document::setRaces(std::vector<RacePtr> races) {
    for (const auto& race : races_)
        race->disconnect(this);
    races_ = std::move(races);
    watchRaces();
    setEdited(true);
    postQueued(&Document::documentRacesUpdated);
}

void Document::watchRaces() {
    for (const auto& race : races_) {
        Race* r = race.get();
        connect(r, &Race::raceUpdated, this, [this, r] {
            setEdited(true);
            emit raceUpdated(r);
        });
    }
}

void Document::setMediaGroups(std::vector<MediaGroupPtr> groups) {
    mediaGroups_ = std::move(groups);
    setEdited(true);
    emit documentAssetsUpdated();
}

void Document::addMediaGroup(MediaGroupPtr group) {
    mediaGroups_.push_back(std::move(group));
    setEdited(true);
    emit documentAssetsUpdated();
}

void Document::removeMediaGroup(const MediaGroupPtr& group) {
    std::erase(mediaGroups_, group);
    std::erase_if(assets_, [&](const AssetPtr& asset) { return asset->mediaGroup() == group; });
    setEdited(true);
    emit documentAssetsUpdated();
}

Document::MediaGroupPtr Document::mediaGroupNamed(const QString& name) const {
    for (const auto& group : mediaGroups_)
        if (group->name == name)
            return group;
    return nullptr;
}

void Document::addAsset(AssetPtr asset, MediaGroupPtr group) {
    asset->setMediaGroup(std::move(group));
    assets_.push_back(std::move(asset));
    setEdited(true);
    emit documentAssetsUpdated();
}

void Document::addAssets(const std::vector<AssetPtr>& assets, const MediaGroupPtr& group) {
    for (const auto& asset : assets) {
        asset->setMediaGroup(group);
        assets_.push_back(asset);
    }
    setEdited(true);
    emit documentAssetsUpdated();
}

void Document::setAssets(std::vector<AssetPtr> assets) {
    assets_ = std::move(assets);
    setEdited(true);
    emit documentAssetsUpdated();
}

void Document::removeAsset(const AssetPtr& asset) {
    std::erase(assets_, asset);
    setEdited(true);
    emit documentAssetsUpdated();
}

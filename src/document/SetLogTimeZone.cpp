#include "document/SetLogTimeZone.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/LegDerivation.h"

namespace {

// The logs moved on the event axis: boat views and every time axis follow.
void announce(Document& document) {
    document.setEdited(true);
    emit document.documentBoatsUpdated();
    document.postAssetsUpdated();
}

} // namespace

SetLogTimeZone::SetLogTimeZone(std::vector<std::shared_ptr<LogFileAsset>> assets, TimeZone zone,
                               bool reloadRaces)
    : assets_(std::move(assets)), zone_(std::move(zone)), reloadRaces_(reloadRaces) {}

void SetLogTimeZone::apply(Document& document) {
    previousZones_.clear();
    for (const auto& asset : assets_) {
        previousZones_.push_back(asset->fileTimeZone());
        asset->setFileTimeZone(zone_);
    }
    if (reloadRaces_) {
        previousRaces_ = document.races();
        previousLegs_ = document.legs();
        previousTacks_ = document.tackTimes();
        previousGybes_ = document.gybeTimes();
        LegDerivation::apply(document);
    }
    announce(document);
}

void SetLogTimeZone::revert(Document& document) {
    for (std::size_t i = 0; i < assets_.size() && i < previousZones_.size(); ++i)
        assets_[i]->setFileTimeZone(previousZones_[i]);
    previousZones_.clear();
    if (reloadRaces_) {
        // The very race objects of before, so that anything holding one still holds the document's.
        document.setRaces(std::move(previousRaces_));
        document.setLegs(std::move(previousLegs_));
        document.setTackTimes(std::move(previousTacks_));
        document.setGybeTimes(std::move(previousGybes_));
        previousRaces_.clear();
        previousLegs_.clear();
        previousTacks_.clear();
        previousGybes_.clear();
    }
    announce(document);
}

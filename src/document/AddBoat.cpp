#include "document/AddBoat.h"

#include "document/Document.h"

void AddBoat::apply(Document& document) {
    demoted_.clear();
    const Boat::DisplayMode mode = boat_->displayMode();
    if (mode != Boat::DisplayMode::Other)
        for (const auto& other : document.boats())
            if (other->displayMode() == mode)
                demoted_.emplace_back(other, mode);
    document.addBoat(boat_);
    // Through the document, so that the mode stays held by one boat only.
    document.setDisplayMode(boat_, mode);
}

void AddBoat::revert(Document& document) {
    document.removeBoat(boat_);
    for (const auto& [other, mode] : demoted_)
        document.setDisplayMode(other, mode);
    demoted_.clear();
}

#include "document/RemoveRace.h"

#include "document/Document.h"

#include <algorithm>

void RemoveRace::apply(Document& document) {
    races_ = document.races();
    auto races = races_;
    std::erase(races, race_);
    // Announced even when the list ends empty, so that views drop the last race too.
    document.setRaces(std::move(races));
}

void RemoveRace::revert(Document& document) {
    document.setRaces(races_);
}

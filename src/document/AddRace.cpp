#include "document/AddRace.h"

#include "document/Document.h"
#include "race/Race.h"

#include <algorithm>

void AddRace::apply(Document& document) {
    auto races = document.races();
    races.push_back(race_);
    document.setRaces(std::move(races));
}

void AddRace::revert(Document& document) {
    auto races = document.races();
    std::erase(races, race_);
    document.setRaces(std::move(races));
}

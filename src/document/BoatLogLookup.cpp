#include "document/BoatLogLookup.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"

std::optional<BoatLogView> BoatLogLookup::view(const Document& document, const std::shared_ptr<Boat>& boat,
                                               Instant t) {
    if (!boat)
        return std::nullopt;
    for (const auto& asset : document.logAssets(boat))
        if (const auto& log = asset->boatLog())
            if (auto view = log->view(t, true))
                return view;
    return std::nullopt;
}

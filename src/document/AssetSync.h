#pragma once

#include "core/Instant.h"
#include "document/CameraSync.h"

#include <QString>
#include <memory>
#include <optional>

class Boat;
class CameraTrack;
class Document;
class MediaAsset;

// "Sync to Data" for one video: its camera's GPS track, placed where the asset is now, against a
// boat's logs around it.
class AssetSync {
public:
    struct Proposal {
        std::optional<CameraSync::Result> result;
        // Why there is no result, in words for the user.
        QString failure;
    };

    // Against `boat`, or the document's main boat when none is given. Reads the video file.
    static Proposal propose(const Document& document, const std::shared_ptr<MediaAsset>& asset,
                            std::shared_ptr<Boat> boat = nullptr);

    // The camera's locked points at their event times when the recording starts at `start`.
    static CameraSync::Series cameraSeries(const CameraTrack& track, Instant start);
    // A boat's SOG (in metres per second) and positions from all its logs between two instants.
    static CameraSync::Series boatSeries(const Document& document, const std::shared_ptr<Boat>& boat,
                                         Instant from, Instant to);
};

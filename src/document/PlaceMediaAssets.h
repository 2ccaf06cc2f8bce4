#pragma once

#include "core/Instant.h"
#include "core/TimeZone.h"
#include "document/DocumentEdit.h"

#include <memory>
#include <vector>

class MediaAsset;

// Moves photos and videos on the event axis by what places them: the offset the user adds, the zone
// the file's clock is read in, and the file's own start reading. Each asset keeps its values from
// before and after, so undo puts back exactly what was there, even when the assets differed.
class PlaceMediaAssets : public DocumentEdit {
public:
    // What places one asset on the event axis.
    struct Placement {
        double offset = 0.0;
        TimeZone fileTimeZone;
        Instant fileStartTime;

        static Placement of(const MediaAsset& asset);
        void applyTo(MediaAsset& asset) const;
        bool operator==(const Placement& other) const;
    };
    struct Change {
        std::shared_ptr<MediaAsset> asset;
        Placement before;
        Placement after;
    };

    // Changes that change nothing are left out.
    PlaceMediaAssets(QString text, std::vector<Change> changes);

    // Each is none when no asset would move.
    static std::unique_ptr<PlaceMediaAssets>
    settingOffset(const std::vector<std::shared_ptr<MediaAsset>>& assets, double seconds);
    // Adds `seconds` to each asset's own offset: stepping assets whose offsets differ.
    static std::unique_ptr<PlaceMediaAssets>
    addingToOffset(const std::vector<std::shared_ptr<MediaAsset>>& assets, double seconds);
    static std::unique_ptr<PlaceMediaAssets>
    settingFileTimeZone(const std::vector<std::shared_ptr<MediaAsset>>& assets, const TimeZone& zone);
    // `reading` is the file clock's wall-clock reading stored as if it were UTC.
    static std::unique_ptr<PlaceMediaAssets> settingFileStartTime(const std::shared_ptr<MediaAsset>& asset,
                                                                  Instant reading);

    QString text() const override { return text_; }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::vector<Change>& changes() const { return changes_; }

private:
    template <class Adjust>
    static std::unique_ptr<PlaceMediaAssets>
    changing(QString text, const std::vector<std::shared_ptr<MediaAsset>>& assets, Adjust adjust);
    void place(Document& document, bool after);

    QString text_;
    std::vector<Change> changes_;
};

#include "document/PlaceMediaAssets.h"

#include "document/Document.h"
#include "media/MediaAsset.h"

#include <algorithm>

PlaceMediaAssets::Placement PlaceMediaAssets::Placement::of(const MediaAsset& asset) {
    return {asset.offset(), asset.fileTimeZone(), asset.fileStartTime()};
}

void PlaceMediaAssets::Placement::applyTo(MediaAsset& asset) const {
    asset.setOffset(offset);
    asset.setFileTimeZone(fileTimeZone);
    asset.setFileStartTime(fileStartTime);
}

bool PlaceMediaAssets::Placement::operator==(const Placement& other) const {
    return offset == other.offset && fileTimeZone == other.fileTimeZone &&
           fileStartTime == other.fileStartTime;
}

PlaceMediaAssets::PlaceMediaAssets(QString text, std::vector<Change> changes)
    : text_(std::move(text)), changes_(std::move(changes)) {
    std::erase_if(changes_,
                  [](const Change& change) { return !change.asset || change.before == change.after; });
}

template <class Adjust>
std::unique_ptr<PlaceMediaAssets>
PlaceMediaAssets::changing(QString text, const std::vector<std::shared_ptr<MediaAsset>>& assets,
                           Adjust adjust) {
    std::vector<Change> changes;
    for (const auto& asset : assets) {
        if (!asset)
            continue;
        Placement before = Placement::of(*asset);
        Placement after = before;
        adjust(after);
        changes.push_back({asset, before, after});
    }
    auto edit = std::make_unique<PlaceMediaAssets>(std::move(text), std::move(changes));
    if (edit->changes_.empty())
        return nullptr;
    return edit;
}

std::unique_ptr<PlaceMediaAssets>
PlaceMediaAssets::settingOffset(const std::vector<std::shared_ptr<MediaAsset>>& assets, double seconds) {
    return changing(QStringLiteral("Set Media Offset"), assets,
                    [seconds](Placement& p) { p.offset = seconds; });
}

std::unique_ptr<PlaceMediaAssets>
PlaceMediaAssets::addingToOffset(const std::vector<std::shared_ptr<MediaAsset>>& assets, double seconds) {
    return changing(QStringLiteral("Set Media Offset"), assets,
                    [seconds](Placement& p) { p.offset += seconds; });
}

std::unique_ptr<PlaceMediaAssets>
PlaceMediaAssets::settingFileTimeZone(const std::vector<std::shared_ptr<MediaAsset>>& assets,
                                      const TimeZone& zone) {
    return changing(QStringLiteral("Set Media Time Zone"), assets,
                    [&zone](Placement& p) { p.fileTimeZone = zone; });
}

std::unique_ptr<PlaceMediaAssets>
PlaceMediaAssets::settingFileStartTime(const std::shared_ptr<MediaAsset>& asset, Instant reading) {
    return changing(QStringLiteral("Set Media File Time"), {asset},
                    [reading](Placement& p) { p.fileStartTime = reading; });
}

void PlaceMediaAssets::apply(Document& document) {
    place(document, true);
}

void PlaceMediaAssets::revert(Document& document) {
    place(document, false);
}

void PlaceMediaAssets::place(Document& document, bool after) {
    for (const auto& change : changes_)
        (after ? change.after : change.before).applyTo(*change.asset);
    document.setEdited(true);
    // The timeline and the media views move the clips.
    document.postAssetsUpdated();
}

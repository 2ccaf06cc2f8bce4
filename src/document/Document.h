#pragma once

#include "core/Instant.h"
#include "core/TimeZone.h"
#include "document/PackageRemainder.h"
#include "document/SailingLeg.h"
#include "document/TimestampWriteMode.h"
#include "metrics/Boat.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class LogFileAsset;
class MediaAsset;
class MediaGroup;
class Race;
class QFile;
class QTimer;

// The one model object of an open event: boats and their logs, races, media groups and assets,
// the event time zone and the playback state. Every change is announced by a signal; views hold
// the document, never the reverse. A main-thread object.
class Document : public QObject {
    Q_OBJECT
public:
    using BoatPtr = std::shared_ptr<Boat>;
    using LogAssetPtr = std::shared_ptr<LogFileAsset>;
    using RacePtr = std::shared_ptr<Race>;
    using MediaGroupPtr = std::shared_ptr<MediaGroup>;
    using AssetPtr = std::shared_ptr<MediaAsset>;

    explicit Document(QObject* parent = nullptr);
    ~Document() override;

    // Boats. Every change emits documentBoatsUpdated and marks the document edited.
    const std::vector<BoatPtr>& boats() const { return boats_; }
    void setBoats(std::vector<BoatPtr> boats);
    void addBoat(BoatPtr boat);
    // Also drops the boat's log assets.
    void removeBoat(const BoatPtr& boat);
    // Main and Secondary are held by at most one boat each: giving one to a boat turns any
    // other holder into Other.
    void setDisplayMode(const BoatPtr& boat, Boat::DisplayMode mode);
    BoatPtr mainBoat() const;
    BoatPtr secondaryBoat() const;
    // The boat views follow: the main boat, else the first one. A document without boats gets
    // a new red "My Boat" as its main boat, announced once the current event is handled.
    BoatPtr displayBoat();

    // Log assets, per boat in the order added.
    const std::vector<LogAssetPtr>& logAssets(const BoatPtr& boat) const;
    void addLogAsset(const BoatPtr& boat, LogAssetPtr asset);
    void removeLogAsset(const LogAssetPtr& asset);
    // All boats' log assets, in boat order.
    std::vector<LogAssetPtr> allLogAssets() const;

    // Races. Setting them announces documentRacesUpdated once the current event is handled, so
    // observers see a whole batch of changes at once.
    const std::vector<RacePtr>& races() const { return races_; }
    void setRaces(std::vector<RacePtr> races);

    // Media groups and assets. Every change emits documentAssetsUpdated.
    const std::vector<MediaGroupPtr>& mediaGroups() const { return mediaGroups_; }
    void setMediaGroups(std::vector<MediaGroupPtr> groups);
    void addMediaGroup(MediaGroupPtr group);
    // Also removes the group's assets: an asset outside every group could never be shown.
    void removeMediaGroup(const MediaGroupPtr& group);
    MediaGroupPtr mediaGroupNamed(const QString& name) const;
    const std::vector<AssetPtr>& assets() const { return assets_; }
    void addAsset(AssetPtr asset, MediaGroupPtr group);
    // Many at once, announced once: a folder of files is one change.
    void addAssets(const std::vector<AssetPtr>& assets, const MediaGroupPtr& group);
    void removeAsset(const AssetPtr& asset);
    // The whole list at once, each asset keeping its group: how an undo puts assets back in place.
    void setAssets(std::vector<AssetPtr> assets);

    // Derived from the main boat's log metadata.
    const std::vector<SailingLeg>& legs() const { return legs_; }
    const std::vector<Instant>& tackTimes() const { return tackTimes_; }
    const std::vector<Instant>& gybeTimes() const { return gybeTimes_; }
    void setLegs(std::vector<SailingLeg> legs) { legs_ = std::move(legs); }
    void setTackTimes(std::vector<Instant> times) { tackTimes_ = std::move(times); }
    void setGybeTimes(std::vector<Instant> times) { gybeTimes_ = std::move(times); }

    // Plain setters: the views that change these announce it with postAssetsUpdated(), so that
    // every view re-derives its time axis.
    const TimeZone& eventTimezone() const { return eventTimezone_; }
    void setEventTimezone(const TimeZone& zone) { eventTimezone_ = zone; }
    std::optional<Instant> eventStartTimeOverride() const { return eventStartTimeOverride_; }
    void setEventStartTimeOverride(std::optional<Instant> time) { eventStartTimeOverride_ = time; }
    std::optional<Instant> eventEndTimeOverride() const { return eventEndTimeOverride_; }
    void setEventEndTimeOverride(std::optional<Instant> time) { eventEndTimeOverride_ = time; }
    void postAssetsUpdated() { emit documentAssetsUpdated(); }
    // A window chose a race in its race selector; every window of this document follows.
    void postRaceIndexSelected(int raceIndex) { emit raceIndexSelected(raceIndex); }

    // Playback clock. While playing, a tick every 0.04 s puts the position at the anchored event
    // time plus the wall-clock time since the anchor, so late ticks never add up to drift. A user
    // seek pauses. Playback runs on past the event's end until the user stops it.
    static constexpr int tickMilliseconds = 40;
    static constexpr double eventRangeMargin = 600.0;
    void play();
    void pause();
    void setPlaybackPosition(Instant position, bool seeked);
    void tick();
    void timestampWriteTick();
    // The wall clock the playback follows; tests drive it by hand.
    void setWallClock(std::function<Instant()> clock) { wallClock_ = std::move(clock); }
    // The overrides, else the earliest and latest of the races, videos, legs and logs widened by
    // ten minutes; none without any of them.
    std::optional<Instant> eventStartTime() const;
    std::optional<Instant> eventEndTime() const;

    // Playback state.
    bool isPlaying() const { return isPlaying_; }
    std::optional<Instant> eventPlaybackPosition() const { return eventPlaybackPosition_; }
    std::optional<Instant> lastPlayTimeSystem() const { return lastPlayTimeSystem_; }
    std::optional<Instant> lastPlayTimeEvent() const { return lastPlayTimeEvent_; }
    TimestampWriteMode timestampMode() const { return timestampMode_; }
    TimestampFormat timestampFormat() const { return timestampFormat_; }

    // The package the document was opened from or last saved to; empty for a new document.
    const QString& packagePath() const { return packagePath_; }
    void setPackagePath(const QString& path) { packagePath_ = path; }

    // Unsaved changes. Playback, seeking and window layout never count as changes.
    bool isEdited() const { return isEdited_; }
    bool isDocumentEdited() const { return isEdited_; }
    void setEdited(bool edited);
    // Counts every change, so that a save can tell whether the document changed while it wrote.
    quint64 changeCount() const { return changeCount_; }

    // What the package held that the model does not use; saving writes it back.
    const PackageRemainder& packageRemainder() const { return remainder_; }
    void setPackageRemainder(PackageRemainder remainder) { remainder_ = std::move(remainder); }
    PackageRemainder& packageRemainder() { return remainder_; }

    // While the opener fills the document or a save writes it, nothing may change it: an edit
    // would be overwritten by the opener, or miss the package being written. Menus and editors
    // follow `activityChanged`.
    enum class Activity { ready, opening, saving };
    Activity activity() const { return activity_; }
    bool isEditable() const { return activity_ == Activity::ready; }
    void setActivity(Activity activity);
    // Runs `edit` now when the document is editable, else once it is again (never, if it is
    // closed first). For work that finishes on its own time, such as examining media files.
    void whenEditable(std::function<void()> edit);

signals:
    void documentBoatsUpdated();
    void documentRacesUpdated();
    void documentAssetsUpdated();
    // A race of this document changed one of its fields.
    void raceUpdated(Race* race);
    void playbackStarted(std::optional<Instant> playbackPosition);
    void playbackPaused(std::optional<Instant> playbackPosition);
    void playbackPositionUpdated(std::optional<Instant> playbackPosition, bool positionSeeked);
    void editedChanged(bool edited);
    // After every change that marks the document edited.
    void changed();
    void activityChanged(Document::Activity activity);
    void raceIndexSelected(int raceIndex);

protected:
    std::vector<BoatPtr> boats_;
    std::vector<std::pair<BoatPtr, std::vector<LogAssetPtr>>> logAssetsPerBoat_;
    std::vector<RacePtr> races_;
    std::vector<MediaGroupPtr> mediaGroups_;
    std::vector<AssetPtr> assets_;
    std::vector<SailingLeg> legs_;
    std::vector<Instant> tackTimes_;
    std::vector<Instant> gybeTimes_;
    TimeZone eventTimezone_;
    std::optional<Instant> eventStartTimeOverride_;
    std::optional<Instant> eventEndTimeOverride_;
    bool isPlaying_ = false;
    std::optional<Instant> eventPlaybackPosition_;
    std::optional<Instant> lastPlayTimeSystem_;
    std::optional<Instant> lastPlayTimeEvent_;
    bool isEdited_ = false;
    quint64 changeCount_ = 0;
    PackageRemainder remainder_;
    Activity activity_ = Activity::ready;
    std::vector<std::function<void()>> pendingEdits_;
    QTimer* timer_ = nullptr;
    QTimer* timestampWriteTimer_ = nullptr;
    std::unique_ptr<QFile> timestampWriteFileHandle_;
    TimestampWriteMode timestampMode_ = TimestampWriteMode::Disabled;
    TimestampFormat timestampFormat_ = TimestampFormat::DelphiMsecInt;
    std::function<Instant()> wallClock_ = &Instant::now;
    QString packagePath_;

private:
    void postQueued(void (Document::*signal)());
    void advance(const std::function<void(Instant)>& action);
    void writeTimestamp(Instant position, bool reopen);
    std::vector<Instant> collectedTimePoints() const;
    void watchRaces();
};

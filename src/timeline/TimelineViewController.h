#pragma once

#include "core/Instant.h"
#include "presentation/DocumentObservingViewController.h"
#include "timeline/TimelineViewDelegate.h"

#include <QMetaObject>
#include <QString>
#include <memory>
#include <optional>
#include <utility>

class QComboBox;
class QToolButton;
class Race;
class TimelineView;

// The timeline of a presentation window with its controls: play/pause, add media, and the race
// selector that focuses the timeline on one race. A race chosen in one window is chosen in every
// window of the same document.
//
// Focus: the whole event shows the document's event range. A race shows from 600 s before its gun
// (the whole start sequence) to 60 s after its finish, or after its best-guess finish when the
// finish is not known. Choosing a race is a seek: the playback moves, once, to 300 s before the
// gun, the start of a five-minute sequence. Choosing the whole event leaves the playback where it
// is; so do changes of the races, which refocus only.
class TimelineViewController : public DocumentObservingViewController, public TimelineViewDelegate {
    Q_OBJECT
public:
    using TimeRange = std::pair<Instant, Instant>;

    static constexpr double raceLeadIn = 600.0;
    static constexpr double raceRunOut = 60.0;
    static constexpr double raceSeekLeadIn = 300.0;

    explicit TimelineViewController(QWidget* parent = nullptr);
    ~TimelineViewController() override;

    QToolButton* playPauseButton() const { return playPauseButton_; }
    TimelineView* timelineView() const { return timelineView_; }
    QToolButton* addAssetsButton() const { return addAssetsButton_; }
    QComboBox* raceSelector() const { return raceSelector_; }
    // "Play" while paused, "Pause" while playing.
    const QString& playPauseImageName() const { return playPauseImageName_; }

    void playPausePressed();
    void addAssetsPressed();
    // The race selector's action: every window of the document follows the choice.
    void didSelectRace();
    // Another window (or this one) chose a selector item; an index beyond the items is ignored.
    void didSelectRaceElsewhere(int raceIndex);

    // The race of the selected item; none for the whole event.
    std::shared_ptr<Race> selectedRace() const;
    // What the timeline shows for the selected item; none when the document has no times at all.
    std::optional<TimeRange> focusedRange() const;
    // Refocuses on the selected item and, for a race, seeks to its start sequence.
    void focusSelectedRace();

    void timelineViewDidSeek(TimelineView* view, Instant time) override;

protected:
    void viewDidAppear() override;
    void viewWillDisappear() override;
    void documentDidChange() override;
    void didUpdateAssets() override;
    void didUpdateRaces() override;
    void didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) override;
    void didPlay() override;
    void didPause() override;
    void changeEvent(QEvent* event) override;

private:
    void observeRaceSelection();
    void reloadRaceSelector();
    void reloadTimeline();
    void applyFocus();
    void seekToSelectedRace();
    void showPlaying(bool playing);

    QToolButton* playPauseButton_;
    TimelineView* timelineView_;
    QToolButton* addAssetsButton_;
    QComboBox* raceSelector_;
    QString playPauseImageName_;
    // Kept by identity, so that the choice survives a change of the race list.
    std::weak_ptr<Race> selectedRace_;
    QMetaObject::Connection raceSelectionConnection_;
};

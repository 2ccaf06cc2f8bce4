#pragma once

#include <QObject>
#include <QStringList>
#include <vector>

class PresentationWindowController;
class QAction;
class VideoPlaybackViewController;

// The commands of a window that act on the photo or video it shows: stepping frame by frame,
// shifting the asset against the data, exporting what it shows. Active while any part of the window has the
// focus; held keys repeat.
class MediaCommands : public QObject {
    Q_OBJECT
public:
    explicit MediaCommands(PresentationWindowController* window);

    // "NextFrame", "PreviousFrame": the Playback menu's.
    static QStringList playbackIdentifiers();
    // "AdjustAssetTime", "ShiftAssetEarlierFrame", "ShiftAssetLaterFrame", "ShiftAssetEarlier01",
    // "ShiftAssetLater01", "MuteAudio", "ExportView", "ExportAllPhotos", "CaptureScreen",
    // "ChooseExportFolder":
    // the Media menu's.
    static QStringList mediaIdentifiers();
    QAction* action(const QString& identifier) const;

    // The step of the frame commands when no video is displayed: one tick of the clock.
    static constexpr double defaultFrameStep = 0.04;
    static constexpr double shortShift = 0.1;

    void trigger(const QString& identifier);
    void validate();

private:
    VideoPlaybackViewController* video() const;
    void stepFrame(int direction);
    void shift(double seconds);
    bool isEnabled(const QString& identifier) const;

    PresentationWindowController* window_;
    std::vector<QAction*> actions_;
};

#include "presentation/MediaCommands.h"

#include "document/Document.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QAction>

namespace {

struct Command {
    const char* identifier;
    const char* title;
    QList<QKeySequence> shortcuts;
};

const std::vector<Command>& commands() {
    // Shift with Alt+Shift: on most layouts Shift turns "." into ">", which the shortcut must
    // match as well.
    static const std::vector<Command> all{
        {"NextFrame", "Next Frame", {QKeySequence(Qt::Key_Period)}},
        {"PreviousFrame", "Previous Frame", {QKeySequence(Qt::Key_Comma)}},
        {"AdjustAssetTime", "Adjust Asset Time…", {QKeySequence(Qt::CTRL | Qt::Key_T)}},
        {"ShiftAssetEarlierFrame", "Shift Asset 1 Frame Earlier", {QKeySequence(Qt::ALT | Qt::Key_Comma)}},
        {"ShiftAssetLaterFrame", "Shift Asset 1 Frame Later", {QKeySequence(Qt::ALT | Qt::Key_Period)}},
        {"ShiftAssetEarlier01",
         "Shift Asset 0.1 Second Earlier",
         {QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Comma),
          QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Less)}},
        {"ShiftAssetLater01",
         "Shift Asset 0.1 Second Later",
         {QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Period),
          QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Greater)}},
        {"MuteAudio", "Mute Audio", {QKeySequence(Qt::CTRL | Qt::Key_M)}},
        {"ExportView", "Export Snapshot", {QKeySequence(Qt::CTRL | Qt::Key_E)}},
        {"ExportAllPhotos",
         "Export All Photos of the Media Group…",
         {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E)}},
        {"CaptureScreen", "Capture Screen…", {}},
        {"ChooseExportFolder", "Choose Export Folder…", {}},
    };
    return all;
}

} // namespace

MediaCommands::MediaCommands(PresentationWindowController* window) : QObject(window), window_(window) {
    for (const Command& command : commands()) {
        auto* action = new QAction(tr(command.title), window);
        action->setObjectName(QString::fromLatin1(command.identifier));
        action->setShortcuts(command.shortcuts);
        action->setShortcutContext(Qt::WindowShortcut);
        action->setAutoRepeat(true);
        if (action->objectName() == QLatin1String("MuteAudio")) {
            action->setCheckable(true);
            action->setAutoRepeat(false);
        }
        window->addAction(action);
        const QString identifier = action->objectName();
        connect(action, &QAction::triggered, this, [this, identifier] { trigger(identifier); });
        actions_.push_back(action);
    }
    validate();
}

QStringList MediaCommands::playbackIdentifiers() {
    return {QStringLiteral("PreviousFrame"), QStringLiteral("NextFrame")};
}

QStringList MediaCommands::mediaIdentifiers() {
    return {QStringLiteral("AdjustAssetTime"),      QStringLiteral("ShiftAssetEarlierFrame"),
            QStringLiteral("ShiftAssetLaterFrame"), QStringLiteral("ShiftAssetEarlier01"),
            QStringLiteral("ShiftAssetLater01"),    QStringLiteral("MuteAudio"),
            QStringLiteral("ExportView"),           QStringLiteral("ExportAllPhotos"),
            QStringLiteral("CaptureScreen"),        QStringLiteral("ChooseExportFolder")};
}

QAction* MediaCommands::action(const QString& identifier) const {
    for (auto* action : actions_)
        if (action->objectName() == identifier)
            return action;
    return nullptr;
}

VideoPlaybackViewController* MediaCommands::video() const {
    return window_->videoViewController();
}

void MediaCommands::trigger(const QString& identifier) {
    if (!isEnabled(identifier))
        return;
    if (identifier == QLatin1String("NextFrame"))
        stepFrame(1);
    else if (identifier == QLatin1String("PreviousFrame"))
        stepFrame(-1);
    else if (identifier == QLatin1String("AdjustAssetTime"))
        video()->toggleAssetShift();
    else if (identifier == QLatin1String("ShiftAssetEarlierFrame"))
        shift(-video()->frameDuration().value_or(defaultFrameStep));
    else if (identifier == QLatin1String("ShiftAssetLaterFrame"))
        shift(video()->frameDuration().value_or(defaultFrameStep));
    else if (identifier == QLatin1String("ShiftAssetEarlier01"))
        shift(-shortShift);
    else if (identifier == QLatin1String("ShiftAssetLater01"))
        shift(shortShift);
    else if (identifier == QLatin1String("MuteAudio"))
        video()->setMuteAudio(!video()->muteAudio());
    else if (identifier == QLatin1String("ExportView"))
        video()->exportCurrentView();
    else if (identifier == QLatin1String("ExportAllPhotos"))
        video()->exportAllPhotos();
    else if (identifier == QLatin1String("CaptureScreen"))
        video()->captureScreen();
    else if (identifier == QLatin1String("ChooseExportFolder"))
        video()->chooseExportFolder();
}

void MediaCommands::stepFrame(int direction) {
    Document* document = window_->currentDocument();
    std::optional<Instant> origin = document->eventPlaybackPosition();
    if (!origin)
        origin = document->eventStartTime();
    std::optional<Instant> target;
    if (auto* view = video())
        target = view->frameStepPosition(direction);
    if (!target)
        target = *origin + direction * defaultFrameStep;
    // A step is a seek: it pauses playback.
    document->setPlaybackPosition(*target, true);
}

void MediaCommands::shift(double seconds) {
    video()->shiftAsset(seconds);
}

bool MediaCommands::isEnabled(const QString& identifier) const {
    Document* document = window_->currentDocument();
    if (!document)
        return false;
    if (identifier == QLatin1String("NextFrame") || identifier == QLatin1String("PreviousFrame"))
        return document->eventPlaybackPosition() || document->eventStartTime();
    auto* view = video();
    if (!view)
        return false;
    // These say when there is nothing to shift or export.
    if (identifier == QLatin1String("AdjustAssetTime") || identifier == QLatin1String("ExportView") ||
        identifier == QLatin1String("ExportAllPhotos") || identifier == QLatin1String("CaptureScreen") ||
        identifier == QLatin1String("ChooseExportFolder") || identifier == QLatin1String("MuteAudio"))
        return true;
    return view->currentAsset() && document->isEditable();
}

void MediaCommands::validate() {
    for (auto* action : actions_)
        action->setEnabled(isEnabled(action->objectName()));
    if (auto* view = video())
        action("MuteAudio")->setChecked(view->muteAudio());
}

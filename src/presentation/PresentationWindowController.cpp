#include "presentation/PresentationWindowController.h"

#include "config/MetricsConfigViewController.h"
#include "core/FatalError.h"
#include "document/Document.h"
#include "document/MetricsOverlayContent.h"
#include "map/RaceMapViewController.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "presentation/DocumentObservingViewController.h"
#include "presentation/MediaCommands.h"
#include "presentation/MetricsGraphViewController.h"
#include "presentation/MetricsGraphWindowState.h"
#include "presentation/MetricsTableViewController.h"
#include "presentation/StateRecordValues.h"
#include "presentation/VideoPlaybackViewController.h"
#include "presentation/ViewFactory.h"
#include "race/Race.h"
#include "timeline/TimelineViewController.h"

#include <QAction>
#include <QGuiApplication>
#include <QMenuBar>
#include <QScreen>
#include <QSplitter>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace {
template <class View> View* firstView(const std::vector<DocumentObservingViewController*>& views) {
    for (auto* view : views)
        if (auto* v = qobject_cast<View*>(view))
            return v;
    return nullptr;
}
} // namespace

namespace {

struct PlaybackCommand {
    const char* identifier;
    const char* title;
    QKeySequence shortcut;
};

const std::vector<PlaybackCommand>& playbackCommands() {
    static const std::vector<PlaybackCommand> commands{
        {"PlayPause", "Play/Pause", QKeySequence(Qt::Key_Space)},
        {"SeekBack01", "Back 0.1 Second", QKeySequence(Qt::ALT | Qt::Key_Left)},
        {"SeekBack1", "Back 1 Second", QKeySequence(Qt::Key_Left)},
        {"SeekBack10", "Back 10 Seconds", QKeySequence(Qt::SHIFT | Qt::Key_Left)},
        {"SeekForward01", "Forward 0.1 Second", QKeySequence(Qt::ALT | Qt::Key_Right)},
        {"SeekForward1", "Forward 1 Second", QKeySequence(Qt::Key_Right)},
        {"SeekForward10", "Forward 10 Seconds", QKeySequence(Qt::SHIFT | Qt::Key_Right)},
        {"SeekPreviousAsset", "Previous Photo or Video", QKeySequence(Qt::Key_PageUp)},
        {"SeekNextAsset", "Next Photo or Video", QKeySequence(Qt::Key_PageDown)},
        {"FocusRace", "Focus on Selected Race", QKeySequence(Qt::CTRL | Qt::Key_R)},
    };
    return commands;
}

double seekStep(const QString& identifier) {
    if (identifier == QLatin1String("SeekBack01"))
        return -PresentationWindowController::shortSeek;
    if (identifier == QLatin1String("SeekBack1"))
        return -PresentationWindowController::mediumSeek;
    if (identifier == QLatin1String("SeekBack10"))
        return -PresentationWindowController::longSeek;
    if (identifier == QLatin1String("SeekForward01"))
        return PresentationWindowController::shortSeek;
    if (identifier == QLatin1String("SeekForward1"))
        return PresentationWindowController::mediumSeek;
    if (identifier == QLatin1String("SeekForward10"))
        return PresentationWindowController::longSeek;
    return 0.0;
}

// A seek from nowhere starts at the beginning of the event.
std::optional<Instant> seekOrigin(const Document& document) {
    if (auto position = document.eventPlaybackPosition())
        return position;
    return document.eventStartTime();
}

// Starts of the group's assets, ascending.
std::vector<Instant> assetStarts(const Document& document, const std::shared_ptr<MediaGroup>& group) {
    std::vector<Instant> starts;
    if (!group)
        return starts;
    for (const auto& asset : document.assets())
        if (asset->mediaGroup() == group)
            starts.push_back(asset->startTime());
    std::sort(starts.begin(), starts.end());
    return starts;
}

// Half a second of slack, so that pressing "previous" at the very start of an asset moves on to
// the one before rather than staying put.
constexpr double assetSeekSlack = 0.5;

std::optional<Instant> neighbouringAssetStart(const Document& document,
                                              const std::shared_ptr<MediaGroup>& group, bool forward) {
    auto origin = seekOrigin(document);
    if (!origin)
        return std::nullopt;
    auto starts = assetStarts(document, group);
    if (forward) {
        for (Instant start : starts)
            if (start > *origin + 1e-6)
                return start;
    } else {
        for (auto it = starts.rbegin(); it != starts.rend(); ++it)
            if (*it < *origin - assetSeekSlack)
                return *it;
    }
    return std::nullopt;
}

} // namespace

PresentationWindowController::PresentationWindowController(QWidget* parent)
    : QMainWindow(parent), displayedMetrics_(MetricsOverlayContent::defaultMetrics()),
      displayedMetricsBeforeGun_(MetricsOverlayContent::defaultMetricsBeforeGun()),
      tableMetrics_(MetricsTableViewController::defaultMetrics()) {
    setAttribute(Qt::WA_DeleteOnClose, false);
    resize(1280, 800);
    setCentralWidget(new QWidget(this));
    centralWidget()->setLayout(new QVBoxLayout);
    centralWidget()->layout()->setContentsMargins(0, 0, 0, 0);
    createPlaybackActions();
    mediaCommands_ = new MediaCommands(this);
}

PresentationWindowController::~PresentationWindowController() = default;

Document* PresentationWindowController::currentDocument() const {
    return currentDocument_;
}

QStringList PresentationWindowController::playbackCommandIdentifiers() {
    QStringList identifiers;
    for (const auto& command : playbackCommands())
        identifiers << QString::fromLatin1(command.identifier);
    return identifiers;
}

void PresentationWindowController::createPlaybackActions() {
    for (const auto& command : playbackCommands()) {
        auto* action = new QAction(tr(command.title), this);
        action->setObjectName(QString::fromLatin1(command.identifier));
        action->setShortcut(command.shortcut);
        // Active while any part of this window has the focus, so space and the arrows work
        // whichever view was clicked last.
        action->setShortcutContext(Qt::WindowShortcut);
        addAction(action);
        if (action->objectName() == QLatin1String("FocusRace"))
            connect(action, &QAction::triggered, this, [this, action] { focusRaceMenuAction(action); });
        else
            connect(action, &QAction::triggered, this, [this, action] { seekMenuAction(action); });
        playbackActions_.push_back(action);
    }
    validatePlaybackActions();
}

QAction* PresentationWindowController::playbackAction(const QString& identifier) const {
    for (auto* action : playbackActions_)
        if (action->objectName() == identifier)
            return action;
    return nullptr;
}

void PresentationWindowController::setCurrentDocument(Document* document) {
    if (currentDocument_ == document)
        return;
    currentDocument_ = document;
    watchDocument();
    if (auto* video = videoViewController(); video && document)
        video->setMediaGroup(document->mediaGroupNamed(initialMediaGroupName_));
    validatePlaybackActions();
    emit currentDocumentChanged(document);
}

void PresentationWindowController::watchDocument() {
    for (const auto& connection : documentConnections_)
        disconnect(connection);
    documentConnections_.clear();
    Document* d = currentDocument_;
    if (!d)
        return;
    auto validate = [this] { validatePlaybackActions(); };
    documentConnections_ = {
        connect(d, &Document::playbackPositionUpdated, this, validate),
        connect(d, &Document::playbackStarted, this, validate),
        connect(d, &Document::playbackPaused, this, validate),
        connect(d, &Document::documentAssetsUpdated, this, validate),
        connect(d, &Document::documentRacesUpdated, this, validate),
        connect(d, &Document::documentBoatsUpdated, this, validate),
        connect(d, &QObject::destroyed, this, [this] { setCurrentDocument(nullptr); }),
    };
}

VideoPlaybackViewController* PresentationWindowController::videoViewController() const {
    return firstView<VideoPlaybackViewController>(rootViews_);
}

void PresentationWindowController::applyLayout() {
    QWidget* content = centralWidget();
    if (!content)
        fatalError("Expected contentView");
    if (!content->layout())
        fatalError("Expected contentViewController");

    // Views go first, then their splitters: a view's hide event runs while its window is intact.
    for (auto* view : rootViews_)
        view->hide();
    while (QLayoutItem* item = content->layout()->takeAt(0)) {
        if (QWidget* widget = item->widget())
            widget->deleteLater();
        delete item;
    }
    rootViews_.clear();

    std::vector<DocumentObservingViewController*> views;
    for (const QString& identifier : presentationLayoutViews(layout_)) {
        auto* view = ViewFactory::make(identifier, nullptr);
        view->setWindowController(this);
        view->setDocument(currentDocument_);
        views.push_back(view);
    }

    // The timeline keeps its own height; the video and the map share the rest side by side.
    auto* outer = new QSplitter(Qt::Vertical);
    outer->setChildrenCollapsible(false);
    DocumentObservingViewController* timeline = firstView<TimelineViewController>(views);
    DocumentObservingViewController* graph = firstView<MetricsGraphViewController>(views);
    std::vector<DocumentObservingViewController*> upper;
    for (auto* view : views)
        if (view != timeline && view != graph)
            upper.push_back(view);
    if (upper.size() == 1) {
        outer->addWidget(upper.front());
    } else if (upper.size() > 1) {
        auto* row = new QSplitter(Qt::Horizontal);
        row->setChildrenCollapsible(false);
        for (auto* view : upper)
            row->addWidget(view);
        outer->addWidget(row);
        row->setSizes(QList<int>(int(upper.size()), 1000));
    }
    // The graph is a band between the pictures and the timeline, a third as high as the pictures.
    if (graph) {
        outer->addWidget(graph);
        outer->setStretchFactor(0, 3);
        outer->setStretchFactor(outer->indexOf(graph), 1);
    }
    if (timeline) {
        outer->addWidget(timeline);
        if (!graph)
            outer->setStretchFactor(0, 1);
        outer->setStretchFactor(outer->indexOf(timeline), 0);
    }
    content->layout()->addWidget(outer);
    rootViews_ = std::move(views);

    if (auto* table = firstView<MetricsTableViewController>(rootViews_)) {
        table->setDisplayedMetrics(tableMetrics_, tableBoats_);
        connect(table, &MetricsTableViewController::rowsEdited, this, [this, table] {
            tableMetrics_ = table->displayedMetrics();
            tableBoats_ = table->displayedBoats();
        });
    }
    if (auto* video = videoViewController()) {
        video->setDisplayedMetrics(displayedMetrics_, displayedMetricsBeforeGun_);
        video->setMuteAudio(muteAudio_);
        connect(video, &VideoPlaybackViewController::currentAssetChanged, this,
                [this] { validatePlaybackActions(); });
        // Choices made in the view's own configuration belong to the window's saved state.
        connect(video, &VideoPlaybackViewController::overlaySettingsEdited, this, [this, video] {
            displayedMetrics_ = video->displayedMetrics();
            displayedMetricsBeforeGun_ = video->displayedMetricsBeforeGun();
            muteAudio_ = video->muteAudio();
            if (video->mediaGroup())
                initialMediaGroupName_ = video->mediaGroup()->name;
        });
        if (currentDocument_)
            video->setMediaGroup(currentDocument_->mediaGroupNamed(initialMediaGroupName_));
    }
    // The map view is new with every layout; the window keeps its track colouring.
    if (auto* map = firstView<RaceMapViewController>(rootViews_)) {
        map->setTrackColorMetric(trackColorMetric_);
        connect(map, &RaceMapViewController::trackColorMetricChanged, this,
                [this](const QString& rawKey) { trackColorMetric_ = rawKey; });
    }
    MetricsGraphWindowState::attach(*this);
    validatePlaybackActions();
    emit layoutApplied();
}

void PresentationWindowController::refreshViews() {
    for (auto* view : rootViews_) {
        view->setDocument(nullptr);
        view->setDocument(currentDocument_);
    }
    if (auto* video = videoViewController())
        video->refresh();
}

void PresentationWindowController::updateCurrentWindowLayout(QObject* sender) {
    auto* action = qobject_cast<QAction*>(sender);
    if (!action)
        fatalError("Unhandled action from sender");
    if (auto layout = presentationLayoutFromText(action->data().toString())) {
        layout_ = *layout;
        applyLayout();
    }
}

void PresentationWindowController::addAssets() {}

void PresentationWindowController::setDisplayedMetrics(const QStringList& metrics,
                                                       const QStringList& beforeGun) {
    displayedMetrics_ = metrics;
    displayedMetricsBeforeGun_ = beforeGun;
    if (auto* video = videoViewController())
        video->setDisplayedMetrics(displayedMetrics_, displayedMetricsBeforeGun_);
}

void PresentationWindowController::setInitialMediaGroupName(const QString& name) {
    initialMediaGroupName_ = name;
    if (auto* video = videoViewController(); video && currentDocument_)
        video->setMediaGroup(currentDocument_->mediaGroupNamed(name));
}

void PresentationWindowController::setMuteAudio(bool mute) {
    muteAudio_ = mute;
    if (auto* video = videoViewController())
        video->setMuteAudio(mute);
}

void PresentationWindowController::setTrackColorMetric(const QString& rawKey) {
    trackColorMetric_ = rawKey;
    if (auto* map = firstView<RaceMapViewController>(rootViews_))
        map->setTrackColorMetric(rawKey);
}

void PresentationWindowController::setTableMetrics(const QStringList& metrics, const QStringList& boats) {
    tableMetrics_ = metrics;
    tableBoats_ = boats;
    if (auto* table = firstView<MetricsTableViewController>(rootViews_))
        table->setDisplayedMetrics(tableMetrics_, tableBoats_);
}

void PresentationWindowController::openMetricsConfig() {
    if (auto* video = videoViewController()) {
        video->openMetricsConfig();
        return;
    }
    if (!metricsWindowController_) {
        auto* config = new MetricsConfigViewController(this);
        config->setDelegateWindowController(this);
        metricsWindowController_ = config;
    }
    metricsWindowController_->show();
    metricsWindowController_->raise();
    metricsWindowController_->activateWindow();
}

namespace {
// The saved frame: "x y width height" of the window, then the screen's available rectangle.
QString frameText(const QWidget& window) {
    QRect frame = window.geometry();
    QRect screen = window.screen() ? window.screen()->availableGeometry() : QRect();
    return QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8")
        .arg(frame.x())
        .arg(frame.y())
        .arg(frame.width())
        .arg(frame.height())
        .arg(screen.x())
        .arg(screen.y())
        .arg(screen.width())
        .arg(screen.height());
}

using StateRecordValues::isTextList;

std::optional<QRect> frameFromText(const QString& text) {
    const QStringList parts = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (parts.size() < 4)
        return std::nullopt;
    int numbers[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        numbers[i] = parts[i].toInt(&ok);
        if (!ok)
            return std::nullopt;
    }
    if (numbers[2] <= 0 || numbers[3] <= 0)
        return std::nullopt;
    return QRect(numbers[0], numbers[1], numbers[2], numbers[3]);
}

} // namespace

void PresentationWindowController::restoreState(const QVariantMap& state) {
    auto isText = [](const QVariant& value) { return value.typeId() == QMetaType::QString; };
    if (auto frame = state.value(QStringLiteral("frame")); isText(frame)) {
        if (auto rect = frameFromText(frame.toString()))
            setGeometry(*rect);
    }
    if (auto metrics = state.value(QStringLiteral("initialDisplayedMetrics")); isTextList(metrics)) {
        displayedMetrics_ = metrics.toStringList();
        if (auto* video = videoViewController())
            video->setDisplayedMetrics(displayedMetrics_, displayedMetricsBeforeGun_);
    }
    if (auto metrics = state.value(QStringLiteral("initialDisplayedMetricsBeforeGun")); isTextList(metrics)) {
        displayedMetricsBeforeGun_ = metrics.toStringList();
        if (auto* video = videoViewController())
            video->setDisplayedMetrics(displayedMetrics_, displayedMetricsBeforeGun_);
    }
    {
        auto metrics = state.value(QStringLiteral("tableMetrics"));
        auto boats = state.value(QStringLiteral("tableBoats"));
        if (isTextList(metrics) || isTextList(boats))
            setTableMetrics(isTextList(metrics) ? metrics.toStringList() : tableMetrics_,
                            isTextList(boats) ? boats.toStringList() : tableBoats_);
    }
    if (auto group = state.value(QStringLiteral("initialMediaGroup")); isText(group)) {
        initialMediaGroupName_ = group.toString();
        if (auto* video = videoViewController(); video && currentDocument_)
            video->setMediaGroup(currentDocument_->mediaGroupNamed(initialMediaGroupName_));
    }
    if (auto text = state.value(QStringLiteral("layout")); isText(text)) {
        if (auto layout = presentationLayoutFromText(text.toString())) {
            layout_ = *layout;
            applyLayout();
            refreshViews();
        }
    }
    auto mute = state.value(QStringLiteral("muteAudio"));
    muteAudio_ = mute.typeId() == QMetaType::Bool && mute.toBool();
    if (auto* video = videoViewController())
        video->setMuteAudio(muteAudio_);
    if (auto metric = state.value(QStringLiteral("trackColorMetric")); isText(metric))
        setTrackColorMetric(metric.toString());
    MetricsGraphWindowState::restore(*this, state);
}

QVariantMap PresentationWindowController::stateRecord() const {
    QVariantMap state;
    state.insert(QStringLiteral("frame"), frameText(*this));
    state.insert(QStringLiteral("layout"), presentationLayoutText(layout_));
    // Also the choices a window keeps of its own, so that a restored window shows what it showed.
    state.insert(QStringLiteral("initialDisplayedMetrics"), displayedMetrics_);
    state.insert(QStringLiteral("initialDisplayedMetricsBeforeGun"), displayedMetricsBeforeGun_);
    state.insert(QStringLiteral("tableMetrics"), tableMetrics_);
    state.insert(QStringLiteral("tableBoats"), tableBoats_);
    QString groupName = initialMediaGroupName_;
    if (auto* video = videoViewController(); video && video->mediaGroup())
        groupName = video->mediaGroup()->name;
    state.insert(QStringLiteral("initialMediaGroup"), groupName);
    state.insert(QStringLiteral("muteAudio"),
                 videoViewController() ? videoViewController()->muteAudio() : muteAudio_);
    state.insert(QStringLiteral("trackColorMetric"), trackColorMetric_);
    MetricsGraphWindowState::record(*this, state);
    return state;
}

void PresentationWindowController::seekMenuAction(QObject* sender) {
    auto* action = qobject_cast<QAction*>(sender);
    const QString identifier = action ? action->objectName() : QString();
    Document* document = currentDocument_;
    if (identifier == QLatin1String("PlayPause")) {
        if (!document)
            return;
        if (document->isPlaying())
            document->pause();
        else
            document->play();
        return;
    }
    if (double step = seekStep(identifier); step != 0.0) {
        if (!document)
            return;
        if (auto origin = seekOrigin(*document))
            document->setPlaybackPosition(*origin + step, true);
        return;
    }
    if (identifier == QLatin1String("SeekPreviousAsset") || identifier == QLatin1String("SeekNextAsset")) {
        if (!document)
            return;
        auto* video = videoViewController();
        auto group = video ? video->mediaGroup() : nullptr;
        if (auto start =
                neighbouringAssetStart(*document, group, identifier == QLatin1String("SeekNextAsset")))
            document->setPlaybackPosition(*start, true);
        return;
    }
    fatalError("Unhandled action from sender");
}

void PresentationWindowController::focusRaceMenuAction(QObject* sender) {
    auto* action = qobject_cast<QAction*>(sender);
    if (!action || action->objectName() != QLatin1String("FocusRace"))
        fatalError("Unhandled action from sender");
    if (auto* timeline = firstView<TimelineViewController>(rootViews_))
        timeline->focusSelectedRace();
}

bool PresentationWindowController::validateMenuItem(const QAction* item) const {
    const Document* document = currentDocument_;
    if (!item || !document)
        return false;
    const QString identifier = item->objectName();
    if (identifier == QLatin1String("PlayPause"))
        return document->isPlaying() || seekOrigin(*document).has_value();
    if (seekStep(identifier) != 0.0)
        return seekOrigin(*document).has_value();
    if (identifier == QLatin1String("SeekPreviousAsset") || identifier == QLatin1String("SeekNextAsset")) {
        auto* video = videoViewController();
        return neighbouringAssetStart(*document, video ? video->mediaGroup() : nullptr,
                                      identifier == QLatin1String("SeekNextAsset"))
            .has_value();
    }
    if (identifier == QLatin1String("FocusRace")) {
        auto* timeline = firstView<TimelineViewController>(rootViews_);
        return timeline && timeline->selectedRace();
    }
    return false;
}

void PresentationWindowController::validatePlaybackActions() {
    for (auto* action : playbackActions_)
        action->setEnabled(validateMenuItem(action));
    if (mediaCommands_)
        mediaCommands_->validate();
}

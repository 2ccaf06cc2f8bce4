#include "timeline/TimelineViewController.h"

#include "document/Document.h"
#include "presentation/PresentationWindowController.h"
#include "race/Race.h"
#include "timeline/TimelineView.h"

#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>
#include <QSignalBlocker>
#include <QSvgRenderer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {

const QString wholeEventTitle = QStringLiteral("Whole Event");
constexpr int buttonIconSize = 20;

// The button images are drawn as plain shapes and take the text colour of the current style, so
// that they read on light and dark themes alike.
QIcon buttonIcon(const QString& name, const QColor& color) {
    QSvgRenderer renderer(QStringLiteral(":/images/%1.svg").arg(name));
    QIcon icon;
    if (!renderer.isValid())
        return icon;
    for (int scale : {1, 2}) {
        QPixmap pixmap(buttonIconSize * scale, buttonIconSize * scale);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), color);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

QString raceTitle(const Race& race, int number) {
    return race.name().isEmpty() ? QStringLiteral("Race %1").arg(number) : race.name();
}

} // namespace

TimelineViewController::TimelineViewController(QWidget* parent)
    : DocumentObservingViewController(parent), playPauseButton_(new QToolButton(this)),
      timelineView_(new TimelineView(this)), addAssetsButton_(new QToolButton(this)),
      raceSelector_(new QComboBox(this)) {
    timelineView_->setDelegate(this);

    // The controls take keyboard focus only by Tab: a click leaves the focus where it was, so that
    // space and the arrow keys keep driving playback and seeks.
    playPauseButton_->setFocusPolicy(Qt::TabFocus);
    playPauseButton_->setIconSize(QSize(buttonIconSize, buttonIconSize));
    playPauseButton_->setAutoRaise(true);
    addAssetsButton_->setFocusPolicy(Qt::TabFocus);
    addAssetsButton_->setText(tr("Add Media…"));
    addAssetsButton_->setToolTip(tr("Add photos and videos to the event"));
    addAssetsButton_->setAccessibleName(tr("Add Media"));
    raceSelector_->setFocusPolicy(Qt::TabFocus);
    raceSelector_->setToolTip(tr("Show the whole event or one race"));
    raceSelector_->setAccessibleName(tr("Race"));
    raceSelector_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    showPlaying(false);
    reloadRaceSelector();

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->addWidget(playPauseButton_);
    buttons->addWidget(addAssetsButton_);
    buttons->addStretch();
    auto* controls = new QVBoxLayout;
    controls->setContentsMargins(6, 6, 6, 6);
    controls->addLayout(buttons);
    controls->addWidget(raceSelector_);
    controls->addStretch();
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(controls);
    layout->addWidget(timelineView_, 1);

    connect(playPauseButton_, &QToolButton::clicked, this, &TimelineViewController::playPausePressed);
    connect(addAssetsButton_, &QToolButton::clicked, this, &TimelineViewController::addAssetsPressed);
    // Only the user's choice: choices made for other windows must not be posted again.
    connect(raceSelector_, &QComboBox::activated, this, &TimelineViewController::didSelectRace);
}

TimelineViewController::~TimelineViewController() {
    disconnect(raceSelectionConnection_);
    timelineView_->setDelegate(nullptr);
}

void TimelineViewController::playPausePressed() {
    Document* d = document();
    if (!d)
        return;
    if (d->isPlaying())
        d->pause();
    else
        d->play();
}

void TimelineViewController::addAssetsPressed() {
    if (PresentationWindowController* window = windowController())
        window->addAssets();
}

void TimelineViewController::didSelectRace() {
    Document* d = document();
    if (!d)
        return;
    int index = raceSelector_->currentIndex();
    // Only a window on screen hears the document; one that is not focuses itself.
    if (!isObserving())
        didSelectRaceElsewhere(index);
    d->postRaceIndexSelected(index);
    seekToSelectedRace();
}

void TimelineViewController::didSelectRaceElsewhere(int raceIndex) {
    if (raceIndex < 0 || raceIndex >= raceSelector_->count())
        return;
    raceSelector_->setCurrentIndex(raceIndex);
    Document* d = document();
    selectedRace_.reset();
    if (d && raceIndex > 0 && raceIndex <= static_cast<int>(d->races().size()))
        selectedRace_ = d->races()[raceIndex - 1];
    applyFocus();
}

std::shared_ptr<Race> TimelineViewController::selectedRace() const {
    std::shared_ptr<Race> race = selectedRace_.lock();
    Document* d = document();
    if (!race || !d || std::find(d->races().begin(), d->races().end(), race) == d->races().end())
        return nullptr;
    return race;
}

std::optional<TimelineViewController::TimeRange> TimelineViewController::focusedRange() const {
    Document* d = document();
    if (!d)
        return std::nullopt;
    if (std::shared_ptr<Race> race = selectedRace()) {
        // A finish before the gun is a typing slip; the race still gets a range to show.
        Instant finish = std::max(race->bestGuessFinishTime(), race->time());
        return TimeRange{race->time() - raceLeadIn, finish + raceRunOut};
    }
    std::optional<Instant> start = d->eventStartTime();
    std::optional<Instant> end = d->eventEndTime();
    if (!start || !end)
        return std::nullopt;
    return TimeRange{*start, *end};
}

void TimelineViewController::focusSelectedRace() {
    applyFocus();
    seekToSelectedRace();
}

void TimelineViewController::timelineViewDidSeek(TimelineView*, Instant time) {
    if (Document* d = document())
        d->setPlaybackPosition(time, true);
}

void TimelineViewController::viewDidAppear() {
    DocumentObservingViewController::viewDidAppear();
    observeRaceSelection();
}

void TimelineViewController::viewWillDisappear() {
    disconnect(raceSelectionConnection_);
    DocumentObservingViewController::viewWillDisappear();
}

void TimelineViewController::documentDidChange() {
    observeRaceSelection();
    // The choice is kept by identity: a race of another document is simply not found, while a
    // refresh with the same document keeps it.
    reloadRaceSelector();
    reloadTimeline();
    Document* d = document();
    showPlaying(d && d->isPlaying());
}

void TimelineViewController::didUpdateAssets() {
    reloadTimeline();
}

void TimelineViewController::didUpdateRaces() {
    reloadRaceSelector();
    applyFocus();
}

void TimelineViewController::didUpdatePlaybackPosition(std::optional<Instant> position, bool) {
    timelineView_->setPlaybackTime(position);
}

void TimelineViewController::didPlay() {
    showPlaying(true);
}

void TimelineViewController::didPause() {
    showPlaying(false);
}

void TimelineViewController::changeEvent(QEvent* event) {
    DocumentObservingViewController::changeEvent(event);
    // The button images follow the text colour of a new theme.
    if (event->type() == QEvent::PaletteChange)
        showPlaying(playPauseImageName_ == QLatin1String("Pause"));
}

void TimelineViewController::observeRaceSelection() {
    disconnect(raceSelectionConnection_);
    Document* d = document();
    if (!d || !isObserving())
        return;
    raceSelectionConnection_ =
        connect(d, &Document::raceIndexSelected, this, &TimelineViewController::didSelectRaceElsewhere);
}

void TimelineViewController::reloadRaceSelector() {
    std::shared_ptr<Race> selected = selectedRace();
    QSignalBlocker blocker(raceSelector_);
    raceSelector_->clear();
    raceSelector_->addItem(wholeEventTitle);
    int selectedIndex = 0;
    if (Document* d = document()) {
        const auto& races = d->races();
        for (int i = 0; i < static_cast<int>(races.size()); ++i) {
            raceSelector_->addItem(raceTitle(*races[i], i + 1));
            if (races[i] == selected)
                selectedIndex = i + 1;
        }
    }
    raceSelector_->setCurrentIndex(selectedIndex);
    if (selectedIndex == 0)
        selectedRace_.reset();
}

void TimelineViewController::reloadTimeline() {
    Document* d = document();
    timelineView_->setDocument(d);
    timelineView_->setAssets(d ? d->assets() : std::vector<std::shared_ptr<MediaAsset>>{});
    timelineView_->setLegs(d ? d->legs() : std::vector<SailingLeg>{});
    timelineView_->setTacks(d ? d->tackTimes() : std::vector<Instant>{});
    timelineView_->setGybes(d ? d->gybeTimes() : std::vector<Instant>{});
    timelineView_->setPlaybackTime(d ? d->eventPlaybackPosition() : std::nullopt);
    applyFocus();
}

void TimelineViewController::applyFocus() {
    std::optional<TimeRange> range = focusedRange();
    if (range)
        timelineView_->setTimeRange(range->first, range->second);
    else
        timelineView_->setTimeRange(Instant(), Instant());
    timelineView_->update();
}

void TimelineViewController::seekToSelectedRace() {
    Document* d = document();
    std::shared_ptr<Race> race = selectedRace();
    if (d && race)
        d->setPlaybackPosition(race->time() - raceSeekLeadIn, true);
}

void TimelineViewController::showPlaying(bool playing) {
    playPauseImageName_ = playing ? QStringLiteral("Pause") : QStringLiteral("Play");
    playPauseButton_->setIcon(buttonIcon(playPauseImageName_, palette().color(QPalette::ButtonText)));
    playPauseButton_->setToolTip(playing ? tr("Pause") : tr("Play"));
    playPauseButton_->setAccessibleName(playPauseButton_->toolTip());
}

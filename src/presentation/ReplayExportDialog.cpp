#include "presentation/ReplayExportDialog.h"

#include "config/ZonedDateTimeEdit.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/RaceAtPosition.h"
#include "media/MediaAsset.h"
#include "media/VideoDecoder.h"
#include "presentation/ExportFolder.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"
#include "race/Race.h"
#include "timeline/TimelineViewController.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardPaths>
#include <QVBoxLayout>
#include <cmath>

namespace {

const QString layoutKey = QStringLiteral("replayExportLayout");
const QString sizeKey = QStringLiteral("replayExportSize");
const QString rateKey = QStringLiteral("replayExportFramesPerSecond");
const QString soundKey = QStringLiteral("replayExportSound");
const QString folderKey = QStringLiteral("replayExportFolder");

enum class Range { race, timeline, times };
// The layout chooser's data for overlays alone.
const QString overlaysOnly = QStringLiteral("overlaysOnly");

QString sizeText(QSize size) {
    return QStringLiteral("%1×%2").arg(size.width()).arg(size.height());
}

// Even sides, as the encoder needs, at most 4K wide: a 5.7K camera exports at 4K.
QSize evenSize(int width, int height) {
    if (width > 3840) {
        height = height * 3840 / width;
        width = 3840;
    }
    return {width / 2 * 2, height / 2 * 2};
}

// The size of the first video of the window's group that shows inside the range; none without one.
std::optional<QSize> videoSize(PresentationWindowController& window, Instant from, Instant to) {
    Document* document = window.currentDocument();
    auto* video = window.videoViewController();
    std::shared_ptr<MediaGroup> group = video ? video->mediaGroup() : nullptr;
    if (!document || !group)
        return std::nullopt;
    for (const auto& asset : document->assets()) {
        if (asset->isPhoto() || asset->mediaGroup() != group)
            continue;
        if (asset->startTime() > to || asset->startTime() + asset->duration() < from)
            continue;
        VideoDecoder::Options options;
        options.threads = 1;
        options.allowHardware = false;
        if (auto decoder = VideoDecoder::open(asset->url().toLocalFile(), options))
            return evenSize(decoder->info().displayWidth, decoder->info().displayHeight);
    }
    return std::nullopt;
}

} // namespace

ReplayExportDialog::ReplayExportDialog(PresentationWindowController& window, QWidget* parent)
    : QDialog(parent ? parent : &window), window_(window) {
    setWindowTitle(tr("Export Replay Video"));
    range_ = new QComboBox(this);
    from_ = new ZonedDateTimeEdit(this);
    to_ = new ZonedDateTimeEdit(this);
    layout_ = new QComboBox(this);
    size_ = new QComboBox(this);
    rate_ = new QComboBox(this);
    speed_ = new QComboBox(this);
    sound_ = new QCheckBox(tr("Sound of the visible video"), this);
    output_ = new QLineEdit(this);
    summary_ = new QLabel(this);
    summary_->setWordWrap(true);
    buttons_ = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    exportButton_ = buttons_->addButton(tr("Export"), QDialogButtonBox::AcceptRole);
    // Enter commits a time being typed; an export of an hour should not start by it.
    exportButton_->setAutoDefault(false);
    exportButton_->setDefault(false);

    for (auto layout :
         {PresentationLayout::videoMapTimeline, PresentationLayout::videoTimeline, PresentationLayout::video,
          PresentationLayout::mapTimeline, PresentationLayout::videoGraphTimeline,
          PresentationLayout::mapGraphTimeline, PresentationLayout::metrics})
        layout_->addItem(presentationLayoutTitle(layout), presentationLayoutText(layout));
    layout_->addItem(tr("Overlays Only, Transparent (ProRes 4444)"), overlaysOnly);
    for (int rate : {25, 30, 50, 60})
        rate_->addItem(tr("%1 fps").arg(rate), rate);
    for (double speed : {1.0, 2.0, 4.0, 10.0})
        speed_->addItem(speed == 1.0 ? tr("1× (real time)") : tr("%1×").arg(speed), speed);

    auto* choose = new QPushButton(tr("Choose…"), this);
    auto* outputRow = new QHBoxLayout;
    outputRow->addWidget(output_, 1);
    outputRow->addWidget(choose);
    auto* form = new QFormLayout;
    form->addRow(tr("Range:"), range_);
    form->addRow(tr("From:"), from_);
    form->addRow(tr("To:"), to_);
    form->addRow(tr("Layout:"), layout_);
    form->addRow(tr("Size:"), size_);
    form->addRow(tr("Frame rate:"), rate_);
    form->addRow(tr("Speed:"), speed_);
    form->addRow(QString(), sound_);
    form->addRow(tr("Save as:"), outputRow);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(summary_);
    layout->addWidget(buttons_);

    fillRanges();
    recall();
    fillSizes();
    suggestOutput();
    connect(range_, &QComboBox::currentIndexChanged, this, [this] {
        fillRanges();
        suggestOutput();
        update();
    });
    connect(from_, &ZonedDateTimeEdit::instantEdited, this, [this] {
        suggestOutput();
        update();
    });
    connect(to_, &ZonedDateTimeEdit::instantEdited, this, [this] { update(); });
    for (QComboBox* box : {layout_, size_, rate_, speed_})
        connect(box, &QComboBox::currentIndexChanged, this, [this] { update(); });
    connect(sound_, &QCheckBox::toggled, this, [this] { update(); });
    connect(output_, &QLineEdit::textChanged, this, [this] { update(); });
    connect(choose, &QPushButton::clicked, this, &ReplayExportDialog::chooseOutput);
    connect(buttons_, &QDialogButtonBox::accepted, this, &ReplayExportDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &ReplayExportDialog::reject);
    update();
}

// The ranges the window can offer, and the times of the chosen one in the two time fields.
void ReplayExportDialog::fillRanges() {
    Document* document = window_.currentDocument();
    auto* timeline = window_.rootView<TimelineViewController>();
    std::shared_ptr<Race> race = timeline ? timeline->selectedRace() : nullptr;
    if (!race && document && document->eventPlaybackPosition())
        race = raceAtPosition(document->races(), *document->eventPlaybackPosition());
    if (range_->count() == 0) {
        QSignalBlocker quiet(range_);
        if (race)
            range_->addItem(tr("Race “%1”").arg(race->name()), int(Range::race));
        range_->addItem(tr("The range the timeline shows"), int(Range::timeline));
        range_->addItem(tr("Between two times"), int(Range::times));
    }
    const auto chosen = Range(range_->currentData().toInt());
    const bool times = chosen == Range::times;
    from_->setEnabled(times);
    to_->setEnabled(times);
    if (!document)
        return;
    from_->setZone(document->eventTimezone());
    to_->setZone(document->eventTimezone());
    if (chosen == Range::race && race) {
        from_->setInstant(race->time() - TimelineViewController::raceSeekLeadIn);
        to_->setInstant(std::max(race->bestGuessFinishTime(), race->time()));
    } else if (chosen == Range::timeline) {
        std::optional<TimelineViewController::TimeRange> shown =
            timeline ? timeline->focusedRange() : std::nullopt;
        if (!shown && document->eventStartTime() && document->eventEndTime())
            shown = TimelineViewController::TimeRange{*document->eventStartTime(), *document->eventEndTime()};
        from_->setInstant(shown ? std::optional(shown->first) : std::nullopt);
        to_->setInstant(shown ? std::optional(shown->second) : std::nullopt);
    } else if (!from_->instant() || !to_->instant()) {
        // A minute from the playback position: what a coach picks most often, a start or a mark.
        if (auto position = document->eventPlaybackPosition()) {
            from_->setInstant(*position);
            to_->setInstant(*position + 60.0);
        }
    }
}

void ReplayExportDialog::fillSizes() {
    const QSize remembered = UserDefaults::standard().value(sizeKey).toSize();
    QSignalBlocker quiet(size_);
    size_->clear();
    size_->addItem(tr("720p (1280×720)"), QSize(1280, 720));
    size_->addItem(tr("1080p (1920×1080)"), QSize(1920, 1080));
    if (from_->instant() && to_->instant())
        if (auto own = videoSize(window_, *from_->instant(), *to_->instant());
            own && *own != QSize(1280, 720) && *own != QSize(1920, 1080) && *own != QSize(3840, 2160))
            size_->addItem(tr("The video's own (%1)").arg(sizeText(*own)), *own);
    size_->addItem(tr("4K (3840×2160)"), QSize(3840, 2160));
    const int found = size_->findData(remembered);
    size_->setCurrentIndex(found >= 0 ? found : 0);
}

void ReplayExportDialog::recall() {
    UserDefaults& defaults = UserDefaults::standard();
    if (int found = layout_->findData(defaults.value(layoutKey).toString()); found >= 0)
        layout_->setCurrentIndex(found);
    else if (int shown = layout_->findData(presentationLayoutText(window_.layout())); shown >= 0)
        layout_->setCurrentIndex(shown);
    if (int found = rate_->findData(defaults.value(rateKey).toInt()); found >= 0)
        rate_->setCurrentIndex(found);
    const QVariant sound = defaults.value(soundKey);
    sound_->setChecked(!sound.isValid() || sound.toBool());
}

void ReplayExportDialog::remember() const {
    UserDefaults& defaults = UserDefaults::standard();
    defaults.setValue(layoutKey, layout_->currentData().toString());
    defaults.setValue(sizeKey, size_->currentData().toSize());
    defaults.setValue(rateKey, rate_->currentData().toInt());
    defaults.setValue(soundKey, sound_->isChecked());
    if (!output_->text().isEmpty())
        defaults.setValue(folderKey, QFileInfo(output_->text()).absolutePath());
}

ReplayExportJob::Settings ReplayExportDialog::settings() const {
    ReplayExportJob::Settings settings;
    settings.from = from_->instant().value_or(Instant());
    settings.to = to_->instant().value_or(Instant());
    settings.layout = presentationLayoutFromText(layout_->currentData().toString());
    settings.size = size_->currentData().toSize();
    settings.framesPerSecond = rate_->currentData().toInt();
    settings.speed = speed_->currentData().toDouble();
    settings.sound = sound_->isChecked() && sound_->isEnabled();
    settings.output = output_->text().trimmed();
    settings.windowState = window_.stateRecord();
    return settings;
}

QString ReplayExportDialog::problem() const {
    if (!from_->instant() || !to_->instant())
        return tr("Choose the start and the end of the range.");
    return ReplayExportJob::problem(settings());
}

void ReplayExportDialog::update() {
    const auto layout = presentationLayoutFromText(layout_->currentData().toString());
    const bool withVideo =
        layout && presentationLayoutViews(*layout).contains(QStringLiteral("VideoPlayback"));
    sound_->setEnabled(withVideo && speed_->currentData().toDouble() == 1.0);
    // The right ending for what will be written.
    if (QString path = output_->text(); !path.isEmpty()) {
        const QString suffix = layout ? QStringLiteral("mp4") : QStringLiteral("mov");
        const QFileInfo info(path);
        if (info.suffix().toLower() != suffix && (info.suffix().toLower() == QLatin1String("mp4") ||
                                                  info.suffix().toLower() == QLatin1String("mov"))) {
            const QString renamed =
                info.path() + QLatin1Char('/') + info.completeBaseName() + QLatin1Char('.') + suffix;
            if (path == suggestedOutput_)
                suggestedOutput_ = renamed;
            QSignalBlocker quiet(output_);
            output_->setText(renamed);
        }
    }
    const QString reason = problem();
    exportButton_->setEnabled(reason.isEmpty());
    if (!reason.isEmpty()) {
        summary_->setText(reason);
        return;
    }
    const ReplayExportJob::Settings chosen = settings();
    const int frames =
        ReplayExportJob::frameCount(chosen.to - chosen.from, chosen.framesPerSecond, chosen.speed);
    const int seconds = int(std::lround(double(frames) / chosen.framesPerSecond));
    const QString length =
        seconds >= 3600
            ? QStringLiteral("%1:%2:%3")
                  .arg(seconds / 3600)
                  .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
                  .arg(seconds % 60, 2, 10, QLatin1Char('0'))
            : QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
    summary_->setText(tr("%1 frames, a film of %2.").arg(frames).arg(length));
}

QString ReplayExportDialog::outputFolder() const {
    const QString remembered = UserDefaults::standard().value(folderKey).toString();
    if (!remembered.isEmpty() && QDir(remembered).exists())
        return remembered;
    QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (videos.isEmpty())
        videos = QDir::homePath();
    return QDir(videos).filePath(QStringLiteral("Wakeline"));
}

void ReplayExportDialog::suggestOutput() {
    // A name the user typed or chose stays.
    if (output_->text() != suggestedOutput_)
        return;
    Document* document = window_.currentDocument();
    if (!document || !from_->instant())
        return;
    const bool overlays = layout_->currentData().toString() == overlaysOnly;
    suggestedOutput_ = ExportFolder::unusedPath(
        outputFolder(), ExportFolder::timeName(*from_->instant(), document->eventTimezone()),
        overlays ? QStringLiteral("mov") : QStringLiteral("mp4"));
    QSignalBlocker quiet(output_);
    output_->setText(suggestedOutput_);
}

void ReplayExportDialog::chooseOutput() {
    const bool overlays = layout_->currentData().toString() == overlaysOnly;
    QString name = output_->text();
    if (name.isEmpty())
        name = QDir(outputFolder())
                   .filePath(overlays ? QStringLiteral("Replay.mov") : QStringLiteral("Replay.mp4"));
    const QString chosen =
        QFileDialog::getSaveFileName(this, tr("Export Replay Video"), name,
                                     overlays ? tr("QuickTime movie (*.mov)") : tr("MP4 video (*.mp4)"));
    if (!chosen.isEmpty())
        output_->setText(chosen);
}

void ReplayExportDialog::accept() {
    if (!problem().isEmpty())
        return;
    // The suggested folder is made on first use; a folder the user typed must exist.
    if (output_->text() == suggestedOutput_)
        QDir().mkpath(QFileInfo(suggestedOutput_).absolutePath());
    remember();
    QDialog::accept();
}

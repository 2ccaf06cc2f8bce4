#include "presentation/AssetShiftViewController.h"

#include "core/DateFormat.h"
#include "core/UserDefaults.h"
#include "document/AssetSync.h"
#include "document/Document.h"
#include "document/ShiftAssets.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "presentation/EditPerformer.h"

#include <QApplication>
#include <QCheckBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace {

struct Step {
    const char* title;
    int milliseconds; // 0 for a frame
    int sign;
};

constexpr Step steps[] = {
    {"−10 s", 10000, -1}, {"−1 s", 1000, -1}, {"−0.1 s", 100, -1}, {"−1 frame", 0, -1},
    {"+1 frame", 0, 1},   {"+0.1 s", 100, 1}, {"+1 s", 1000, 1},   {"+10 s", 10000, 1},
};

QLabel* valueLabel(const char* name) {
    auto* label = new QLabel;
    label->setObjectName(name);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont font = label->font();
    font.setFamily(QStringLiteral("monospace"));
    font.setStyleHint(QFont::Monospace);
    label->setFont(font);
    return label;
}

} // namespace

AssetShiftViewController::AssetShiftViewController(QWidget* parent)
    : QFrame(parent, Qt::Popup), positionLabel_(valueLabel("eventPlaybackPosition")),
      offsetLabel_(valueLabel("assetOffset")), groupLabel_(valueLabel("assetMediaGroupName")),
      applyToGroup_(new QCheckBox(tr("Apply to all assets of the media group"))),
      moveVideo_(new QCheckBox(tr("Move the picture, keep the playback position"))),
      syncButton_(new QPushButton(tr("Sync to Data"))), syncLabel_(new QLabel) {
    setObjectName("AssetShift");
    setFrameShape(QFrame::StyledPanel);
    setAttribute(Qt::WA_DeleteOnClose);

    auto* labels = new QFormLayout;
    labels->addRow(tr("Playback position:"), positionLabel_);
    labels->addRow(tr("Asset offset (s):"), offsetLabel_);
    labels->addRow(tr("Media group:"), groupLabel_);

    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    for (const Step& step : steps) {
        auto* button = new QPushButton(tr(step.title));
        button->setAutoDefault(false);
        button->setFocusPolicy(Qt::TabFocus);
        button->setProperty("tag", step.sign * step.milliseconds);
        button->setProperty("seconds", step.sign * step.milliseconds / 1000.0);
        button->setProperty("frames", step.milliseconds == 0 ? step.sign : 0);
        // Holding a button down keeps shifting, as holding a key does.
        button->setAutoRepeat(true);
        button->setAutoRepeatDelay(400);
        button->setAutoRepeatInterval(80);
        connect(button, &QPushButton::clicked, this, [this, button] { modifyOffset(button); });
        row->addWidget(button);
        buttons_.push_back(button);
    }
    updateFrameButtons();

    UserDefaults& defaults = UserDefaults::standard();
    applyToGroup_->setObjectName("applyToAllAssetsInGroup");
    moveVideo_->setObjectName("moveVideo");
    applyToGroup_->setChecked(defaults.boolValue(ShiftAssets::applyToAllAssetsInGroupKey));
    moveVideo_->setChecked(defaults.boolValue(ShiftAssets::moveVideoKey));
    connect(applyToGroup_, &QCheckBox::toggled, this,
            [](bool on) { UserDefaults::standard().setValue(ShiftAssets::applyToAllAssetsInGroupKey, on); });
    connect(moveVideo_, &QCheckBox::toggled, this,
            [](bool on) { UserDefaults::standard().setValue(ShiftAssets::moveVideoKey, on); });

    syncButton_->setObjectName("syncToData");
    syncButton_->setAutoDefault(false);
    syncButton_->setToolTip(tr("Line the camera's own GPS up with the main boat's speed and track"));
    syncLabel_->setObjectName("syncResult");
    syncLabel_->setWordWrap(true);
    connect(syncButton_, &QPushButton::clicked, this, [this] { syncToData(); });
    auto* syncRow = new QHBoxLayout;
    syncRow->addWidget(syncButton_);
    syncRow->addWidget(syncLabel_, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(labels);
    layout->addLayout(row);
    layout->addLayout(syncRow);
    layout->addWidget(applyToGroup_);
    layout->addWidget(moveVideo_);
    updateLabels();
}

void AssetShiftViewController::setDocument(Document* document) {
    disconnect(positionConnection_);
    disconnect(assetsConnection_);
    document_ = document;
    if (document) {
        positionConnection_ =
            connect(document, &Document::playbackPositionUpdated, this, [this] { updateLabels(); });
        assetsConnection_ =
            connect(document, &Document::documentAssetsUpdated, this, [this] { updateLabels(); });
    }
    updateLabels();
}

void AssetShiftViewController::setAsset(std::shared_ptr<MediaAsset> asset) {
    asset_ = std::move(asset);
    updateLabels();
}

void AssetShiftViewController::setFrameDuration(double seconds) {
    frameDuration_ = seconds > 0.0 && std::isfinite(seconds) ? seconds : 0.04;
    updateFrameButtons();
}

void AssetShiftViewController::updateFrameButtons() {
    for (auto* button : buttons_) {
        int frames = button->property("frames").toInt();
        if (frames == 0)
            continue;
        button->setProperty("seconds", frames * frameDuration_);
        button->setProperty("tag", static_cast<int>(std::lround(frames * frameDuration_ * 1000.0)));
        button->setToolTip(tr("%1 ms").arg(frames * frameDuration_ * 1000.0, 0, 'f', 1));
    }
}

QString AssetShiftViewController::eventPlaybackPositionString() const {
    if (!document_ || !document_->eventPlaybackPosition())
        return {};
    // The label follows every tick: the formatter is made again only when the event's zone changes.
    const TimeZone& zone = document_->eventTimezone();
    if (!positionFormat_ || !(positionZone_ == zone)) {
        positionFormat_ = std::make_unique<DateFormat>("HH:mm:ss.S", zone);
        positionZone_ = zone;
    }
    return QString::fromStdString(positionFormat_->format(*document_->eventPlaybackPosition()));
}

QString AssetShiftViewController::assetOffsetString() const {
    return QString::fromStdString(ShiftAssets::offsetString(asset_.get()));
}

QString AssetShiftViewController::assetMediaGroupName() const {
    if (!asset_ || !asset_->mediaGroup())
        return {};
    return asset_->mediaGroup()->name;
}

void AssetShiftViewController::modifyOffset(QObject* sender) {
    if (!sender)
        return;
    bool exact = false;
    double seconds = sender->property("seconds").toDouble(&exact);
    if (!exact)
        seconds = sender->property("tag").toInt() / 1000.0;
    shift(seconds);
}

void AssetShiftViewController::shift(double seconds) {
    if (!document_ || !asset_)
        return;
    performEdit(*document_, ShiftAssets::byUserDefaults(*document_, asset_, seconds));
    updateLabels();
}

void AssetShiftViewController::syncToData() {
    if (!document_ || !asset_)
        return;
    // Reading the camera track of a long clip takes a moment; the panel waits for it.
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const AssetSync::Proposal proposal = AssetSync::propose(*document_, asset_);
    QApplication::restoreOverrideCursor();
    if (!proposal.result) {
        syncLabel_->setText(tr("Cannot sync: %1.").arg(proposal.failure));
        return;
    }
    const QString summary = QString::fromStdString(proposal.result->summary());
    if (!proposal.result->confident) {
        syncLabel_->setText(tr("%1 — not applied.").arg(summary));
        return;
    }
    shift(proposal.result->offset);
    syncLabel_->setText(summary);
}

void AssetShiftViewController::updateLabels() {
    positionLabel_->setText(eventPlaybackPositionString());
    offsetLabel_->setText(assetOffsetString());
    groupLabel_->setText(assetMediaGroupName());
    for (auto* button : buttons_)
        button->setEnabled(document_ && asset_);
    syncButton_->setEnabled(document_ && asset_ && !asset_->isPhoto());
}

void AssetShiftViewController::popUp(QWidget* anchor) {
    adjustSize();
    const QPoint corner = anchor->mapToGlobal(QPoint(anchor->width(), 0));
    QRect frame(QPoint(corner.x() - width(), corner.y()), size());
    // A narrow view would push the panel off the screen's edge; it stays whole on the screen.
    if (QScreen* screen = anchor->screen()) {
        const QRect available = screen->availableGeometry();
        frame.moveLeft(std::clamp(frame.left(), available.left(),
                                  std::max(available.left(), available.right() - width())));
        frame.moveTop(std::clamp(frame.top(), available.top(),
                                 std::max(available.top(), available.bottom() - height())));
    }
    move(frame.topLeft());
    show();
}

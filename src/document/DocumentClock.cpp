// The document's playback clock and the event range it plays through.

#include "boatlog/LogFileAsset.h"
#include "core/FatalError.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/TimestampOutput.h"
#include "media/MediaAsset.h"
#include "race/Race.h"

#include <QFile>
#include <QTimer>
#include <algorithm>
#include <cmath>

void Document::play() {
    // A new empty document has no position to play from.
    if (isPlaying_ || !eventPlaybackPosition_)
        return;
    isPlaying_ = true;
    emit playbackStarted(eventPlaybackPosition_);
    lastPlayTimeSystem_ = wallClock_();
    lastPlayTimeEvent_ = eventPlaybackPosition_;

    timer_ = new QTimer(this);
    timer_->setTimerType(Qt::PreciseTimer);
    timer_->setInterval(tickMilliseconds);
    connect(timer_, &QTimer::timeout, this, &Document::tick);
    timer_->start();

    const UserDefaults& defaults = UserDefaults::standard();
    qint64 mode = defaults.integerValue("writeTimestampMode");
    if (mode == 1 || mode == 2) {
        timestampMode_ = static_cast<TimestampWriteMode>(mode);
        timestampFormat_ = TimestampFormat::DelphiMsecInt;
        timestampWriteFileHandle_ = TimestampOutput::open(timestampMode_);
        // Named a frequency, but it is the interval in seconds between writes.
        QString text = defaults.stringValue("writeTimestampFrequency").value_or("1");
        bool ok = false;
        double interval = text.toDouble(&ok);
        if (!ok || !std::isfinite(interval) || interval <= 0.0)
            interval = 1.0;
        timestampWriteTimer_ = new QTimer(this);
        timestampWriteTimer_->setTimerType(Qt::PreciseTimer);
        timestampWriteTimer_->setInterval(static_cast<int>(std::lround(interval * 1000.0)));
        connect(timestampWriteTimer_, &QTimer::timeout, this, &Document::timestampWriteTick);
        timestampWriteTimer_->start();
    } else {
        timestampMode_ = TimestampWriteMode::Disabled;
    }
}

void Document::pause() {
    if (!isPlaying_)
        return;
    isPlaying_ = false;
    emit playbackPaused(eventPlaybackPosition_);
    lastPlayTimeSystem_.reset();
    lastPlayTimeEvent_.reset();
    // A seek made from a slot of the tick itself pauses while the timer is still signalling.
    for (QTimer** t : {&timer_, &timestampWriteTimer_}) {
        if (*t) {
            (*t)->stop();
            (*t)->deleteLater();
            *t = nullptr;
        }
    }
    timestampWriteFileHandle_.reset();
}

void Document::advance(const std::function<void(Instant)>& action) {
    // A tick that fires after pause finds no anchor and does nothing.
    if (!lastPlayTimeSystem_)
        return;
    double elapsed = wallClock_() - *lastPlayTimeSystem_;
    if (!lastPlayTimeEvent_)
        fatalError("Playback anchor without an event time");
    action(*lastPlayTimeEvent_ + elapsed);
}

void Document::tick() {
    advance([this](Instant position) { setPlaybackPosition(position, false); });
}

void Document::timestampWriteTick() {
    advance([this](Instant position) { writeTimestamp(position, false); });
}

void Document::setPlaybackPosition(Instant position, bool seeked) {
    eventPlaybackPosition_ = position;
    if (seeked) {
        pause();
        lastPlayTimeSystem_ = wallClock_();
        lastPlayTimeEvent_ = position;
        writeTimestamp(position, true);
    }
    emit playbackPositionUpdated(position, seeked);
}

void Document::writeTimestamp(Instant position, bool reopen) {
    if (reopen) {
        qint64 mode = UserDefaults::standard().integerValue("writeTimestampMode");
        if (mode != 1 && mode != 2) {
            timestampMode_ = TimestampWriteMode::Disabled;
            return;
        }
        timestampMode_ = static_cast<TimestampWriteMode>(mode);
        timestampFormat_ = TimestampFormat::DelphiMsecInt;
        std::unique_ptr<QFile> fresh = TimestampOutput::open(timestampMode_);
        if (fresh)
            TimestampOutput::write(*fresh, timestampMode_, position, timestampFormat_);
        return;
    }
    if (timestampWriteFileHandle_)
        TimestampOutput::write(*timestampWriteFileHandle_, timestampMode_, position, timestampFormat_);
}

std::vector<Instant> Document::collectedTimePoints() const {
    std::vector<Instant> points;
    for (const auto& race : races_) {
        points.push_back(race->time());
        points.push_back(race->bestGuessFinishTime());
    }
    // Photos never widen the event; videos do.
    for (const auto& asset : assets_) {
        if (asset->isPhoto())
            continue;
        points.push_back(asset->startTime());
        points.push_back(asset->endTime());
    }
    for (const auto& leg : legs_) {
        points.push_back(leg.start);
        points.push_back(leg.end);
    }
    for (const auto& boat : boats_) {
        for (const auto& asset : logAssets(boat)) {
            // A log without records has no times to offer.
            if (asset->fileStartTime())
                points.push_back(*asset->fileStartTime());
            if (asset->fileEndTime())
                points.push_back(*asset->fileEndTime());
        }
    }
    return points;
}

std::optional<Instant> Document::eventStartTime() const {
    if (eventStartTimeOverride_)
        return eventStartTimeOverride_;
    auto points = collectedTimePoints();
    if (points.empty())
        return std::nullopt;
    return *std::min_element(points.begin(), points.end()) - eventRangeMargin;
}

std::optional<Instant> Document::eventEndTime() const {
    if (eventEndTimeOverride_)
        return eventEndTimeOverride_;
    auto points = collectedTimePoints();
    if (points.empty())
        return std::nullopt;
    return *std::max_element(points.begin(), points.end()) + eventRangeMargin;
}

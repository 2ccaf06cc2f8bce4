#include "config/ZonedDateTimeEdit.h"

#include <QLineEdit>
#include <QSignalBlocker>
#include <QTimeZone>
#include <cmath>

ZonedDateTimeEdit::ZonedDateTimeEdit(QWidget* parent) : QDateTimeEdit(parent) {
    setTimeSpec(Qt::UTC);
    setDisplayFormat(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    setCalendarPopup(true);
    setKeyboardTracking(false);
    setMinimumDateTime(QDateTime(QDate(1970, 1, 1), QTime(0, 0), QTimeZone::utc()));
    setMaximumDateTime(QDateTime(QDate(2200, 1, 1), QTime(0, 0), QTimeZone::utc()));
    connect(this, &QDateTimeEdit::editingFinished, this, [this] { commit(); });
    // The arrows and the wheel change the time without leaving the field: each step is an edit.
    connect(this, &QDateTimeEdit::dateTimeChanged, this, [this] {
        if (!setting_ && !hasFocus())
            commit();
    });
}

void ZonedDateTimeEdit::setZone(const TimeZone& zone) {
    std::optional<Instant> shown = instant();
    zone_ = zone;
    setInstant(shown);
}

QDateTime ZonedDateTimeEdit::wallClock(Instant instant, const TimeZone& zone) {
    double local = instant.unixSeconds() + zone.secondsFromGMT(instant);
    // Milliseconds, rounded, so that a time shown and read back is the same instant.
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::llround(local * 1000.0)),
                                          QTimeZone::utc());
}

Instant ZonedDateTimeEdit::instantOf(const QDateTime& wallClock, const TimeZone& zone) {
    double local = wallClock.toMSecsSinceEpoch() / 1000.0;
    Instant guess = Instant::fromUnix(local);
    // The offset at the reading taken as UTC, then at the instant that gives: right everywhere but
    // in the hour a clock goes back or forward.
    Instant first = guess - zone.secondsFromGMT(guess);
    return guess - zone.secondsFromGMT(first);
}

void ZonedDateTimeEdit::setInstant(std::optional<Instant> instant) {
    setting_ = true;
    {
        QSignalBlocker block(this);
        empty_ = !instant;
        committed_ = instant;
        if (instant)
            setDateTime(wallClock(*instant, zone_));
        else
            setDateTime(minimumDateTime());
        setSpecialValueText(instant ? QString() : QStringLiteral(" "));
    }
    setting_ = false;
}

std::optional<Instant> ZonedDateTimeEdit::instant() const {
    if (empty_ && dateTime() == minimumDateTime())
        return std::nullopt;
    return instantOf(dateTime(), zone_);
}

void ZonedDateTimeEdit::commit() {
    if (setting_)
        return;
    std::optional<Instant> now = instant();
    if (!now)
        return;
    empty_ = false;
    setSpecialValueText(QString());
    if (committed_ && std::fabs(now->secondsSinceReference() - committed_->secondsSinceReference()) < 5e-4)
        return;
    committed_ = now;
    emit instantEdited(*now);
}

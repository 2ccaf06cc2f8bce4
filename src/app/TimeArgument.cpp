#include "app/TimeArgument.h"

#include <QDateTime>
#include <QString>
#include <QTimeZone>
#include <charconv>
#include <cmath>

std::optional<Instant> parseTimeArgument(const std::string& text) {
    double seconds = 0.0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error == std::errc() && end == text.data() + text.size() && std::isfinite(seconds))
        return Instant::fromUnix(seconds);

    QString iso = QString::fromStdString(text);
    QDateTime dateTime = QDateTime::fromString(iso, Qt::ISODateWithMs);
    if (!dateTime.isValid())
        return std::nullopt;
    if (dateTime.timeSpec() == Qt::LocalTime)
        dateTime.setTimeZone(QTimeZone::utc());
    // Qt keeps milliseconds; take any finer fraction from the text itself.
    double unix = static_cast<double>(dateTime.toSecsSinceEpoch());
    qsizetype dot = iso.indexOf('.');
    if (dot >= 0) {
        qsizetype digitsEnd = dot + 1;
        while (digitsEnd < iso.size() && iso[digitsEnd].isDigit())
            ++digitsEnd;
        unix += QString("0" + iso.mid(dot, digitsEnd - dot)).toDouble();
    }
    return Instant::fromUnix(unix);
}

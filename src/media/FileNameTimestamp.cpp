#include "media/FileNameTimestamp.h"

#include "core/DateFormat.h"

#include <QRegularExpression>

std::optional<Instant> fileNameTimestamp(const QString& fileName) {
    static const QRegularExpression pattern(
        R"(([0-9]{4})\-([0-9]{2})\-([0-9]{2})_([0-9]{2})\-([0-9]{2})\-([0-9]{2}))");
    static const DateFormat format("yyyy-MM-dd_HH-mm-ss", TimeZone::utc());
    QRegularExpressionMatch match = pattern.match(fileName);
    if (!match.hasMatch())
        return std::nullopt;
    return format.parse(match.captured(0).toStdString());
}

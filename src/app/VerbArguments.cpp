#include "app/VerbArguments.h"

#include <QRegularExpression>

namespace VerbArguments {

QStringList metricKeys(const QString& text) {
    QStringList keys = text.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (QString& key : keys)
        key = key.trimmed();
    keys.removeAll(QString());
    return keys;
}

std::optional<QSize> size(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("^(\\d{2,5})x(\\d{2,5})$"));
    const auto match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return QSize(match.captured(1).toInt(), match.captured(2).toInt());
}

} // namespace VerbArguments

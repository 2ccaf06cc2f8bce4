#include "metrics/NumberFormatter.h"

#include "core/FatalError.h"

#include <cmath>

QString NumberFormatter::string(double number) const {
    if (std::isnan(number))
        return "NaN";
    if (std::isinf(number))
        return number < 0 ? "-∞" : "∞";
    double scale = std::pow(10.0, maximumFractionDigits);
    double scaled = number * scale;
    double rounded = roundingMode == RoundingMode::down ? std::trunc(scaled) : std::nearbyint(scaled);
    double value = rounded / scale;
    bool negative = std::signbit(value) && value != 0.0;
    QString text = QString::number(std::fabs(value), 'f', maximumFractionDigits);
    // Drop trailing zeros down to the minimum number of fraction digits.
    if (maximumFractionDigits > minimumFractionDigits) {
        int dot = text.indexOf('.');
        int keep = dot + 1 + minimumFractionDigits;
        int end = text.size();
        while (end > keep && text[end - 1] == '0')
            --end;
        if (end == dot + 1)
            end = dot;
        text.truncate(end);
    }
    int integerDigits = text.indexOf('.');
    if (integerDigits < 0)
        integerDigits = text.size();
    if (integerDigits < minimumIntegerDigits)
        text.prepend(QString(minimumIntegerDigits - integerDigits, '0'));
    if (negative)
        text.prepend('-');
    return text + suffix;
}

QString NumberFormatter::string(const QVariant& value) const {
    bool ok = false;
    double number = value.toDouble(&ok);
    if (!ok)
        fatalError("Expected Double value");
    return string(number);
}

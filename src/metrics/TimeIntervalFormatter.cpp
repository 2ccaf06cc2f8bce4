#include "metrics/TimeIntervalFormatter.h"

#include "core/FatalError.h"

#include <cmath>

TimeIntervalFormatter::TimeIntervalFormatter() {
    secondsFormatter.minimumFractionDigits = 0;
    secondsFormatter.minimumIntegerDigits = 2;
    secondsFormatter.roundingMode = NumberFormatter::RoundingMode::down;
}

QString TimeIntervalFormatter::string(double v) const {
    double a = std::fabs(v);
    double s = std::fmod(a, 60.0);
    double m = std::floor(a / 60.0);
    QString sign = v < 0 ? "-" : "";
    if (showHours) {
        double mm = std::fmod(m, 60.0);
        double h = std::floor(m / 60.0);
        return sign + QString::asprintf("%02.0f:%02.0f:", h, mm) + secondsFormatter.string(s);
    }
    return sign + QString::asprintf("%02.0f:", m) + secondsFormatter.string(s);
}

QString TimeIntervalFormatter::string(const QVariant& value) const {
    if (value.typeId() != QMetaType::Double)
        fatalError("Expected Double time interval");
    return string(value.toDouble());
}

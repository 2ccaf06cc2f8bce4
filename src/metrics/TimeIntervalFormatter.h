#pragma once

#include "metrics/NumberFormatter.h"

// Text of a time interval in seconds: "01:02:05" with hours, "62:05" without. Seconds are shown as
// two whole digits, rounded down.
class TimeIntervalFormatter : public Formatter {
public:
    TimeIntervalFormatter();

    NumberFormatter secondsFormatter;
    bool showHours = true;

    QString string(double seconds) const;
    QString string(const QVariant& value) const override;
};

#pragma once

#include "metrics/Formatter.h"

// Decimal text of a number with a fixed range of fraction digits, a minimum of integer digits
// and a rounding mode; an optional suffix (a unit symbol) follows the number.
class NumberFormatter : public Formatter {
public:
    enum class RoundingMode { halfEven, down };

    int minimumFractionDigits = 0;
    int maximumFractionDigits = 0;
    int minimumIntegerDigits = 1;
    RoundingMode roundingMode = RoundingMode::halfEven;
    QString suffix;

    QString string(double number) const;
    QString string(const QVariant& value) const override;
};

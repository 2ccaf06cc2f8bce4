#pragma once

#include <QString>
#include <QVariant>

// A formatter turns a value into display text. Values arrive as QVariant because views hand
// formatters whatever a cell or overlay holds; a formatter that is given the wrong kind of value
// is a programming error.
class Formatter {
public:
    virtual ~Formatter() = default;
    virtual QString string(const QVariant& value) const = 0;
    // Text back into a value, where the formatter supports it.
    virtual QVariant value(const QString& text) const;
};

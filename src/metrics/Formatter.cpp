#include "metrics/Formatter.h"

#include "core/FatalError.h"

QVariant Formatter::value(const QString&) const {
    fatalError("Not supported");
}

#include "metrics/DurationFormatter.h"

#include "core/FatalError.h"

QString BoatMetric::DurationFormatter::string(const QVariant& value) const {
    if (value.typeId() != QMetaType::Double)
        fatalError("Expected Double time interval");
    return base->string(value.toDouble());
}

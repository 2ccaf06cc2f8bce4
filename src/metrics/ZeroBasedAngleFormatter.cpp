#include "metrics/ZeroBasedAngleFormatter.h"

#include "core/FatalError.h"

QString BoatMetric::ZeroBasedAngleFormatter::string(const QVariant& value) const {
    if (value.typeId() != QMetaType::Double)
        fatalError("Expected Double value");
    double angle = value.toDouble();
    if (angle > 180.0)
        angle -= 360.0;
    return base->string(angle);
}

#include "metrics/MetricPresentation.h"

#include "metrics/DurationFormatter.h"
#include "metrics/NumberFormatter.h"
#include "metrics/TimeIntervalFormatter.h"
#include "metrics/ZeroBasedAngleFormatter.h"

#include <cmath>

using Case = BoatMetric::Case;

const QString MetricPresentation::noValueText = QStringLiteral("—");

namespace {

std::shared_ptr<const NumberFormatter> decimals(int digits, QString suffix = {}) {
    auto formatter = std::make_shared<NumberFormatter>();
    formatter->minimumFractionDigits = digits;
    formatter->maximumFractionDigits = digits;
    formatter->suffix = std::move(suffix);
    return formatter;
}

std::shared_ptr<const Formatter> zeroBasedAngle(int digits) {
    return std::make_shared<BoatMetric::ZeroBasedAngleFormatter>(decimals(digits));
}

std::shared_ptr<const Formatter> duration() {
    auto base = std::make_shared<TimeIntervalFormatter>();
    // Start-line times are minutes and seconds; hours would only take room.
    base->showHours = false;
    return std::make_shared<BoatMetric::DurationFormatter>(base);
}

QString displayName(const BoatMetric& metric) {
    switch (metric.metricCase()) {
    case Case::BoatSpeed:
        return "BSP";
    case Case::TargetBoatSpeed:
        return "Target BSP";
    case Case::BoatSpeedPercOfTarget:
        return "BSP of target";
    case Case::TargetVMG:
        return "Target VMG";
    case Case::VMGPercOfTarget:
        return "VMG of target";
    case Case::TargetTWA:
        return "Target TWA";
    case Case::TargetHeel:
        return "Target heel";
    case Case::TimeToGun:
        return "Time to gun";
    case Case::TimeToLine:
        return "Time to line";
    case Case::TimeToBurn:
        return "Time to burn";
    case Case::BelowLine:
        return "Below line";
    case Case::DistanceToLine:
        return "Distance to line";
    case Case::TimeToLineReaching:
        return "Time to line, reaching";
    case Case::DistanceToLineReaching:
        return "Distance to line, reaching";
    case Case::CurrentAngleTrue:
        return "Current direction";
    case Case::CurrentSpeed:
        return "Current speed";
    default:
        return QString::fromStdString(metric.rawKey());
    }
}

QString symbol(const Unit& unit) {
    return QString::fromUtf8(unit.symbol().data(), static_cast<qsizetype>(unit.symbol().size()));
}

} // namespace

MetricPresentation::MetricPresentation(BoatMetric metric)
    : metric_(std::move(metric)), name_(displayName(metric_)), displayUnit_(&metric_.unit()) {
    const Unit& unit = metric_.unit();
    bool showUnit = true;
    switch (unit.dimension()) {
    case Unit::Dimension::angle:
        displayUnit_ = &UnitAngle::degrees();
        switch (metric_.metricCase()) {
        case Case::Lat:
        case Case::Lon:
        case Case::MkLat:
        case Case::MkLon:
        case Case::Portlat:
        case Case::Portlon:
        case Case::Stbdlat:
        case Case::Stbdlon:
            // About a metre.
            formatter_ = decimals(5);
            break;
        case Case::Heading:
        case Case::COG:
        case Case::TWD:
        case Case::CurrentAngleTrue:
            formatter_ = decimals(0);
            isDirection_ = true;
            break;
        case Case::Rake:
        case Case::TargetRake:
            formatter_ = decimals(1);
            break;
        default:
            // Angles to the bow or the vertical: port and leeward read negative.
            formatter_ = zeroBasedAngle(0);
            break;
        }
        break;
    case Unit::Dimension::speed:
        displayUnit_ = &UnitSpeed::knots();
        switch (metric_.metricCase()) {
        case Case::BoatSpeed:
        case Case::TargetBoatSpeed:
        case Case::SOG:
        case Case::VMG:
        case Case::TargetVMG:
            formatter_ = decimals(2);
            break;
        default:
            formatter_ = decimals(1);
            break;
        }
        break;
    case Unit::Dimension::mass:
        displayUnit_ = &UnitMass::metricTons();
        formatter_ = decimals(2);
        break;
    case Unit::Dimension::duration:
        displayUnit_ = &UnitDuration::seconds();
        formatter_ = duration();
        showUnit = false;
        break;
    case Unit::Dimension::length:
        displayUnit_ = &UnitLength::meters();
        formatter_ = decimals(1);
        break;
    case Unit::Dimension::scalar:
        if (&unit == &UnitScalar::percent()) {
            displayUnit_ = &UnitScalar::percent();
            formatter_ = decimals(0, "%");
            showUnit = false;
        } else {
            displayUnit_ = &UnitScalar::scalar();
            formatter_ = decimals(2);
        }
        break;
    }
    if (showUnit)
        unitSymbol_ = symbol(*displayUnit_);
}

QString MetricPresentation::title() const {
    return unitSymbol_.isEmpty() ? name_ : name_ + " (" + unitSymbol_ + ")";
}

std::optional<double> MetricPresentation::displayValue(const std::optional<Measurement>& measurement) const {
    if (!measurement || !measurement->canConvert(*displayUnit_))
        return std::nullopt;
    return measurement->converted(*displayUnit_).value();
}

QString MetricPresentation::text(const std::optional<Measurement>& measurement) const {
    std::optional<double> value = displayValue(measurement);
    return value ? text(*value) : noValueText;
}

QString MetricPresentation::text(double value) const {
    if (!std::isfinite(value))
        return decimals(0)->string(value);
    if (isDirection_) {
        value = std::fmod(value, 360.0);
        if (value < 0)
            value += 360.0;
        if (std::nearbyint(value) >= 360.0)
            value = 0.0;
    }
    return formatter_->string(QVariant(value));
}

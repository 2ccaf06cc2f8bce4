#include "document/MetricsOverlayContent.h"

#include "document/BoatLogLookup.h"
#include "document/Document.h"
#include "document/RaceAtPosition.h"

namespace {

std::vector<MetricPresentation> presentations(const QStringList& keys) {
    std::vector<MetricPresentation> result;
    result.reserve(keys.size());
    for (const QString& key : keys)
        result.emplace_back(BoatMetric(key.toStdString()));
    return result;
}

MetricsOverlayContent::BoatLabel label(const Boat& boat) {
    return {boat.shortName().isEmpty() ? boat.fullName() : boat.shortName(), boat.color()};
}

} // namespace

QStringList MetricsOverlayContent::defaultMetrics() {
    return {"BoatSpeed", "TWA", "VMG", "Heel", "TWS"};
}

QStringList MetricsOverlayContent::defaultMetricsBeforeGun() {
    return {"TimeToGun", "DistanceToLine", "TimeToBurn", "SOG", "TWA"};
}

MetricsOverlayContent::MetricsOverlayContent() {
    setMetrics(defaultMetrics(), defaultMetricsBeforeGun());
}

void MetricsOverlayContent::setMetrics(const QStringList& metrics, const QStringList& beforeGun) {
    metrics_ = presentations(metrics);
    beforeGun_ = presentations(beforeGun);
}

MetricsOverlayContent::Content MetricsOverlayContent::at(const Document& document,
                                                         std::optional<Instant> position) const {
    Content content;
    content.beforeGun = position && isBeforeGun(document.races(), *position);
    // The main boat, else the first: a document whose boats have no roles still shows numbers.
    std::shared_ptr<::Boat> main = document.mainBoat();
    if (!main && !document.boats().empty())
        main = document.boats().front();
    std::shared_ptr<::Boat> secondary = document.secondaryBoat();
    if (secondary == main)
        secondary = nullptr;
    // A boat without any log has no numbers at all: rows of dashes would only hide the picture.
    if (!main || document.logAssets(main).empty())
        return content;
    content.mainBoat = label(*main);
    if (secondary)
        content.secondaryBoat = label(*secondary);

    std::optional<BoatLogView> mainView, secondaryView;
    if (position) {
        mainView = BoatLogLookup::view(document, main, *position);
        secondaryView = BoatLogLookup::view(document, secondary, *position);
    }
    const auto& list = content.beforeGun ? beforeGun_ : metrics_;
    content.rows.reserve(list.size());
    for (const MetricPresentation& metric : list) {
        Row row{metric.name(), metric.unitSymbol(), MetricPresentation::noValueText, {}};
        if (mainView)
            row.value = metric.text(mainView->value(metric.metric()));
        if (secondary)
            row.secondaryValue = secondaryView ? metric.text(secondaryView->value(metric.metric()))
                                               : MetricPresentation::noValueText;
        content.rows.push_back(std::move(row));
    }
    return content;
}

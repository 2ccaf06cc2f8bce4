#include "document/LoggedMetrics.h"

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/LogFileAsset.h"
#include "document/Document.h"

#include <set>
#include <string>

std::vector<BoatMetric> loggedMetrics(const Document& document) {
    std::set<std::size_t> fixed;
    std::set<std::string> custom;
    for (const auto& asset : document.allLogAssets()) {
        if (!asset || !asset->boatLog())
            continue;
        for (const BoatMetric& metric : asset->boatLog()->availableMetrics()) {
            if (metric.isCustom())
                custom.insert(metric.customName());
            else
                fixed.insert(metric.fixedIndex());
        }
    }
    std::vector<BoatMetric> metrics;
    for (std::size_t index : fixed)
        metrics.push_back(BoatMetric::allFixed()[index]);
    for (const std::string& name : custom)
        metrics.push_back(BoatMetric::custom(name));
    return metrics;
}

#include "boatlog/MetricColumnMap.h"

#include <algorithm>

void MetricColumnMap::set(const BoatMetric& metric, std::int64_t column) {
    std::int64_t& slot = metric.isCustom() ? custom_.try_emplace(metric.customName(), none).first->second
                                           : fixed_[metric.fixedIndex()];
    if (slot == none)
        ++count_;
    slot = column;
}

std::vector<BoatMetric> MetricColumnMap::metrics() const {
    std::vector<std::pair<std::int64_t, BoatMetric>> byColumn;
    for (std::size_t i = 0; i < fixed_.size(); ++i)
        if (fixed_[i] != none)
            byColumn.emplace_back(fixed_[i], BoatMetric::allFixed()[i]);
    for (const auto& [name, column] : custom_)
        byColumn.emplace_back(column, BoatMetric::custom(name));
    std::sort(byColumn.begin(), byColumn.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<BoatMetric> result;
    result.reserve(byColumn.size());
    for (auto& entry : byColumn)
        result.push_back(std::move(entry.second));
    return result;
}

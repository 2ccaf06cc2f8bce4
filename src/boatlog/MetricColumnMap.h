#pragma once

#include "metrics/BoatMetric.h"

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

// Which column of a log holds which metric. A fixed metric is found by its catalogue position
// without hashing a string, since every value lookup of every tick goes through here; only
// custom metrics use a hash map.
class MetricColumnMap {
public:
    static constexpr std::int64_t none = -1;

    MetricColumnMap() { fixed_.fill(none); }

    void set(const BoatMetric& metric, std::int64_t column);
    std::int64_t column(const BoatMetric& metric) const {
        if (!metric.isCustom())
            return fixed_[metric.fixedIndex()];
        auto found = custom_.find(metric.customName());
        return found == custom_.end() ? none : found->second;
    }
    // The mapped metrics, ordered by their column.
    std::vector<BoatMetric> metrics() const;
    std::size_t size() const { return count_; }

private:
    std::array<std::int64_t, BoatMetric::fixedCount> fixed_;
    std::unordered_map<std::string, std::int64_t> custom_;
    std::size_t count_ = 0;
};

#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

// The figures the timing benchmarks print, in milliseconds.
namespace TimingStats {

using Clock = std::chrono::steady_clock;

inline double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1))];
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

inline double milliseconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

} // namespace TimingStats

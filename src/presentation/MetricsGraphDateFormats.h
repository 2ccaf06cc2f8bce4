#pragma once

#include "core/DateFormat.h"
#include "core/TimeZone.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

// The few date formats the metrics graph shows times in, made once per zone: a tick formats the
// position, and making a format costs far more than using one.
class MetricsGraphDateFormats {
public:
    static inline const std::string secondsPattern = "HH:mm:ss";
    static inline const std::string minutesPattern = "HH:mm";
    static inline const std::string positionPattern = "HH:mm:ss.S";

    const DateFormat& format(const std::string& pattern, const TimeZone& zone);

private:
    std::vector<std::pair<std::string, std::unique_ptr<DateFormat>>> formats_;
    std::string zone_;
};

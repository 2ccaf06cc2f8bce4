#include "core/NumberText.h"

#include <charconv>
#include <cmath>

std::string shortestText(double value) {
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string decimalText(double value) {
    std::string text = shortestText(value);
    if (std::isfinite(value) && text.find_first_of(".e") == std::string::npos)
        text += ".0";
    return text;
}

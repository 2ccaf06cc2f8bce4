#pragma once

#include <stdexcept>
#include <string>

// A keyed JSON record that lacks a required key or holds a value of the wrong type.
class DecodingError : public std::runtime_error {
public:
    explicit DecodingError(const std::string& what) : std::runtime_error(what) {}
};

#pragma once

#include <stdexcept>
#include <string>

// The metadata of a configuration key is missing or faulty, or a value is not one that the station can have.
// Carries the text only.
class OcppConfigException : public std::runtime_error {
 public:
  explicit OcppConfigException(const std::string& text) : std::runtime_error(text) {}
};

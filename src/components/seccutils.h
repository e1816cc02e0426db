#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace SeccUtils {

// An instance was asked for or registered that the station does not have.
class CInvalidInstanceException : public std::out_of_range {
 public:
  CInvalidInstanceException(const std::string& name, uint32_t instance);
};

// A second handler for one notification of one component.
class CMultipleRegisterInstanceException : public std::logic_error {
 public:
  explicit CMultipleRegisterInstanceException(const std::string& notification);
};

// Throws CInvalidInstanceException unless `first` <= `instance` <= `last`.
void CheckInstance(const std::string& name, uint32_t instance, uint32_t first, uint32_t last);

}  // namespace SeccUtils

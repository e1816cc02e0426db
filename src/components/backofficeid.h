#pragma once

#include <cstdint>
#include <string>

// Which backoffice something belongs to.
enum class EBackofficeId : uint8_t {
  EPrimary = 0,    // the charge point operator's central system
  EAuxiliary = 1,  // the station maker's central system
  ENone = 2,       // none or not known yet
};

// The display name that log lines carry; "Unknown Backoffice with ID: 2 " (with the blank) for anything but the two.
std::string BackofficeName(EBackofficeId id);

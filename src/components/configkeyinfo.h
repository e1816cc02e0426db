#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

// Data type of a configuration key; CSL is OCPP's comma-separated list.
enum class EConfigType { EUnknown = 0, EBoolean = 1, EInteger = 2, EString = 3, ECsl = 4 };

// What the backoffice may do with a configuration key.
enum class EConfigAccess { EReadOnly = 0, EReadWrite = 1, EWriteOnly = 2 };

// What the metadata says of one configuration key.
struct SConfigKeyInfo {
  EConfigType mType{EConfigType::EUnknown};
  EConfigAccess mAccess{EConfigAccess::EReadOnly};
  bool mRebootRequired{true};
  // Bounds of an integer key, both included.
  int32_t mMin{std::numeric_limits<int32_t>::min()};
  int32_t mMax{std::numeric_limits<int32_t>::max()};
  // The values that a CSL key may be made of.
  std::vector<std::string> mSupportedItems;
  // Where the value lives: the store and its name within that store.
  std::string mFile{"ocpp"};
  std::string mKeyName;
  // For string keys only: an empty list restricts nothing.
  std::vector<std::string> mAllowedList;
  std::vector<std::string> mDeniedList;
};

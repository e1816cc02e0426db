#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/diagnostics/signaltable.h"

// The constant record of one diagnostics signal with values of type T, one of: bool, int32_t, uint32_t, int64_t, float,
// std::string, or a vector of int32_t, uint32_t, float or std::string.
template <typename T>
class CSignalDefinition {
 public:
  CSignalDefinition(int32_t identifier, const char* description, T defaultValue, const char* unit, int signalClass)
      : mIdentifier(identifier),
        mDescription(description),
        mDefault(std::move(defaultValue)),
        mUnit(unit),
        mSignalClass(signalClass)
  {}
  // The row of the signal table.
  explicit CSignalDefinition(const SSignalInfo& info)  // NOLINT(cppcoreguidelines-pro-type-member-init): done above
      : CSignalDefinition(info.identifier, info.description, T(), info.unit, info.signalClass)
  {}

  int32_t GetIdentifier() const { return mIdentifier; }
  const char* GetDescription() const { return mDescription; }
  // What the signal counts as before it was ever sent.
  const T& GetDefault() const { return mDefault; }
  const char* GetUnit() const { return mUnit; }
  int GetClass() const { return mSignalClass; }

 private:
  const int32_t mIdentifier;
  const char* const mDescription;
  const T mDefault;
  const char* const mUnit;
  const int mSignalClass;
};

#include "platform/icconfig/snapshotstore.h"

namespace IcConfig {

CSnapshotStore::CSnapshotStore(IStore& source) : mValues(source.ReadAll()), mUsedBytes(source.GetUsedBytes()) {}

std::optional<SStoredValue> CSnapshotStore::Read(const std::string& key)
{
  const auto value = mValues.find(key);
  return value == mValues.end() ? std::nullopt : std::optional<SStoredValue>(value->second);
}

std::vector<std::string> CSnapshotStore::ListKeys()
{
  std::vector<std::string> keys;
  keys.reserve(mValues.size());
  for (const auto& value : mValues) keys.push_back(value.first);
  return keys;
}

}  // namespace IcConfig

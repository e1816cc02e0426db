#include "src/components/activesignals.h"

#include <algorithm>

namespace {

bool IsRaised(const ipc::MDiagnosticsSignal& signal) { return !signal.bool_values().empty() && signal.bool_values(0); }

void Append(std::vector<int32_t>& identifiers, int32_t identifier)
{
  if (std::find(identifiers.begin(), identifiers.end(), identifier) == identifiers.end()) {
    identifiers.push_back(identifier);
  }
}

}  // namespace

std::vector<int32_t> CActiveSignals::Get(uint32_t connector) const
{
  CLock lock(mMutex);
  const auto found = mActive.find(connector);
  return found == mActive.end() ? CIdentifiers() : found->second;
}

void CActiveSignals::Update(const ipc::MDiagnosticsSignal& signal)
{
  CLock lock(mMutex);
  mNotified.emplace(signal.connector(), signal.identifier());
  auto& identifiers = mActive[signal.connector()];
  if (IsRaised(signal)) {
    Append(identifiers, signal.identifier());
  } else {
    identifiers.erase(std::remove(identifiers.begin(), identifiers.end(), signal.identifier()), identifiers.end());
  }
}

uint32_t CActiveSignals::BeginSync()
{
  CLock lock(mMutex);
  mActive.clear();
  mNotified.clear();
  return ++mSyncNumber;
}

void CActiveSignals::EndSync(uint32_t number, const std::vector<ipc::MDiagnosticsSignal>& signals)
{
  CLock lock(mMutex);
  if (number != mSyncNumber) return;
  const auto notified = std::exchange(mActive, {});
  for (const auto& signal : signals) {
    if (mNotified.count({signal.connector(), signal.identifier()}) == 0) {
      Append(mActive[signal.connector()], signal.identifier());
    }
  }
  for (const auto& [connector, identifiers] : notified) {
    for (const auto identifier : identifiers) Append(mActive[connector], identifier);
  }
}

void CActiveSignals::Remove(const std::set<int32_t>& identifiers)
{
  CLock lock(mMutex);
  for (auto& [connector, active] : mActive) {
    active.erase(std::remove_if(active.begin(), active.end(), [&](int32_t id) { return identifiers.count(id) > 0; }),
                 active.end());
  }
}

#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"

// An IOcpp that keeps what it is asked for, by one thread. Backoffices are those that a test puts in.
class CFakeOcpp : public IOcpp {
 public:
  struct SPush {
    EOutOpType operation;
    CBackofficeIds backofficeIds;
    bool force;
    COperationParameters parameters;
  };

  std::map<EBackofficeId, std::shared_ptr<IBackoffice>> backoffices;
  std::chrono::seconds clockAlignedInterval{0};
  // In order: pushes by action name, and the other operations by their own.
  std::vector<std::string> calls;
  std::vector<SPush> pushes;
  std::vector<uint32_t> connectors;  // of what was called with one
  // Runs in PushOutCall.
  std::function<void(const SPush& push)> onPush;

  void Init() override {}
  EPushResult PushOutCall(EOutOpType operation, const CBackofficeIds& backofficeIds, bool force,
                          const COperationParameters& parameters) override
  {
    calls.push_back(OutOpTypeToName(operation));
    pushes.push_back({operation, backofficeIds, force, parameters});
    if (onPush) onPush(pushes.back());
    return EPushResult::EQueued;
  }
  std::shared_ptr<IBackoffice> GetBackoffice(EBackofficeId id) override
  {
    const auto found = backoffices.find(id);
    return found == backoffices.end() ? nullptr : found->second;
  }
  EBackofficeId GetPrimaryBackofficeId() override
  {
    return backoffices.count(EBackofficeId::EPrimary) > 0 ? EBackofficeId::EPrimary : EBackofficeId::ENone;
  }
  CBackofficeIds GetAuxiliaryBackofficeIds() override { return {}; }
  CBackofficeIds GetAllUsedBackofficeIds() override
  {
    CBackofficeIds ids;
    for (const auto& entry : backoffices) ids.insert(entry.first);
    return ids;
  }
  std::shared_ptr<IBackoffice> GetLeadingBackoffice() override { return nullptr; }
  EPushResult PushStoredOutCall(const SMessage&, const CBackofficeIds&) override { return EPushResult::EFailed; }
  void ScheduleOcppHeartbeat(EBackofficeId) override { calls.emplace_back("ScheduleOcppHeartbeat"); }
  void CancelOcppHeartbeat(EBackofficeId) override { calls.emplace_back("CancelOcppHeartbeat"); }
  void StartClockAlignedMeterValue(EBackofficeId) override { calls.emplace_back("StartClockAlignedMeterValue"); }
  std::chrono::seconds GetClockAlignedScheduledInterval() override { return clockAlignedInterval; }
  void ScheduleOcppSessionMeterValues(uint32_t connector) override
  {
    Note("ScheduleOcppSessionMeterValues", connector);
  }
  void CancelOcppSessionMeterValues(uint32_t connector) override { Note("CancelOcppSessionMeterValues", connector); }
  void SetOperationBlockingDuration(std::chrono::seconds, EBackofficeId) override {}
  void LoadPersistedMessages() override {}
  void PushStatusNotification(uint32_t connectorSelector, const CBackofficeIds& backofficeIds) override
  {
    Note(backofficeIds.empty() ? "PushStatusNotification to all" : "PushStatusNotification", connectorSelector);
  }
  void PushFatalStatusNotification() override { calls.emplace_back("PushFatalStatusNotification"); }
  void PushSecurityEventNotification(const ipc::MDiagnosticsSignal&) override {}
  std::vector<COperationParameters> GetStatusNotificationParamsList(uint32_t) override { return {}; }
  COperationParameters CreateSecurityEventParameters(const ipc::MDiagnosticsSignal&) override { return {}; }
  int32_t GetSystemSessionState(int32_t state) override { return state; }

 private:
  void Note(const std::string& call, uint32_t connector)
  {
    calls.push_back(call);
    connectors.push_back(connector);
  }
};

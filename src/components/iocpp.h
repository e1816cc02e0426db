#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "platform/iipc/messages.h"
#include "src/components/backofficeid.h"
#include "src/components/operation/ocpp_common/operationparameters.h"
#include "src/components/operation/ocpp_common/operationtypes.h"
#include "src/components/pushresult.h"

class IBackoffice;
struct SMessage;

// The switchboard between the charge point and its backoffices: decides which backoffice gets which message, and owns
// every recurring timer of the protocol. Safe from any thread.
class IOcpp {
 public:
  using CBackofficeIds = std::set<EBackofficeId>;

  virtual ~IOcpp() = default;

  virtual void Init() = 0;
  // Creates the operation once, prepares it once and gives each receiver its own copy. Without `force` a backoffice
  // receives it only if its IsOperationAllowed agrees. Returns the first receiver's result.
  virtual EPushResult PushOutCall(EOutOpType operation, const CBackofficeIds& backofficeIds, bool force,
                                  const COperationParameters& parameters) = 0;
  // Empty for an unknown id and for ENone.
  virtual std::shared_ptr<IBackoffice> GetBackoffice(EBackofficeId id) = 0;
  // ENone if there is no primary backoffice.
  virtual EBackofficeId GetPrimaryBackofficeId() = 0;
  virtual CBackofficeIds GetAuxiliaryBackofficeIds() = 0;
  virtual CBackofficeIds GetAllUsedBackofficeIds() = 0;
  // The backoffice on which station-wide decisions are taken: the primary if enabled, else the first enabled auxiliary,
  // else empty.
  virtual std::shared_ptr<IBackoffice> GetLeadingBackoffice() = 0;
  // Queues a message that was stored before a restart, with its id. Only the primary backoffice is served.
  virtual EPushResult PushStoredOutCall(const SMessage& message, const CBackofficeIds& backofficeIds) = 0;
  virtual void ScheduleOcppHeartbeat(EBackofficeId id) = 0;
  virtual void CancelOcppHeartbeat(EBackofficeId id) = 0;
  virtual void StartClockAlignedMeterValue(EBackofficeId id) = 0;
  virtual std::chrono::seconds GetClockAlignedScheduledInterval() = 0;
  virtual void ScheduleOcppSessionMeterValues(uint32_t connector) = 0;
  virtual void CancelOcppSessionMeterValues(uint32_t connector) = 0;
  // Holds back outgoing calls; a duration of 0 becomes 900 seconds.
  virtual void SetOperationBlockingDuration(std::chrono::seconds duration, EBackofficeId id) = 0;
  // Once per process: queues what the message store holds.
  virtual void LoadPersistedMessages() = 0;
  // `connectorSelector` below 2 means connector 1 and connector 0, otherwise connector 0 alone. No ids means all; those
  // that are named are told of all that they have not confirmed.
  virtual void PushStatusNotification(uint32_t connectorSelector, const CBackofficeIds& backofficeIds) = 0;
  virtual void PushFatalStatusNotification() = 0;
  virtual void PushSecurityEventNotification(const ipc::MDiagnosticsSignal& signal) = 0;
  virtual std::vector<COperationParameters> GetStatusNotificationParamsList(uint32_t connectorSelector) = 0;
  virtual COperationParameters CreateSecurityEventParameters(const ipc::MDiagnosticsSignal& signal) = 0;
  // State of the charge point as a whole, from the state of its connector.
  virtual int32_t GetSystemSessionState(int32_t state) = 0;
};

#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/worker/worker.h"
#include "src/components/iocpp.h"

class ISystemAccessInterface;

// Decides when a StatusNotification is sent: debounced by "MinimumStatusDuration", suppressed towards a backoffice that
// has confirmed the same, and overruled for good by a fatal error of the board. Connector 0 stands for the station.
//
// A push for named backoffices is one for newcomers: they have (again) come online or accepted the station, and are
// told whatever they have not confirmed. The others hear of connector 0 only when its state has changed.
class CStatusNotificationPusher {
 public:
  // `worker` runs the debounced pushes.
  CStatusNotificationPusher(IOcpp& ocpp, ISystemAccessInterface& systemAccess, std::shared_ptr<CWorker> worker);

  // See IOcpp's operations of these names.
  void Push(uint32_t connectorSelector, const IOcpp::CBackofficeIds& backofficeIds) EXCLUDES(mMutex);
  void PushFatal();
  void CheckConfirmedStatus(EBackofficeId id, uint32_t connector, int32_t confirmed);
  // One entry for each reportable connector, connector 0 first.
  std::vector<COperationParameters> GetParamsList(uint32_t connectorSelector);
  int32_t GetSystemSessionState(int32_t state);

 private:
  // What the pushes since the last run of a backoffice's timer add up to.
  struct SPush {
    uint32_t connectorSelector;
    IOcpp::CBackofficeIds ids;
    IOcpp::CBackofficeIds newcomers;
  };

  void HandlePush(EBackofficeId timerOwner) EXCLUDES(mMutex);
  std::optional<SPush> TakeWaiting(EBackofficeId timerOwner) EXCLUDES(mMutex);
  // That state is what the backoffice was sent last, or a push waits that will compare.
  bool IsUnderWay(EBackofficeId id, uint32_t connector, int32_t state) EXCLUDES(mMutex);
  void RepeatFatal(EBackofficeId timerOwner);
  void HandleFatalErrorPush(EBackofficeId id);
  void TryPush(const COperationParameters& parameters, const IOcpp::CBackofficeIds& backofficeIds);
  void ScheduleFatal(IBackoffice& backoffice);
  void AppendConnector(std::vector<COperationParameters>& list, uint32_t connector, int32_t state);

  // Constant after construction.
  IOcpp& mOcpp;
  ISystemAccessInterface& mSystemAccess;
  const std::shared_ptr<CWorker> mWorker;

  // Owned by the worker.
  int32_t mLastConnectorZeroState = -1;  // the last state pushed for connector 0
  COperationParameters mFatal;           // of the fatal notification, once it was queued

  // A leaf.
  CMutex mMutex;
  std::map<EBackofficeId, SPush> mWaiting GUARDED_BY(mMutex);  // by the owner of the timer
  std::map<std::pair<EBackofficeId, uint32_t>, int32_t> mLastPushed GUARDED_BY(mMutex);
};

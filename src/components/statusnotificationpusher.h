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
// has confirmed the same and has been sent nothing else since, and overruled for good by a fatal error of the board.
// Connector 0 stands for the station.
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
  // One entry for each reportable connector, connector 0 first.
  std::vector<COperationParameters> GetParamsList(uint32_t connectorSelector);
  int32_t GetSystemSessionState(int32_t state);

 private:
  // As a backoffice is told of it.
  struct SStatus {
    int32_t state = 0;
    std::vector<int32_t> errors;

    bool operator==(const SStatus& other) const { return state == other.state && errors == other.errors; }
  };
  // What the pushes since the last run of a backoffice's timer add up to.
  struct SPush {
    uint32_t connectorSelector;
    IOcpp::CBackofficeIds ids;
    IOcpp::CBackofficeIds newcomers;
  };

  void HandlePush(EBackofficeId timerOwner) EXCLUDES(mMutex);
  std::optional<SPush> TakeWaiting(EBackofficeId timerOwner) EXCLUDES(mMutex);
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
  int32_t mLastConnectorZeroState = -1;                               // the last state pushed for connector 0
  std::map<std::pair<EBackofficeId, uint32_t>, SStatus> mLastPushed;  // by backoffice and connector
  COperationParameters mFatal;                                        // of the fatal notification, once it was queued

  // A leaf.
  CMutex mMutex;
  std::map<EBackofficeId, SPush> mWaiting GUARDED_BY(mMutex);  // by the owner of the timer
};

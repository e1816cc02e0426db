#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "platform/worker/worker.h"
#include "src/components/iocpp.h"

class ISystemAccessInterface;

// Decides when a StatusNotification is sent: debounced by "MinimumStatusDuration", suppressed towards a backoffice that
// has confirmed the same, and overruled for good by a fatal error of the board. Connector 0 stands for the station.
class CStatusNotificationPusher {
 public:
  // `worker` runs the debounced pushes.
  CStatusNotificationPusher(IOcpp& ocpp, ISystemAccessInterface& systemAccess, std::shared_ptr<CWorker> worker);

  // See IOcpp's operations of these names.
  void Push(uint32_t connectorSelector, const IOcpp::CBackofficeIds& backofficeIds);
  void PushFatal();
  // One entry for each reportable connector, connector 0 first.
  std::vector<COperationParameters> GetParamsList(uint32_t connectorSelector);
  int32_t GetSystemSessionState(int32_t state);

 private:
  void HandlePush(uint32_t connectorSelector, const IOcpp::CBackofficeIds& backofficeIds);
  void HandleFatalErrorPush(EBackofficeId id);
  void TryPush(const COperationParameters& parameters, const IOcpp::CBackofficeIds& backofficeIds);
  void ScheduleFatal(IBackoffice& backoffice);
  void AppendConnector(std::vector<COperationParameters>& list, uint32_t connector, int32_t state);

  // Constant after construction.
  IOcpp& mOcpp;
  ISystemAccessInterface& mSystemAccess;
  const std::shared_ptr<CWorker> mWorker;

  // Owned by the worker: the last state pushed for connector 0.
  int32_t mLastConnectorZeroState = -1;
};

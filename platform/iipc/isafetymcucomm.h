#pragma once

#include <functional>

#include "platform/iipc/messages.h"

// The safety controller of one connector, which switches the relays. Temperatures in degrees Celsius.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class ISafetyMcuComm {
 public:
  using McuTemperaturesHandler = std::function<void(ipc::MMcuStatus)>;
  using McuErrorHandler = std::function<void(ipc::MMcuError)>;
  using RelayStatusHandler = std::function<void(ipc::MRelayStatus)>;

  virtual ~ISafetyMcuComm() = default;

  virtual ipc::MMcuStatus GetMcuStatus() = 0;
  virtual ipc::MRelayStatus GetRelayStatus() = 0;

  virtual void SetMcuTemperaturesHandler(McuTemperaturesHandler handler) = 0;
  virtual void SetMcuErrorHandler(McuErrorHandler handler) = 0;
  virtual void SetRelayStatusHandler(RelayStatusHandler handler) = 0;
};

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/iipc/messages.h"

// The session manager of one connector: its state machine, from the plug to the end of the charge. Connectors count
// from 1; 0 means the connector of this session manager.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class ISessionManager {
 public:
  using StateChangedHandler = std::function<void(ipc::MConnectorState)>;
  using SessionStartedHandler = std::function<void(ipc::MMeterData)>;
  // The reason is always one of the listed values.
  using SessionStoppedHandler = std::function<void(ipc::MMeterData, ipc::EStopSessionReason)>;

  virtual ~ISessionManager() = default;

  // Request id for an authorization that begins here (a remote start); empty when none can begin now.
  virtual std::string GetAuthorizeHandle() = 0;
  // Illegal: no session can be started in the present state.
  virtual ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) = 0;
  virtual void DeauthorizeSession(uint32_t connector, ipc::EDeauthorizeReason reason) = 0;
  virtual ipc::MResult ReserveConnector(const ipc::MConnectorReservation& reservation) = 0;
  // During a session success means that the change was noted for its end.
  virtual ipc::MResult SetConnectorAvailability(uint32_t connector, bool operative) = 0;
  virtual ipc::MResult SetMessageStorageAvailable(bool available) = 0;
  virtual ipc::MResult RequestUnlock(uint32_t connector) = 0;
  virtual ipc::MResult SetExternalChargeApproval(bool approved) = 0;
  virtual void SetParentIdTag(uint32_t connector, const std::string& parentIdTag) = 0;
  virtual ipc::MConnectorInfo GetConnectorInfo(uint32_t connector) = 0;

  virtual void SetStateChangedHandler(StateChangedHandler handler) = 0;
  virtual void SetSessionStartedHandler(SessionStartedHandler handler) = 0;
  virtual void SetSessionStoppedHandler(SessionStoppedHandler handler) = 0;
};

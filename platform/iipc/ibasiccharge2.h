#pragma once

#include <cstdint>
#include <functional>

#include "platform/iipc/messages.h"

// Basic charge control of one connector: pilots and socket lock.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class IBasicCharge2 {
 public:
  // Connector whose socket was unlocked, from 1.
  using SocketUnlockedHandler = std::function<void(uint32_t connector)>;
  using PilotStatesChangedHandler = std::function<void(ipc::MPilotStates)>;

  virtual ~IBasicCharge2() = default;

  virtual ipc::MPilotStates GetPilotStates() = 0;

  virtual void SetSocketUnlockedHandler(SocketUnlockedHandler handler) = 0;
  virtual void SetPilotStatesChangedHandler(PilotStatesChangedHandler handler) = 0;
};

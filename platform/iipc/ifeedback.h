#pragma once

#include <functional>

#include "platform/iipc/messages.h"

// Lights and sounds towards the person in front of the station.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class IFeedback {
 public:
  using EventShownHandler = std::function<void(ipc::MFbEventType, ipc::MInstanceType)>;

  virtual ~IFeedback() = default;

  virtual ipc::MResult TriggerEvent(const ipc::MFbEventType& event, const ipc::MInstanceType& instance) = 0;

  virtual void SetEventShownHandler(EventShownHandler handler) = 0;
};

#pragma once

#include "platform/iipc/messages.h"

// Shows something to the user in front of the station.
class IFeedbackClientHandler {
 public:
  virtual ~IFeedbackClientHandler() = default;

  // An absent feedback process is logged and survived.
  virtual void TriggerFeedbackEvent(ipc::EFbEventType type, ipc::EInstanceType instance) = 0;
};

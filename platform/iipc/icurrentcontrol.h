#pragma once

#include <functional>

#include "platform/iipc/messages.h"

// Current control: merges the current limits of all sources into the one that the vehicle is offered.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class ICurrentControl {
 public:
  using LimitChangedHandler = std::function<void(ipc::MCurrentControlLimit)>;

  virtual ~ICurrentControl() = default;

  // Sets or replaces the limit of `limit.source()`: current in mA per phase, number of phases.
  virtual ipc::MResult SetLimit(const ipc::MCurrentControlLimit& limit) = 0;
  // Removes the limit of `limit.source()`; current and phases stay unset.
  virtual ipc::MResult ClearLimit(const ipc::MCurrentControlLimit& limit) = 0;
  // What is offered to the vehicle now; the current in mA is absent when nothing limits it or it is not known.
  virtual ipc::MCurrentControlLimit GetLimit() = 0;

  virtual void SetLimitChangedHandler(LimitChangedHandler handler) = 0;
};

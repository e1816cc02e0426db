#pragma once

#include <functional>
#include <utility>

#include "platform/iipc/messages.h"

// Process control as a supervising process drives it; this process serves it. The requests come on threads of the IPC
// host and may block; their callers give up at their own deadline.
class IGenericControl {
 public:
  using StateNotifier = std::function<void(ipc::MState)>;
  using AliveNotifier = std::function<void()>;

  virtual ~IGenericControl() = default;

  virtual ipc::MResult Enable() = 0;
  virtual ipc::MResult Disable() = 0;

  // The IPC host sets both when the service is added, before any request can arrive. They send to all subscribers, do
  // not block, and may be called from any thread, after the stop of the host as well (without effect).
  void SetStateNotifier(StateNotifier notifier) { mStateNotifierCB = std::move(notifier); }
  void SetAliveNotifier(AliveNotifier notifier) { mAliveNotifierCB = std::move(notifier); }

 protected:
  // Empty until the service is added; calling them then throws std::bad_function_call.
  StateNotifier mStateNotifierCB;
  AliveNotifier mAliveNotifierCB;
};

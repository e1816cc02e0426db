#pragma once

#include <functional>

#include "platform/iipc/messages.h"

// The energy meter of one connector and the sessions that it has stored. Energy in mWh, current in mA, voltage in mV,
// power in W, frequency in Hz.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class IMeter {
 public:
  using MeterDataHandler = std::function<void(ipc::MMeterData)>;

  virtual ~IMeter() = default;

  virtual ipc::MMeterData GetMeterData() = 0;
  // Oldest first.
  virtual ipc::MMeterSessions GetMeterSessions() = 0;

  virtual void SetMeterDataHandler(MeterDataHandler handler) = 0;
};

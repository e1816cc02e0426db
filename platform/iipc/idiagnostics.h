#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/iipc/messages.h"

// The process that collects errors, warnings, events and measurements of the station as diagnostics signals.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class IDiagnostics {
 public:
  using NotificationHandler = std::function<void(ipc::MDiagnosticsSignal, ipc::MDiagnosticsNotificationType)>;
  // Path of the finished freeze frame; empty when it could not be made.
  using FreezeFrameDoneHandler = std::function<void(std::string fileName)>;

  virtual ~IDiagnostics() = default;

  virtual ipc::MResult SendSignal(const ipc::MDiagnosticsSignal& signal) = 0;
  // The last value of a signal, whoever sent it; nothing when none has been reported. Connector 0 is the station.
  virtual std::optional<ipc::MDiagnosticsSignal> GetSignal(ipc::ESignalIdentifier identifier, uint32_t connector) = 0;
  // In the order in which they were raised.
  virtual std::vector<ipc::MDiagnosticsSignal> GetActiveErrors() = 0;
  virtual std::vector<ipc::MDiagnosticsSignal> GetActiveWarnings() = 0;
  // Success: the freeze frame is being made, its end is notified.
  virtual ipc::MResult CreateFreezeFrame(const std::string& tag) = 0;

  virtual void SetNotificationHandler(NotificationHandler handler) = 0;
  virtual void SetFreezeFrameDoneHandler(FreezeFrameDoneHandler handler) = 0;
};

#pragma once

#include <memory>
#include <optional>

#include "platform/clock/clock.h"
#include "platform/iipc/idiagnostics.h"

// The process's one road to the diagnostics process. All operations are safe from any thread.
class CDiagnosticsCommClient {
 public:
  // Starts to deliver signals, on a thread of its own. A second call replaces the first. The clock must outlive
  // Terminate.
  static void Initialize(std::shared_ptr<IDiagnostics> diagnostics, IClock& clock);
  static bool IsInitialized();
  // Ends the delivery within half a second: what waits is still delivered if that succeeds, otherwise dropped. Without
  // Initialize it does nothing.
  static void Terminate();

  // Hands a value over and returns at once. Values are delivered in order; while the diagnostics process cannot be
  // reached the newest ones are kept, and the loss of older ones is logged. Without Initialize the value goes nowhere.
  static void Send(ipc::MDiagnosticsSignal signal);
  // As Send, for a value that makes the one before it worthless: of such a signal one value at most waits, however long
  // the diagnostics process is away.
  static void SendLatest(ipc::MDiagnosticsSignal signal);
  // The last value that the diagnostics process knows of; empty when there is none or it cannot be asked. Blocks for at
  // most the deadline of a call.
  static std::optional<ipc::MDiagnosticsSignal> Receive(ipc::ESignalIdentifier identifier, uint32_t connector);
};

#pragma once

#include <optional>
#include <utility>

#include "platform/clock/mutex.h"
#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/signaldefinition.h"
#include "platform/diagnostics/signalvalue.h"

// A live handle on one diagnostics signal. `instance` is an ipc::EInstanceType: 0 for the station, otherwise a
// connector. Safe from any thread.
template <typename T>
class CDiagnosticsSignal {
 public:
  CDiagnosticsSignal(const CSignalDefinition<T>& definition, uint32_t instance)
      : mDefinition(definition), mInstance(instance), mLast(definition.GetDefault())
  {}

  // Keeps the value as the last one and hands it over for delivery; never blocks and never throws.
  void Send(const T& value) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    CDiagnosticsCommClient::Send(Take(value));
  }

  // As Send, for a value that makes the one before it worthless: that one is not delivered if it still waits.
  void SendLatest(const T& value) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    CDiagnosticsCommClient::SendLatest(Take(value));
  }

  // As Send, unless the value is the last one already.
  void SendOnChange(const T& value) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    if (mLast != value) CDiagnosticsCommClient::Send(Take(value));
  }

  // Asks the diagnostics process; empty when no value is known or it cannot be asked.
  std::optional<T> Receive() const
  {
    const auto signal = CDiagnosticsCommClient::Receive(GetIdentifier(), mInstance);
    T value{};
    if (!signal || !SignalValue::Take(*signal, value)) return std::nullopt;
    return value;
  }

  // What was last sent by this handle, at first the definition's default.
  T GetLast() const EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mLast;
  }

 private:
  // What is handed over is handed over under the lock, which never waits for a delivery, so that the last value kept is
  // the last one delivered.
  ipc::MDiagnosticsSignal Take(const T& value) REQUIRES(mMutex)
  {
    mLast = value;
    ipc::MDiagnosticsSignal signal;
    signal.set_identifier(GetIdentifier());
    signal.set_connector(mInstance);
    SignalValue::Put(signal, value);
    return signal;
  }

  ipc::ESignalIdentifier GetIdentifier() const
  {
    return static_cast<ipc::ESignalIdentifier>(mDefinition.GetIdentifier());
  }

  // Constant after construction. Definitions are constants of the program.
  const CSignalDefinition<T>& mDefinition;
  const uint32_t mInstance;

  mutable CMutex mMutex;
  T mLast GUARDED_BY(mMutex);
};

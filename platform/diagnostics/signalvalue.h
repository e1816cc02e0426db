#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/iipc/messages.h"

// The step between a signal's value and the message that carries it: each type has its own list there, and a signal
// with a single value uses the first element.
namespace SignalValue {

void Put(ipc::MDiagnosticsSignal& signal, bool value);
void Put(ipc::MDiagnosticsSignal& signal, int32_t value);
void Put(ipc::MDiagnosticsSignal& signal, uint32_t value);
void Put(ipc::MDiagnosticsSignal& signal, int64_t value);
void Put(ipc::MDiagnosticsSignal& signal, float value);
void Put(ipc::MDiagnosticsSignal& signal, const std::string& value);
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<int32_t>& value);
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<uint32_t>& value);
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<float>& value);
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<std::string>& value);

// False, and `value` as it was, when the message holds none of the type. A list may be empty.
bool Take(const ipc::MDiagnosticsSignal& signal, bool& value);
bool Take(const ipc::MDiagnosticsSignal& signal, int32_t& value);
bool Take(const ipc::MDiagnosticsSignal& signal, uint32_t& value);
bool Take(const ipc::MDiagnosticsSignal& signal, int64_t& value);
bool Take(const ipc::MDiagnosticsSignal& signal, float& value);
bool Take(const ipc::MDiagnosticsSignal& signal, std::string& value);
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<int32_t>& value);
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<uint32_t>& value);
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<float>& value);
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<std::string>& value);

}  // namespace SignalValue

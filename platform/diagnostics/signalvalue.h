#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/iipc/messages.h"

// The step between a signal's value and the message that carries it: each type has its own list there, and a signal
// with a single value uses the first element.
namespace SignalValue {

// Texts longer than this many bytes are cut.
constexpr size_t kMaxTextLength = 65536;

// A message with a text that is not UTF-8, or with one of any length, would be refused by its receiver; what of a text
// is malformed becomes U+FFFD.
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

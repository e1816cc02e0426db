#include "platform/diagnostics/signalvalue.h"

namespace {

template <typename TList, typename TValue>
bool TakeFirst(const TList& list, TValue& value)
{
  if (list.empty()) return false;
  value = *list.begin();
  return true;
}

template <typename TList, typename TValue>
bool TakeAll(const TList& list, TValue& value)
{
  value.assign(list.begin(), list.end());
  return true;
}

}  // namespace

namespace SignalValue {

void Put(ipc::MDiagnosticsSignal& signal, bool value) { signal.add_bool_values(value); }
void Put(ipc::MDiagnosticsSignal& signal, int32_t value) { signal.add_int_values(value); }
void Put(ipc::MDiagnosticsSignal& signal, uint32_t value) { signal.add_uint_values(value); }
void Put(ipc::MDiagnosticsSignal& signal, int64_t value) { signal.add_long_values(value); }
void Put(ipc::MDiagnosticsSignal& signal, float value) { signal.add_float_values(value); }
void Put(ipc::MDiagnosticsSignal& signal, const std::string& value) { signal.add_string_values(value); }
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<int32_t>& value)
{
  signal.mutable_int_values()->Assign(value.begin(), value.end());
}
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<uint32_t>& value)
{
  signal.mutable_uint_values()->Assign(value.begin(), value.end());
}
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<float>& value)
{
  signal.mutable_float_values()->Assign(value.begin(), value.end());
}
void Put(ipc::MDiagnosticsSignal& signal, const std::vector<std::string>& value)
{
  for (const auto& text : value) signal.add_string_values(text);
}

bool Take(const ipc::MDiagnosticsSignal& signal, bool& value) { return TakeFirst(signal.bool_values(), value); }
bool Take(const ipc::MDiagnosticsSignal& signal, int32_t& value) { return TakeFirst(signal.int_values(), value); }
bool Take(const ipc::MDiagnosticsSignal& signal, uint32_t& value) { return TakeFirst(signal.uint_values(), value); }
bool Take(const ipc::MDiagnosticsSignal& signal, int64_t& value) { return TakeFirst(signal.long_values(), value); }
bool Take(const ipc::MDiagnosticsSignal& signal, float& value) { return TakeFirst(signal.float_values(), value); }
bool Take(const ipc::MDiagnosticsSignal& signal, std::string& value)
{
  return TakeFirst(signal.string_values(), value);
}
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<int32_t>& value)
{
  return TakeAll(signal.int_values(), value);
}
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<uint32_t>& value)
{
  return TakeAll(signal.uint_values(), value);
}
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<float>& value)
{
  return TakeAll(signal.float_values(), value);
}
bool Take(const ipc::MDiagnosticsSignal& signal, std::vector<std::string>& value)
{
  return TakeAll(signal.string_values(), value);
}

}  // namespace SignalValue

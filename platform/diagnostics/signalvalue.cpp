#include "platform/diagnostics/signalvalue.h"

#include <optional>
#include <string_view>

namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";

// The first code point of each encoded length; a shorter form of the same code point is malformed (RFC 3629 section 3).
constexpr char32_t kFirstCodePoints[] = {0, 0x80, 0x800, 0x10000};

// Bytes that follow a leading byte; empty for a byte that cannot lead.
std::optional<size_t> CountFollowing(unsigned char lead)
{
  if (lead < 0x80) return 0;
  if (lead >= 0xC0 && lead < 0xE0) return 1;
  if (lead >= 0xE0 && lead < 0xF0) return 2;
  if (lead >= 0xF0 && lead < 0xF8) return 3;
  return std::nullopt;
}

// Length of the well-formed character at the beginning of `text`, which is not empty; 0 when it is malformed.
size_t MeasureCharacter(std::string_view text)
{
  const auto lead = static_cast<unsigned char>(text.front());
  const auto following = CountFollowing(lead);
  if (!following || text.size() <= *following) return 0;
  char32_t codePoint = *following == 0 ? lead : lead & (0x3FU >> *following);
  for (size_t i = 1; i <= *following; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0U) != 0x80) return 0;
    codePoint = (codePoint << 6U) | (byte & 0x3FU);
  }
  const bool isSurrogate = codePoint >= 0xD800 && codePoint < 0xE000;
  if (isSurrogate || codePoint < kFirstCodePoints[*following] || codePoint > 0x10FFFF) return 0;
  return *following + 1;
}

std::string MakeDeliverable(const std::string& text)
{
  std::string deliverable;
  for (std::string_view rest = text; !rest.empty();) {
    const size_t length = MeasureCharacter(rest);
    const std::string_view character = length == 0 ? kReplacement : rest.substr(0, length);
    if (deliverable.size() + character.size() > SignalValue::kMaxTextLength) break;
    deliverable += character;
    rest.remove_prefix(length == 0 ? 1 : length);
  }
  return deliverable;
}

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
void Put(ipc::MDiagnosticsSignal& signal, const std::string& value)
{
  signal.add_string_values(MakeDeliverable(value));
}
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
  for (const auto& text : value) signal.add_string_values(MakeDeliverable(text));
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

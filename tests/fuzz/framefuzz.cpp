// Frames: whatever the bytes, they lead to one callback at most, with the fields that a text stream gives.

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "src/components/messagehandler.h"
#include "src/components/secretmask.h"

namespace {

using CFields = std::vector<std::string>;

bool IsSpace(char character) { return std::isspace(static_cast<unsigned char>(character)) != 0; }

std::string Cleaned(const std::string& field)
{
  std::string cleaned;
  for (const char character : field) {
    if (character != '"' && !IsSpace(character)) cleaned += character;
  }
  return cleaned;
}

std::string Trimmed(std::string field)
{
  while (!field.empty() && IsSpace(field.back())) field.pop_back();
  while (!field.empty() && IsSpace(field.front())) field.erase(0, 1);
  return field;
}

// The same fields, cut in the plainest way.
CFields CutByStream(const std::string& frame)
{
  if (frame.empty() || frame.front() != '[' || frame.back() != ']') return {};
  std::istringstream stream(frame.substr(1, frame.size() - 2));
  const auto next = [&](char delimiter) {
    std::string field;
    std::getline(stream, field, delimiter);
    return field;
  };
  const auto type = Cleaned(next(','));
  const auto id = Cleaned(next(','));
  if (type == "2") {
    const auto action = Cleaned(next(','));
    return {type, id, action, Trimmed(next('\n'))};
  }
  if (type == "3") return {type, id, Trimmed(next('\n'))};
  if (type != "4") return {};
  const auto code = next(',');
  const auto description = next(',');
  return {type, id, code, description, next('\n')};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string frame(reinterpret_cast<const char*>(data), size);
  std::vector<CFields> calls;
  CMessageHandler handler;
  handler.SetInCallCB([&](const std::string& id, const std::string& action, const std::string& payload) {
    calls.push_back({"2", id, action, payload});
  });
  handler.SetInResultCB([&](const std::string& id, const std::string& payload) {
    calls.push_back({"3", id, payload});
  });
  handler.SetInErrorCB(
      [&](const std::string& id, const std::string& code, const std::string& description, const std::string& details) {
        calls.push_back({"4", id, code, description, details});
      });
  handler.ParseMessage(frame);
  const auto expected = CutByStream(frame);
  if (calls.size() > 1 || (calls.empty() ? CFields{} : calls.front()) != expected) std::abort();
  // Logs mask the same bytes. Neither a secret member nor a password comes without a colon.
  const auto masked = MaskSecrets(frame);
  if (frame.find(':') == std::string::npos && masked != frame) std::abort();
  return 0;
}

#include "src/components/messagehandler.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/secretmask.h"

namespace {

constexpr std::string_view kCall = "2";
constexpr std::string_view kCallResult = "3";
constexpr std::string_view kCallError = "4";

bool IsSpace(char character) { return std::isspace(static_cast<unsigned char>(character)) != 0; }

// Reads fields from the front of a text, as a text stream gives them, without copying the rest.
class CFieldReader {
 public:
  explicit CFieldReader(std::string_view text) : mRest(text) {}

  std::string_view ReadToComma() { return ReadTo(','); }
  std::string_view ReadToLineFeed() { return ReadTo('\n'); }

 private:
  std::string_view ReadTo(char delimiter)
  {
    const auto end = mRest.find(delimiter);
    const auto field = mRest.substr(0, end);
    mRest = end == std::string_view::npos ? std::string_view() : mRest.substr(end + 1);
    return field;
  }

  std::string_view mRest;
};

std::string RemoveQuotesAndSpaces(std::string_view field)
{
  std::string cleaned;
  cleaned.reserve(field.size());
  std::copy_if(field.begin(), field.end(), std::back_inserter(cleaned),
               [](char character) { return character != '"' && !IsSpace(character); });
  return cleaned;
}

std::string_view TrimSpaces(std::string_view field)
{
  while (!field.empty() && IsSpace(field.front())) field.remove_prefix(1);
  while (!field.empty() && IsSpace(field.back())) field.remove_suffix(1);
  return field;
}

}  // namespace

void CMessageHandler::SetInCallCB(CInCallCB callback)
{
  LOG_ENTRY("CMessageHandler");
  mInCallCB = std::move(callback);
}

void CMessageHandler::SetInResultCB(CInResultCB callback)
{
  LOG_ENTRY("CMessageHandler");
  mInResultCB = std::move(callback);
}

void CMessageHandler::SetInErrorCB(CInErrorCB callback)
{
  LOG_ENTRY("CMessageHandler");
  mInErrorCB = std::move(callback);
}

bool CMessageHandler::IsAllCallbackSet() const { return mInCallCB && mInResultCB && mInErrorCB; }

void CMessageHandler::ParseMessage(const std::string& text)
{
  LOG_ENTRY("CMessageHandler");
  if (text.empty() || text.front() != '[') {
    LOG_WARNING("msg {} does not begin with [", MaskSecrets(text));
    return;
  }
  if (text.back() != ']') {
    LOG_WARNING("msg {} does not end with ]", MaskSecrets(text));
    return;
  }
  CFieldReader reader(std::string_view(text).substr(1, text.size() - 2));
  const auto type = RemoveQuotesAndSpaces(reader.ReadToComma());
  const auto id = RemoveQuotesAndSpaces(reader.ReadToComma());
  if (type == kCall) {
    const auto action = RemoveQuotesAndSpaces(reader.ReadToComma());
    if (!mInCallCB) {
      LOG_WARNING("No incoming message callback is set.");
      return;
    }
    mInCallCB(id, action, std::string(TrimSpaces(reader.ReadToLineFeed())));
  } else if (type == kCallResult) {
    if (!mInResultCB) {
      LOG_WARNING("No result message callback is set.");
      return;
    }
    mInResultCB(id, std::string(TrimSpaces(reader.ReadToLineFeed())));
  } else if (type == kCallError) {
    if (!mInErrorCB) {
      LOG_WARNING("No error message callback is set.");
      return;
    }
    // Not cleaned: the quotes around the code are part of what the receiver compares.
    const std::string code(reader.ReadToComma());
    const std::string description(reader.ReadToComma());
    mInErrorCB(id, code, description, std::string(reader.ReadToLineFeed()));
  } else {
    LOG_WARNING("unknown massage type received.");
  }
}

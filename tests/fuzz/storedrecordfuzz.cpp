// Rows of the message store: whatever one of them holds, the message beside it comes back, and a row that cannot be
// read is gone afterwards.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "platform/icconfig/jsontext.h"
#include "src/components/persistentmessagestoragemanager.h"
#include "tests/unit/support/fakeconfig.h"

namespace {

constexpr uint32_t kMaxStorageBytes = 2000000;

void Require(bool condition)
{
  if (!condition) std::abort();
}

Json::Value GoodRecord()
{
  Json::Value record(Json::objectValue);
  record["QueuedCounter"] = 3;
  record["OperationType"] = "StopTransaction";
  record["Payload"] = "{}";
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const auto record = IcConfig::ParseJsonText(std::string_view(reinterpret_cast<const char*>(data), size));
  // A row whose text is not JSON does not come out of the domain.
  if (!record) return 0;
  const auto again = IcConfig::ParseJsonText(IcConfig::WriteJsonText(*record));
  Require(again && *again == *record);

  const auto config = std::make_shared<CFakeConfig>();
  config->Preset("foreign", *record);
  config->Preset("good", GoodRecord());
  CPersistentMessageStorageManager store(config, kMaxStorageBytes);
  const auto messages = store.GetStoredMessages();
  Require(store.GetNumStoredMessages() == messages.size());
  Require(messages.size() == config->ListKeys().size());
  bool isGoodThere = false;
  for (const auto& message : messages) isGoodThere = isGoodThere || message.messageId == "good";
  Require(isGoodThere);

  CPersistentMessageStorageManager restarted(config, kMaxStorageBytes);
  Require(restarted.GetStoredMessages().size() == messages.size());
  return 0;
}

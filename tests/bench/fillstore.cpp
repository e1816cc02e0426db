// Puts a station's transaction messages in store, as a process leaves them behind that was offline for a long time: one
// session after the other, each with its start, some meter values and its stop.
//
//   bench_fillstore ROOT MESSAGES      ROOT with its trailing slash

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"

namespace {

constexpr const char* kDomain = "secc_persistentmessages";
constexpr uint64_t kMessagesOfSession = 5;

struct SStored {
  const char* type;
  std::string payload;
};

std::string TimeText(uint64_t minute)
{
  return fmt::format("2026-01-{:02}T{:02}:{:02}:00Z", 1 + minute / 1440 % 28, minute / 60 % 24, minute % 60);
}

SStored Message(uint64_t number)
{
  const uint64_t energyWh = 1000 * number;
  const std::string time = TimeText(number);
  switch (number % kMessagesOfSession) {
    case 0:
      return {"StartTransaction", fmt::format(R"({{"connectorId":1,"idTag":"TAG{}","meterStart":{},"timestamp":"{}"}})",
                                              number, energyWh, time)};
    case kMessagesOfSession - 1:
      return {"StopTransaction",
              fmt::format(R"({{"meterStop":{},"timestamp":"{}","transactionId":-1,"reason":"EVDisconnected"}})",
                          energyWh, time)};
    default:
      return {"MeterValues",
              fmt::format(R"({{"connectorId":1,"transactionId":-1,"meterValue":[{{"timestamp":"{}","sampledValue":)"
                          R"([{{"value":"{}","context":"Sample.Periodic","measurand":)"
                          R"("Energy.Active.Import.Register","unit":"Wh"}}]}}]}})",
                          time, energyWh)};
  }
}

}  // namespace

int main(int argc, char** argv)
{
  if (argc != 3) {
    std::fprintf(stderr, "usage: bench_fillstore ROOT MESSAGES\n");
    return 2;
  }
  const std::string root = argv[1];
  const uint64_t count = std::strtoull(argv[2], nullptr, 10);
  IcConfig::SetPaths(IcConfig::PathsBelow(root));
  std::vector<std::pair<std::string, Json::Value>> records;
  for (uint64_t number = 0; number < count; ++number) {
    const SStored message = Message(number);
    Json::Value record(Json::objectValue);
    record["QueuedCounter"] = Json::UInt64(number);
    record["OperationType"] = message.type;
    record["Payload"] = message.payload;
    // Message ids are in no order.
    records.emplace_back(fmt::format("{:016x}-stored", number * 0x9E3779B97F4A7C15ull), record);
  }
  // No session is running that one of the messages could belong to.
  Json::Value session(Json::objectValue);
  session["Key"] = "";
  session["HasEnded"] = false;
  const auto connector = IcConfig::Create("connector1/secc_persistentdata", {}, {});
  const auto store = IcConfig::Create(kDomain, {}, {});
  if (!connector->Apply({}, {{"OpenedTransaction", false}, {"SessionTransaction", session}}) ||
      !store->Apply({}, records) || store->ListKeys().size() < count) {
    std::fprintf(stderr, "%s: the store cannot be written\n", root.c_str());
    return 1;
  }
  return 0;
}

#include "src/components/sessionrecord.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "platform/icconfig/jsontext.h"
#include "src/components/energyunits.h"

namespace {

constexpr const char* kKey = "Key";
constexpr const char* kHasEnded = "HasEnded";
constexpr const char* kStart = "Start";
constexpr const char* kEnd = "End";
constexpr const char* kStop = "Stop";
constexpr const char* kEnded = "Ended";
constexpr const char* kHasMovedMeter = "HasMovedMeter";

bool FlagOf(const Json::Value& json, const char* name)
{
  return json.isObject() && json[name].isBool() && json[name].asBool();
}

std::string MakeIdentity(const std::string& time, int64_t energy)
{
  return time.empty() ? std::string() : fmt::format("{} {}", time, energy);
}

// Of what MakeIdentity gives; 0 when the text is anything else.
int64_t EnergyOf(const std::string& identity)
{
  return std::strtoll(identity.c_str() + std::min(identity.find(' '), identity.size()), nullptr, 10);
}

int64_t EndRegister(const ipc::MMeterData& meterData)
{
  return meterData.session_end_energy() != 0 ? meterData.session_end_energy() : meterData.energy_register();
}

}  // namespace

Json::Value SSessionRecord::ToJson() const
{
  Json::Value json(Json::objectValue);
  json[kKey] = key;
  json[kHasEnded] = hasEnded;
  json[kStart] = start;
  json[kEnd] = end;
  json[kStop] = stop;
  json[kEnded] = Json::Value(Json::arrayValue);
  for (const auto& session : ended) {
    Json::Value entry(Json::objectValue);
    entry[kStart] = session.start;
    entry[kHasMovedMeter] = session.hasMovedMeter;
    json[kEnded].append(entry);
  }
  return json;
}

SSessionRecord SSessionRecord::FromJson(const Json::Value& json)
{
  SSessionRecord record;
  if (!json.isObject()) return record;
  record.key = IcConfig::GetTextMember(json, kKey);
  record.hasEnded = FlagOf(json, kHasEnded);
  record.start = IcConfig::GetTextMember(json, kStart);
  record.end = IcConfig::GetTextMember(json, kEnd);
  record.stop = IcConfig::GetTextMember(json, kStop);
  const auto& entries = json[kEnded];
  for (Json::ArrayIndex i = 0; entries.isArray() && i < entries.size(); ++i) {
    const auto text = IcConfig::GetTextMember(entries[i], kStart);
    if (!text.empty()) record.ended.push_back({text, FlagOf(entries[i], kHasMovedMeter)});
  }
  return record;
}

void SSessionRecord::Close(const ipc::MMeterData& meterData)
{
  auto closed = StartOf(meterData);
  if (closed.empty()) closed = start;
  Remember({closed, EndRegister(meterData) > EnergyOf(closed)});
  key.clear();
  hasEnded = false;
  end.clear();
}

// A session that cannot be told from others is not remembered: every other one of that kind would be taken for it.
void SSessionRecord::Remember(const SEnded& session)
{
  if (session.start.empty()) return;
  ended.push_back(session);
  if (ended.size() > kMaxEnded) ended.erase(ended.begin());
}

void SSessionRecord::Begin(const std::string& transactionKey, const std::string& sessionStart)
{
  // A stop that was never made does not tell anything.
  if (hasEnded) stop.clear();
  key = transactionKey;
  hasEnded = false;
  start = sessionStart;
  end.clear();
}

ipc::MMeterData SSessionRecord::EndBefore(const ipc::MMeterData& next) const
{
  const int64_t startEnergy = EnergyOf(start);
  // A meter that was replaced shows less.
  const int64_t endEnergy = std::max(startEnergy, next.session_start_energy());
  ipc::MMeterData reading;
  reading.set_energy_register(endEnergy);
  reading.set_session_start_time(start.substr(0, start.find(' ')));
  reading.set_session_start_energy(startEnergy);
  reading.set_session_end_time(next.session_start_time());
  reading.set_session_end_energy(endEnergy);
  return reading;
}

std::string SSessionRecord::StartOf(const ipc::MMeterData& meterData)
{
  if (!meterData.has_session_start_energy()) return std::string();
  return MakeIdentity(meterData.session_start_time(), meterData.session_start_energy());
}

std::string SSessionRecord::EndOf(const ipc::MMeterData& meterData)
{
  if (meterData.session_end_energy() == 0) return std::string();
  return MakeIdentity(meterData.session_end_time(), meterData.session_end_energy() / kMilliWhPerWh);
}

std::string SSessionRecord::StopOf(const ipc::MMeterData& meterData)
{
  auto end = EndOf(meterData);
  if (!end.empty() || !meterData.has_energy_register()) return end;
  const auto& data = meterData;
  return fmt::format("{} {} {} {} {} {} {}", data.session_end_time(), data.session_end_energy(), data.energy_register(),
                     fmt::join(data.voltage(), ","), fmt::join(data.current(), ","), fmt::join(data.power(), ","),
                     data.frequency());
}

std::string SSessionRecord::EndOf(const std::string& stopTransaction)
{
  const auto payload = IcConfig::ParseJsonText(stopTransaction);
  if (!payload || !payload->isObject() || !(*payload)["meterStop"].isInt64()) return std::string();
  return MakeIdentity(IcConfig::GetTextMember(*payload, "timestamp"), (*payload)["meterStop"].asInt64());
}

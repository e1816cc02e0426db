#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/icconfig/icconfig.h"

// A sequence of writes that two processes can compute independently: one makes them, the other knows what the store
// must hold after the first n of them.
namespace Churn {

using CState = std::map<std::string, Json::Value>;

struct SStep {
  std::vector<std::string> remove;
  std::vector<std::pair<std::string, Json::Value>> write;
};

inline std::string Key(uint64_t number) { return "Key" + std::to_string(number % 8); }

// Each step changes the state: it carries its own number.
inline SStep MakeStep(uint64_t seed, uint64_t number)
{
  std::mt19937_64 random(seed * 1000003 + number);
  SStep step;
  Json::Value value(Json::objectValue);
  value["number"] = static_cast<Json::Int64>(number);
  value["filling"] = std::string(random() % 3000, 'x');
  step.write.emplace_back(Key(random()), value);
  const uint64_t more = random() % 3;
  for (uint64_t count = 0; count < more; ++count) {
    step.remove.push_back(Key(random()));
    step.write.emplace_back(Key(random()), static_cast<Json::Int64>(number));
  }
  return step;
}

inline void ApplyTo(CState& state, const SStep& step)
{
  for (const auto& key : step.remove) state.erase(key);
  for (const auto& entry : step.write) state[entry.first] = entry.second;
}

inline CState StateOf(const IcConfig::IReadOnlyConfig& config)
{
  CState state;
  for (const auto& key : config.ListKeys()) state[key] = config.GetJson(key, Json::Value());
  return state;
}

}  // namespace Churn

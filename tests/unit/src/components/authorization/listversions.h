#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The lists that one process of a test stores and another looks for. Each version has tags of its own, and another
// number of them than its neighbours, so that any mixture shows.
namespace ListVersions {

constexpr size_t kCapacity = 250;

inline std::vector<std::string> TagsOf(int64_t version)
{
  constexpr int64_t kMaxTags = 40;
  std::vector<std::string> tags;
  for (int64_t tag = 0; tag <= version % kMaxTags; ++tag) {
    tags.push_back(std::to_string(version) + "-" + std::to_string(tag));
  }
  return tags;
}

}  // namespace ListVersions

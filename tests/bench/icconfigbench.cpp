// What a configuration domain costs, by the number of rows that it holds. The cost of a write, of a removal and of the
// used byte count must not depend on it. Baseline: the fsync of one page appended to a file, which a durable write
// cannot do without.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "platform/icconfig/icconfig.h"
#include "tests/bench/workfolder.h"

namespace {

constexpr size_t kPageBytes = 4096;
constexpr size_t kValueBytes = 100;

// Keys in no order, as message ids are.
std::string KeyOf(uint64_t number)
{
  std::array<char, 24> text = {};
  snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(number * 0x9E3779B97F4A7C15ull));
  return text.data();
}

std::shared_ptr<IcConfig::IConfig> OpenWithRows(int64_t rows)
{
  auto config = IcConfig::Create("domain", {}, {});
  std::vector<std::pair<std::string, Json::Value>> entries;
  for (int64_t row = 0; row < rows; ++row)
    entries.emplace_back(KeyOf(static_cast<uint64_t>(row)), std::string(kValueBytes, 'x'));
  config->Apply({}, entries);
  return config;
}

void BM_FsyncOfAPage(benchmark::State& state)
{
  const CFolder folder;
  const int file = open((folder.GetPath() + "file").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::string page(kPageBytes, 'x');
  for (auto _ : state) {
    benchmark::DoNotOptimize(write(file, page.data(), page.size()));
    benchmark::DoNotOptimize(fdatasync(file));
  }
  close(file);
}
BENCHMARK(BM_FsyncOfAPage)->UseRealTime();

void BM_StoreAndClear(benchmark::State& state)
{
  const CFolder folder;
  const auto config = OpenWithRows(state.range(0));
  const std::string value(kValueBytes, 'y');
  uint64_t number = static_cast<uint64_t>(state.range(0));
  for (auto _ : state) {
    const std::string key = KeyOf(++number);
    config->SetString(key, value);
    config->DeleteKey(key);
  }
}
BENCHMARK(BM_StoreAndClear)->Arg(0)->Arg(20000)->UseRealTime();

void BM_Overwrite(benchmark::State& state)
{
  const CFolder folder;
  const auto config = OpenWithRows(state.range(0));
  int64_t value = 0;
  for (auto _ : state) config->SetInt("Key", ++value);
}
BENCHMARK(BM_Overwrite)->Arg(0)->Arg(20000)->UseRealTime();

void BM_Read(benchmark::State& state)
{
  const CFolder folder;
  const auto config = OpenWithRows(state.range(0));
  config->SetInt("Key", 1);
  for (auto _ : state) benchmark::DoNotOptimize(config->GetInt("Key", 0));
}
BENCHMARK(BM_Read)->Arg(0)->Arg(20000)->UseRealTime();

void BM_UsedBytes(benchmark::State& state)
{
  const CFolder folder;
  const auto config = OpenWithRows(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(config->GetUsedBytes());
}
BENCHMARK(BM_UsedBytes)->Arg(0)->Arg(20000)->UseRealTime();

void BM_Open(benchmark::State& state)
{
  const CFolder folder;
  OpenWithRows(state.range(0)).reset();
  for (auto _ : state) benchmark::DoNotOptimize(IcConfig::Create("domain", {}, {}));
}
BENCHMARK(BM_Open)->Arg(0)->Arg(20000)->UseRealTime();

}  // namespace

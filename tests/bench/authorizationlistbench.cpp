// What the stores of id tags cost, on real documents: loading a list (of the maximum length in less than 100 ms),
// looking a tag up (which must not depend on the length), and an update of the full cache with its write. Baseline of
// the write: the document alone, as text, written to a new file and renamed, with the two fsyncs that a durable
// replacement needs.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "platform/clock/realclock.h"
#include "platform/icconfig/icconfig.h"
#include "src/components/authorization/authorizationcache.h"
#include "src/components/authorization/localauthorizationlist.h"
#include "tests/bench/workfolder.h"

namespace {

// LocalAuthListMaxLength as packaged, and the capacity of the cache.
constexpr int64_t kMaxLength = 1000;
constexpr int64_t kCacheCapacity = 250;
constexpr int64_t kShort = 10;

// As long as an id tag may be.
std::string TagOf(int64_t number)
{
  std::string digits = std::to_string(number);
  return "04A1B2C3D4E5F6" + std::string(6 - digits.size(), '0') + digits;
}

CAuthorizationListEntry EntryOf(const IClock& clock, const std::string& id)
{
  return CAuthorizationListEntry(id, TagOf(0), EAuthorizationStatus::EAccepted,
                                 clock.SystemNow() + std::chrono::hours(1), clock.SystemNow());
}

std::unique_ptr<CLocalAuthorizationList> OpenList(const IClock& clock)
{
  return std::make_unique<CLocalAuthorizationList>(clock, IcConfig::Create("localAuthList.json", {}, {}),
                                                   static_cast<size_t>(kMaxLength));
}

void FillAndStore(const IClock& clock, IAuthorizeList& list, int64_t length)
{
  for (int64_t number = 0; number < length; ++number) list.Update(EntryOf(clock, TagOf(number)));
  list.WriteToStorage();
}

// From nothing in the process to a list in force: the document is opened, read and understood.
void LoadList(benchmark::State& state)
{
  const CFolder folder;
  const CRealClock clock;
  FillAndStore(clock, *OpenList(clock), state.range(0));
  for (auto _ : state) {
    const auto list = OpenList(clock);
    if (list->GetSize() != static_cast<size_t>(state.range(0))) state.SkipWithError("entries are missing");
  }
}
BENCHMARK(LoadList)->Arg(0)->Arg(kShort)->Arg(kMaxLength)->Unit(benchmark::kMillisecond)->UseRealTime();

// A known and an unknown tag in turn.
void LookUp(benchmark::State& state)
{
  const CFolder folder;
  const CRealClock clock;
  const auto list = OpenList(clock);
  FillAndStore(clock, *list, state.range(0));
  int64_t number = 0;
  for (auto _ : state) {
    number = (number + 7) % state.range(0);
    const std::string known = TagOf(number);
    benchmark::DoNotOptimize(list->Find(known));
    benchmark::DoNotOptimize(list->Find(TagOf(number + kMaxLength)));
  }
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(LookUp)->Arg(kShort)->Arg(kMaxLength);

// What an answer of the backoffice to a tag costs with so many tags in the cache.
void UpdateAndWriteCache(benchmark::State& state)
{
  const CFolder folder;
  const CRealClock clock;
  CAuthorizationCache cache(clock, IcConfig::Create("authCache.json", {}, {}), static_cast<size_t>(kCacheCapacity));
  FillAndStore(clock, cache, state.range(0));
  int64_t status = 0;
  for (auto _ : state) {
    const auto entry = EntryOf(clock, TagOf(state.range(0) / 2));
    // Another parent each time, so that there is something to write.
    cache.Update(CAuthorizationListEntry(entry.GetId(), TagOf(++status % 2), entry.GetStatus(), entry.GetExpiry(),
                                         entry.GetEntryDate()));
    cache.WriteToStorage();
  }
}
BENCHMARK(UpdateAndWriteCache)->Arg(kShort)->Arg(kCacheCapacity)->Unit(benchmark::kMicrosecond)->UseRealTime();

void ReplaceFileOfTheSameLength(benchmark::State& state)
{
  const CFolder folder;
  const CRealClock clock;
  {
    CAuthorizationCache cache(clock, IcConfig::Create("authCache.json", {}, {}), static_cast<size_t>(kCacheCapacity));
    FillAndStore(clock, cache, state.range(0));
  }
  const std::string path = folder.GetPath() + "authCache.json";
  const std::string text(std::filesystem::file_size(path), 'x');
  const int directory = open(folder.GetPath().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (auto _ : state) {
    const std::string temporary = path + ".baseline";
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    benchmark::DoNotOptimize(write(file, text.data(), text.size()));
    fsync(file);
    close(file);
    if (rename(temporary.c_str(), (path + ".copy").c_str()) != 0) state.SkipWithError("no file was written");
    fsync(directory);
  }
  close(directory);
}
BENCHMARK(ReplaceFileOfTheSameLength)->Arg(kShort)->Arg(kCacheCapacity)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

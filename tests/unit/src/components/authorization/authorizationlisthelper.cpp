// The process of the tests that is killed while it stores lists, or whose disk is full: it works on the documents in
// the folder that it is given, and tells each step on standard output.

#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "platform/clock/realclock.h"
#include "platform/icconfig/icconfig.h"
#include "src/components/authorization/authorizationcache.h"
#include "src/components/authorization/localauthorizationlist.h"
#include "tests/unit/src/components/authorization/listversions.h"

namespace {

using CArguments = std::vector<std::string>;

void Tell(int64_t number) { std::cout << number << std::endl; }

void KillSelf(int) { kill(getpid(), SIGKILL); }

// The process dies without warning after so many microseconds.
void KillAfter(int64_t microseconds)
{
  signal(SIGALRM, KillSelf);
  itimerval timer = {};
  timer.it_value.tv_usec = static_cast<decltype(timer.it_value.tv_usec)>(microseconds);
  setitimer(ITIMER_REAL, &timer, nullptr);
}

CAuthorizationListEntry Entry(const IClock& clock, const std::string& id)
{
  return CAuthorizationListEntry(id, "", EAuthorizationStatus::EAccepted, {}, clock.SystemNow());
}

void Replace(const IClock& clock, CLocalAuthorizationList& list, int64_t version)
{
  list.SetVersion(version);
  list.Clear();
  for (const auto& id : ListVersions::TagsOf(version)) list.Update(Entry(clock, id));
  list.WriteToStorage();
}

// <first version> <microseconds to live>: one list after another
int ReplaceListUntilKilled(const CArguments& arguments)
{
  const CRealClock clock;
  CLocalAuthorizationList list(clock, IcConfig::Create("localAuthList.json", {}, {}), ListVersions::kCapacity);
  KillAfter(std::stoll(arguments.at(1)));
  for (int64_t version = std::stoll(arguments.at(0));; ++version) {
    Replace(clock, list, version);
    Tell(version);
  }
}

// <first tag> <microseconds to live>: one tag after another into the cache
int FillCacheUntilKilled(const CArguments& arguments)
{
  const CRealClock clock;
  CAuthorizationCache cache(clock, IcConfig::Create("authCache.json", {}, {}), ListVersions::kCapacity);
  KillAfter(std::stoll(arguments.at(1)));
  for (int64_t tag = std::stoll(arguments.at(0));; ++tag) {
    cache.Update(Entry(clock, std::to_string(tag)));
    cache.WriteToStorage();
    Tell(tag);
  }
}

// Replaces the list by the next one on a disk that holds the file no more, and once more when there is room again;
// waits for a line before each.
int ReplaceListOnAFullDisk(const CArguments& arguments)
{
  const CRealClock clock;
  CLocalAuthorizationList list(clock, IcConfig::Create("localAuthList.json", {}, {}), ListVersions::kCapacity);
  constexpr rlim_t kBytesOfAFullDisk = 100;
  const int64_t version = std::stoll(arguments.at(0));
  signal(SIGXFSZ, SIG_IGN);
  std::string line;
  for (const bool isFull : {true, false}) {
    std::getline(std::cin, line);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = isFull ? kBytesOfAFullDisk : limit.rlim_max;
    setrlimit(RLIMIT_FSIZE, &limit);
    Replace(clock, list, version);
    Tell(list.GetVersion());
  }
  return 0;
}

}  // namespace

// <data folder> <defaults folder> <what> ...
int main(int argc, char** argv)
{
  const CArguments words(argv + 1, argv + argc);
  IcConfig::SetPaths({words.at(0), words.at(1)});
  const CArguments arguments(words.begin() + 3, words.end());
  if (words.at(2) == "list") return ReplaceListUntilKilled(arguments);
  if (words.at(2) == "cache") return FillCacheUntilKilled(arguments);
  return ReplaceListOnAFullDisk(arguments);
}

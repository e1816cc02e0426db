// Memory after many sessions: runs them on simulated time, with a lost link in every tenth, and prints one line of JSON
// with what was in use, in bytes, after the first ten, when all that is remembered of former sessions is complete, and
// at the end. tests/bench/report.js starts it.
//
//   bench_sessionmemory [SESSIONS]

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/iclogger/log.h"
#include "src/components/sessionrecord.h"
#include "tests/bench/benchstation.h"

using namespace std::chrono_literals;

namespace {

constexpr uint64_t kFirst = 10;
// More than a connector remembers of its former sessions.
constexpr uint64_t kFilled = 20;
static_assert(kFilled > SSessionRecord::kMaxEnded);
constexpr uint64_t kDefaultSessions = 10000;

struct SMemory {
  uint64_t heapBytes;
  uint64_t residentBytes;
};

SMemory Measure()
{
  std::ifstream file("/proc/self/statm");
  uint64_t pages = 0;
  file >> pages >> pages;
  constexpr uint64_t kPageBytes = 4096;
  const auto heap = mallinfo2();
  return {heap.uordblks + heap.hblkhd, pages * kPageBytes};
}

void RunSession(CBenchStation& station, uint64_t number)
{
  const bool isLinkLost = number % 10 == 5;
  // The same drivers come again; the cache of tags grows with their number, up to its capacity.
  const std::string idTag = "TAG" + std::to_string(number % kFirst);
  station.ChangeState(ipc::EConnectorStatePreparingPluggedIn);
  station.PresentTag(idTag);
  station.AnswerAll();
  station.StartSession(idTag);
  station.AnswerAll();
  if (isLinkLost) station.LoseLink();
  for (int sample = 0; sample < 3; ++sample) {
    station.GetClock().AdvanceBy(60s);
    station.AnswerAll();
  }
  station.StopSession();
  station.GetClock().AdvanceBy(5s);
  if (isLinkLost) {
    station.RestoreLink();
    // A sender that has just failed pauses for a second.
    station.GetClock().AdvanceBy(2s);
  }
  station.AnswerAll();
  station.GetClock().AdvanceBy(60s);
  station.AnswerAll();
}

}  // namespace

int main(int argc, char** argv)
{
  const uint64_t sessions = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : kDefaultSessions;
  if (sessions < kFilled) {
    fmt::print(stderr, "at least {} sessions\n", kFilled);
    return 2;
  }
  CBenchStation station({{"ocpp", {{"MeterValueSampleInterval", 60}}}});
  if (!station.Start()) {
    std::fprintf(stderr, "the station did not register\n");
    return 1;
  }
  SMemory first{};
  SMemory filled{};
  for (uint64_t number = 1; number <= sessions; ++number) {
    RunSession(station, number);
    if (number == kFirst) first = Measure();
    if (number == kFilled) filled = Measure();
  }
  const auto last = Measure();
  for (const char* action : {"StartTransaction", "StopTransaction"}) {
    if (station.CountAnswered(action) == sessions) continue;
    fmt::print(stderr, "{} of {} came\n", station.CountAnswered(action), action);
    return 1;
  }
  if (station.CountRepeated() > 0) {
    fmt::print(stderr, "{} messages came again\n", station.CountRepeated());
    return 1;
  }
  fmt::print(R"({{"sessions":{},"meterValues":{},"heapFirst":{},"heapFilled":{},"heapLast":{},"residentFirst":{},)"
             R"("residentLast":{}}})"
             "\n",
             sessions, station.CountAnswered("MeterValues"), first.heapBytes, filled.heapBytes, last.heapBytes,
             first.residentBytes, last.residentBytes);
  return 0;
}

// Whole days of a station on simulated time, and whether the operator's books are right in the evening.
//
// SECC_DAY_SEEDS: how many days (default 12). SECC_DAY_SEED: the one day of that seed. SECC_DAY_LOG=1: with the log.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "platform/iclogger/log.h"
#include "tests/unit/src/components/ocppcomponent/day/dayactor.h"

namespace {

using namespace std::chrono_literals;

constexpr uint32_t kFirstSeed = 1;
constexpr uint32_t kDefaultSeeds = 12;

struct SDay {
  std::vector<std::string> faults;
  std::vector<std::string> wire;
  size_t sessions = 0;
  size_t messages = 0;
  size_t drivers = 0;
  size_t answered = 0;
};

uint32_t NumberFrom(const char* variable, uint32_t otherwise)
{
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}

SDay PlayDay(uint32_t seed, CSimulatedClock::EThreads threads = CSimulatedClock::EThreads::EOneAtATime)
{
  auto options = CDayActor::DrawOptions(seed);
  options.threads = threads;
  CDayStation station(options);
  CDayActor(station, seed).Play(24h);
  SDay day;
  day.faults = station.Audit();
  day.wire = station.GetLog().GetLines();
  station.GetCentral().WithBook([&](CAccountBook& book) {
    day.sessions = book.CountSessions();
    day.messages = book.CountMessages();
  });
  day.drivers = station.GetReader().CountDrivers();
  day.answered = station.GetReader().CountAnswered();
  return day;
}

std::string Join(const std::vector<std::string>& lines)
{
  std::string text;
  for (const auto& line : lines) text += "\n  " + line;
  return text;
}

class Day : public testing::Test {
 protected:
  Day()
  {
    if (NumberFrom("SECC_DAY_LOG", 0) == 0) return;
    Log::Init("day", Log::ELogLevel::EDebug);
    Log::EnableConsoleLogging(true);
  }
};

TEST_F(Day, EndsWithBalancedBooksWhateverHappens)
{
  const uint32_t only = NumberFrom("SECC_DAY_SEED", 0);
  const uint32_t first = only != 0 ? only : kFirstSeed;
  const uint32_t count = only != 0 ? 1 : NumberFrom("SECC_DAY_SEEDS", kDefaultSeeds);
  size_t sessions = 0;
  size_t messages = 0;
  size_t drivers = 0;
  size_t answered = 0;
  for (uint32_t seed = first; seed < first + count; ++seed) {
    const auto day = PlayDay(seed);
    sessions += day.sessions;
    messages += day.messages;
    drivers += day.drivers;
    answered += day.answered;
    EXPECT_TRUE(day.faults.empty()) << "The day of seed " << seed << " (again with SECC_DAY_SEED=" << seed
                                    << "):" << Join(day.faults);
  }
  std::cout << count << " days, " << sessions << " sessions, " << messages << " transaction messages, " << drivers
            << " drivers at the reader, " << answered << " answered\n";
  EXPECT_GT(sessions, count);
  EXPECT_GT(answered, drivers / 2);
}

TEST_F(Day, OfTheSameSeedPutsTheSameFramesOnTheWire)
{
  const auto first = PlayDay(7);
  const auto second = PlayDay(7);
  for (size_t i = 0; i < std::min(first.wire.size(), second.wire.size()); ++i) {
    ASSERT_EQ(first.wire[i], second.wire[i]) << "line " << i;
  }
  EXPECT_EQ(first.wire.size(), second.wire.size());
  EXPECT_GT(first.wire.size(), 100U);
}

TEST_F(Day, EndsWithBalancedBooksWhenThreadsRunFreely)
{
  const uint32_t seed = NumberFrom("SECC_DAY_SEED", 3);
  const auto day = PlayDay(seed, CSimulatedClock::EThreads::EFree);
  EXPECT_TRUE(day.faults.empty()) << "The day of seed " << seed << ":" << Join(day.faults);
}

}  // namespace

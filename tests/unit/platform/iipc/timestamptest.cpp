// Conversion between timestamps and system time.

#include "platform/iipc/timestamp.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using namespace std::chrono_literals;

ipc::MTimestamp Timestamp(int64_t seconds, int32_t nanoseconds)
{
  ipc::MTimestamp timestamp;
  timestamp.set_seconds(seconds);
  timestamp.set_nanoseconds(nanoseconds);
  return timestamp;
}

TEST(Timestamp, ATimeSurvivesTheWayThereAndBack)
{
  for (const std::chrono::nanoseconds time :
       {0ns, 1ns, 1700000000123456789ns, -1ns, -1500000000ns, 9000000000s + 5ns}) {
    const ipc::MTimestamp timestamp = ToTimestamp(IClock::SystemTime(time));
    EXPECT_EQ(ToSystemClock(timestamp).time_since_epoch(), time);
    EXPECT_GE(timestamp.nanoseconds(), 0);
    EXPECT_LT(timestamp.nanoseconds(), 1000000000);
  }
}

TEST(Timestamp, NanosecondsOutOfTheirRangeStillCount)
{
  EXPECT_EQ(ToSystemClock(Timestamp(10, -1)).time_since_epoch(), 10s - 1ns);
  EXPECT_EQ(ToSystemClock(Timestamp(10, 2000000000)).time_since_epoch(), 12s);
}

TEST(Timestamp, ATimeThatCannotBeHeldBecomesTheNearestOne)
{
  constexpr int64_t largest = std::numeric_limits<int64_t>::max();
  constexpr int64_t smallest = std::numeric_limits<int64_t>::min();
  EXPECT_GT(ToSystemClock(Timestamp(largest, 999999999)).time_since_epoch(), 9223372000s);
  EXPECT_LT(ToSystemClock(Timestamp(smallest, std::numeric_limits<int32_t>::min())).time_since_epoch(), -9223372000s);
}

}  // namespace

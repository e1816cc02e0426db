#include "platform/iipc/timestamp.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace {
constexpr int64_t nanosecondsPerSecond = 1000000000;
}

IClock::SystemTime ToSystemClock(const ipc::MTimestamp& timestamp)
{
  // One second of margin on both sides leaves room for any value of the nanoseconds.
  constexpr int64_t limit = std::numeric_limits<int64_t>::max() / nanosecondsPerSecond - 3;
  const int64_t seconds = std::clamp(timestamp.seconds(), -limit, limit);
  const auto sinceEpoch = std::chrono::seconds(seconds) + std::chrono::nanoseconds(timestamp.nanoseconds());
  return IClock::SystemTime(std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch));
}

ipc::MTimestamp ToTimestamp(IClock::SystemTime time)
{
  const auto sinceEpoch = time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  ipc::MTimestamp timestamp;
  timestamp.set_seconds(seconds.count());
  timestamp.set_nanoseconds(static_cast<int32_t>((sinceEpoch - seconds).count()));
  return timestamp;
}

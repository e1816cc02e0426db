#pragma once

#include <algorithm>
#include <chrono>

// Settings and backoffices may name any number of seconds. Beyond this one a wait is as good as endless, and its end
// must still be a point in time.
constexpr std::chrono::seconds kLongestWait = std::chrono::hours(24 * 3650);

// `wait` as timers can take it; 0 for a negative one.
inline std::chrono::seconds BoundedWait(std::chrono::seconds wait)
{
  return std::clamp(wait, std::chrono::seconds(0), kLongestWait);
}

#pragma once

#include <cstdint>
#include <functional>

// The growing, randomised delays between attempts to connect: 3 to 5 seconds, then six steps in all that each double
// the last one and add 0 to 2 seconds, then the last one for ever. Not thread-safe.
class CReconnectDelay {
 public:
  using CRandom = std::function<uint32_t()>;

  // `random` gives any 32-bit number for each delay; the default is a Mersenne Twister seeded anew for each from the
  // system's random device, so that stations that lost their backoffice together do not come back together.
  explicit CReconnectDelay(CRandom random = {});

  // Seconds to wait before the next attempt.
  uint32_t Next();
  // Back to the beginning.
  void Reset();
  // Steps taken since the beginning; stops at 6.
  uint32_t GetAttempts() const { return mReconnectAttempts; }
  // True from the first delay on that has not grown.
  bool IsMaxedOut() const { return mIsReconnectMaxedOut; }

 private:
  // Constant after construction.
  const CRandom mRandom;

  uint32_t mReconnectDelay = 0;  // seconds
  uint32_t mReconnectAttempts = 0;
  bool mIsReconnectMaxedOut = false;
};

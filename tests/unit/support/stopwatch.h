#pragma once

#include <chrono>
#include <ctime>

#include "platform/clock/realclock.h"

// How much longer a sanitizer may make a measured time.
#ifdef SECC_SANITIZED
constexpr int kSlowdown = 10;
#else
constexpr int kSlowdown = 1;
#endif

// Measures from its construction on.
class CStopwatch {
 public:
  std::chrono::nanoseconds Real() const { return CRealClock().SteadyNow() - mReal; }

  // What all threads of the process have used.
  std::chrono::nanoseconds Processor() const
  {
    return std::chrono::microseconds(static_cast<int64_t>(std::clock() - mProcessor) * 1000000 / CLOCKS_PER_SEC);
  }

 private:
  const IClock::SteadyTime mReal = CRealClock().SteadyNow();
  const std::clock_t mProcessor = std::clock();
};

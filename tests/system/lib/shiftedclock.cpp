// Preloaded into a process under test: its system clock runs CLOCK_SHIFT_MS milliseconds ahead of the machine's. Only
// std::chrono::system_clock is moved; waits, and the clocks of the libraries beneath, stay as they are.
#include <chrono>
#include <cstdlib>
#include <ctime>

namespace {

std::chrono::milliseconds Shift()
{
  const char* text = std::getenv("CLOCK_SHIFT_MS");
  return std::chrono::milliseconds(text != nullptr ? std::strtoll(text, nullptr, 10) : 0);
}

}  // namespace

std::chrono::system_clock::time_point std::chrono::system_clock::now() noexcept
{
  static const auto kShift = Shift();
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return time_point(seconds(time.tv_sec) + nanoseconds(time.tv_nsec) + kShift);
}

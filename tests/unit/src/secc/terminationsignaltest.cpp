#include "src/secc/terminationsignal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "platform/clock/realclock.h"

namespace {

// The thread sanitizer keeps a signal back that comes just as a thread enters a call, until the next one comes.
#ifdef SECC_SANITIZED
constexpr bool kIsKeptBack = true;
#else
constexpr bool kIsKeptBack = false;
#endif

// The main thread of the process, as it is before it starts a thread.
class CTerminationSignalTest : public testing::Test {
 protected:
  CTerminationSignalTest() { BlockTerminationSignal(); }

  CRealClock mClock;
};

TEST_F(CTerminationSignalTest, SignalReachesTheCallback)
{
  std::atomic<int> received{0};
  const CTerminationSignal termination(mClock, [&](int signal) { received = signal; });
  kill(getpid(), SIGINT);
  while (received == 0) {
    if (kIsKeptBack) kill(getpid(), SIGINT);
    std::this_thread::yield();
  }
  EXPECT_EQ(received, SIGINT);
}

TEST_F(CTerminationSignalTest, SignalThatCameTooEarlyIsDeliveredOnceThereIsACallback)
{
  kill(getpid(), SIGINT);
  std::promise<int> received;
  auto number = received.get_future();
  const CTerminationSignal termination(mClock, [&](int signal) { received.set_value(signal); });
  EXPECT_EQ(number.get(), SIGINT);
}

TEST_F(CTerminationSignalTest, SignalAfterTheEndTakesTheDefaultAction)
{
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        {
          const CTerminationSignal termination(mClock, [](int) {});
        }
        kill(getpid(), SIGINT);
      },
      testing::KilledBySignal(SIGINT), "");
}

}  // namespace

#include "src/secc/terminationsignal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <future>

#include "platform/clock/realclock.h"

namespace {

// The main thread of the process, as it is before it starts a thread.
class CTerminationSignalTest : public testing::Test {
 protected:
  CTerminationSignalTest() { BlockTerminationSignal(); }

  CRealClock mClock;
};

TEST_F(CTerminationSignalTest, SignalReachesTheCallback)
{
  std::promise<int> received;
  auto number = received.get_future();
  const CTerminationSignal termination(mClock, [&](int signal) { received.set_value(signal); });
  kill(getpid(), SIGINT);
  EXPECT_EQ(number.get(), SIGINT);
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

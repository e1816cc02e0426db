#include "src/secc/terminationhandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <exception>
#include <functional>
#include <stdexcept>

#include "platform/iclogger/log.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::KilledBySignal;
using testing::Not;

namespace {

// An end of the process that leaves its log where a death test reads it. What `function` throws is caught by nobody.
void EndBy(const std::function<void()>& function) noexcept
{
  dup2(STDERR_FILENO, STDOUT_FILENO);
  Log::Init("secc", Log::ELogLevel::EInfo);
  Log::mSyslogSink.reset();  // that of this machine is not told
  std::set_terminate(HandleTermination);
  function();
}

class TerminationHandlerDeathTest : public testing::Test {
 protected:
  TerminationHandlerDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(TerminationHandlerDeathTest, UncaughtExceptionIsNamedByTypeAndMessageAndAborts)
{
  EXPECT_EXIT(EndBy([] { throw std::runtime_error("no way on"); }), KilledBySignal(SIGABRT),
              AllOf(HasSubstr("Uncaught exception of type 'std::runtime_error' with message: 'no way on'"),
                    HasSubstr("Aborting process.")));
}

TEST_F(TerminationHandlerDeathTest, ThrownTextIsOfUnknownTypeAndAborts)
{
  EXPECT_EXIT(EndBy([] { throw "no way on"; }), KilledBySignal(SIGABRT),
              AllOf(HasSubstr("Uncaught exception of unknown type."), HasSubstr("Aborting process.")));
}

TEST_F(TerminationHandlerDeathTest, WithoutAnExceptionOnlyTheEndIsTold)
{
  EXPECT_EXIT(EndBy([] { std::terminate(); }), KilledBySignal(SIGABRT),
              AllOf(HasSubstr("Aborting process."), Not(HasSubstr("Uncaught exception"))));
}

}  // namespace

#include "src/secc/terminationhandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spdlog/sinks/stdout_sinks.h>

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
  Log::mConsoleSink = std::make_shared<spdlog::logger>("secc", std::make_shared<spdlog::sinks::stderr_sink_mt>());
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

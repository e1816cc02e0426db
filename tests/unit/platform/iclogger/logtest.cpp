#include "platform/iclogger/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <typeinfo>
#include <vector>

#include "platform/iclogger/logconfig.h"
#include "tests/unit/platform/iclogger/syslogspy.h"
#include "tests/unit/support/logcapture.h"

namespace log_test {

struct SSomething {
  void Enter() { LOG_ENTRY("CSomething"); }
};

}  // namespace log_test

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class LogTest : public ::testing::Test {
 protected:
  ~LogTest() override
  {
    Log::mSyslogSink.reset();
    Log::mConsoleSink.reset();
    Log::EnableConsoleLogging(true);
    Log::SetLogLevel(Log::ELogLevel::EInfo);
    CSyslogSpy::TakeLines();
  }

  // What `write` puts on the console, line by line.
  template <typename TWrite>
  static std::vector<std::string> Console(const TWrite& write)
  {
    ::testing::internal::CaptureStdout();
    write();
    std::istringstream text(::testing::internal::GetCapturedStdout());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  }

  // What has gone to the system's log, that under way included.
  static auto TakeSyslog()
  {
    if (const auto sink = Log::mSyslogSink.Get()) sink->flush();
    return CSyslogSpy::TakeLines();
  }

  static std::vector<std::string> Syslog()
  {
    std::vector<std::string> texts;
    for (const auto& line : TakeSyslog()) texts.push_back(line.text);
    return texts;
  }

  static void WriteOneOfEach()
  {
    LOG_TRACE("trace");
    LOG_DEBUG("debug");
    LOG_INFO("info");
    LOG_WARNING("warning");
    LOG_ERROR("error");
    LOG_CRITICAL("critical");
  }
};

TEST_F(LogTest, LinesBeforeInitAreDropped)
{
  EXPECT_FALSE(Log::mSyslogSink);
  EXPECT_FALSE(Log::mConsoleSink);
  EXPECT_THAT(Console([] { LOG_CRITICAL("nobody listens"); }), IsEmpty());
  EXPECT_THAT(Syslog(), IsEmpty());
}

TEST_F(LogTest, ALineGoesToBothSinks)
{
  const auto console = Console([] {
    Log::Init("Secc", Log::ELogLevel::EInfo);
    LOG_INFO("Hello {} of {}", 1, "two");
  });
  ASSERT_THAT(console, SizeIs(1));
  EXPECT_THAT(console[0], ::testing::EndsWith(" Hello 1 of two"));
  EXPECT_THAT(Syslog(), ElementsAre(::testing::EndsWith(" Hello 1 of two")));
}

TEST_F(LogTest, ALineStartsWithItsPathBelowTheSourceRootAndItsLine)
{
  Log::EnableConsoleLogging(false);
  Log::Init("Secc", Log::ELogLevel::EInfo);
  const int line = __LINE__ + 1;
  LOG_INFO("text");
  EXPECT_THAT(Syslog(), ElementsAre("(tests/unit/platform/iclogger/logtest.cpp:" + std::to_string(line) + ") text"));
}

TEST_F(LogTest, AConsoleLineCarriesTimeNameAndLevel)
{
  const auto lines = Console([] {
    Log::Init("Secc", Log::ELogLevel::EInfo);
    LOG_WARNING("text");
  });
  ASSERT_THAT(lines, SizeIs(1));
  const std::regex shape(
      R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z Secc warning \(tests/unit/platform/iclogger/logtest\.cpp:\d+\) text)");
  EXPECT_TRUE(std::regex_match(lines[0], shape)) << lines[0];
}

TEST_F(LogTest, SyslogCarriesTheNameOfInitAndThePriorityOfTheLevel)
{
  Log::EnableConsoleLogging(false);
  Log::Init("Secc", Log::ELogLevel::ETrace);
  EXPECT_EQ(CSyslogSpy::GetOpenName(), "Secc");
  WriteOneOfEach();
  std::vector<int> priorities;
  for (const auto& line : TakeSyslog()) priorities.push_back(line.priority);
  // The severities of RFC 5424: debug 7, informational 6, warning 4, error 3, critical 2.
  EXPECT_THAT(priorities, ElementsAre(7, 7, 6, 4, 3, 2));
}

TEST_F(LogTest, TextFromOutsideIsNotTakenForAFormat)
{
  Log::EnableConsoleLogging(false);
  Log::Init("Secc", Log::ELogLevel::EInfo);
  LOG_INFO("{}", "100 % {} %s %n");
  EXPECT_THAT(Syslog(), ElementsAre(::testing::EndsWith(") 100 % {} %s %n")));
}

TEST_F(LogTest, LinesBelowTheLevelAreDropped)
{
  Log::EnableConsoleLogging(false);
  Log::Init("Secc", Log::ELogLevel::EWarning);
  WriteOneOfEach();
  EXPECT_THAT(Syslog(), SizeIs(3));
}

TEST_F(LogTest, ArgumentsOfADroppedLineAreNotEvaluated)
{
  Log::SetLogLevel(Log::ELogLevel::EWarning);
  int evaluated = 0;
  LOG_INFO("{}", ++evaluated);
  EXPECT_EQ(evaluated, 0);
}

TEST_F(LogTest, TheLevelCanBeChangedAtRunTime)
{
  Log::EnableConsoleLogging(false);
  Log::Init("Secc", Log::ELogLevel::EInfo);
  size_t expected = 6;
  for (const auto level : {Log::ELogLevel::ETrace, Log::ELogLevel::EDebug, Log::ELogLevel::EInfo,
                           Log::ELogLevel::EWarning, Log::ELogLevel::EError, Log::ELogLevel::ECritical}) {
    Log::SetLogLevel(level);
    EXPECT_EQ(Log::GetLogLevel(), level);
    WriteOneOfEach();
    EXPECT_THAT(Syslog(), SizeIs(expected--));
  }
}

TEST_F(LogTest, TheConsoleCanBeSwitchedOffAndOnWhileSyslogGoesOn)
{
  const auto console = Console([] {
    Log::Init("Secc", Log::ELogLevel::EInfo);
    LOG_INFO("first");
    Log::EnableConsoleLogging(false);
    EXPECT_FALSE(Log::mConsoleLoggingEnabled);
    LOG_INFO("second");
    Log::EnableConsoleLogging(true);
    EXPECT_TRUE(Log::mConsoleLoggingEnabled);
    LOG_INFO("third");
  });
  EXPECT_THAT(console, ElementsAre(::testing::EndsWith("first"), ::testing::EndsWith("third")));
  EXPECT_THAT(Syslog(), SizeIs(3));
}

TEST_F(LogTest, TheConsoleSwitchOutlivesInit)
{
  const auto console = Console([] {
    Log::EnableConsoleLogging(false);
    Log::Init("Secc", Log::ELogLevel::EInfo);
    LOG_INFO("text");
  });
  EXPECT_THAT(console, IsEmpty());
}

TEST_F(LogTest, ASecondInitReplacesNameAndLevel)
{
  const auto console = Console([] {
    Log::Init("First", Log::ELogLevel::EInfo);
    Log::Init("Second", Log::ELogLevel::EError);
    LOG_INFO("dropped");
    LOG_ERROR("kept");
  });
  EXPECT_THAT(console, ElementsAre(::testing::HasSubstr(" Second error ")));
  EXPECT_THAT(Syslog(), SizeIs(1));
  EXPECT_EQ(CSyslogSpy::GetOpenName(), "Second");
}

TEST_F(LogTest, GetLowerLogLevelIsOneStepMoreVerboseDownToTrace)
{
  const std::vector<std::pair<Log::ELogLevel, Log::ELogLevel>> steps = {
      {Log::ELogLevel::ECritical, Log::ELogLevel::EError}, {Log::ELogLevel::EError, Log::ELogLevel::EWarning},
      {Log::ELogLevel::EWarning, Log::ELogLevel::EInfo},   {Log::ELogLevel::EInfo, Log::ELogLevel::EDebug},
      {Log::ELogLevel::EDebug, Log::ELogLevel::ETrace},    {Log::ELogLevel::ETrace, Log::ELogLevel::ETrace}};
  for (const auto& [level, lower] : steps) EXPECT_EQ(Log::GetLowerLogLevel(level), lower);
}

TEST_F(LogTest, LevelsHaveTheNumbersOfTheScale)
{
  EXPECT_EQ(static_cast<int>(Log::ELogLevel::ETrace), 0);
  EXPECT_EQ(static_cast<int>(Log::ELogLevel::EDebug), 1);
  EXPECT_EQ(static_cast<int>(Log::ELogLevel::EInfo), 2);
  EXPECT_EQ(static_cast<int>(Log::ELogLevel::EWarning), 3);
  EXPECT_EQ(static_cast<int>(Log::ELogLevel::EError), 4);
  EXPECT_EQ(static_cast<int>(Log::ELogLevel::ECritical), 5);
}

TEST_F(LogTest, DemangleGivesTheReadableNameOfAType)
{
  EXPECT_EQ(Log::Demangle(typeid(std::runtime_error).name()), "std::runtime_error");
  EXPECT_EQ(Log::Demangle(typeid(log_test::SSomething).name()), "log_test::SSomething");
}

TEST_F(LogTest, DemangleSkipsALeadingStar)
{
  const std::string name = std::string("*") + typeid(log_test::SSomething).name();
  EXPECT_EQ(Log::Demangle(name.c_str()), "log_test::SSomething");
}

TEST_F(LogTest, DemangleOfWhatIsNoTypeNameIsEmpty)
{
  EXPECT_EQ(Log::Demangle("no type name"), "");
  EXPECT_EQ(Log::Demangle(""), "");
  EXPECT_EQ(Log::Demangle("*"), "");
}

TEST_F(LogTest, TheEntryLineOfAnOperationNamesClassAndMethod)
{
  const CLogCapture log;
  log_test::SSomething().Enter();
  EXPECT_EQ(log.Count(Log::ELogLevel::ETrace, "CSomething::Enter"), 1u);
}

TEST_F(LogTest, TheConfigurationServiceReadsAndChangesLevelAndConsole)
{
  const auto service = Log::CreateLogConfigService();
  service->SetLevel(Log::ELogLevel::EError);
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::EError);
  Log::SetLogLevel(Log::ELogLevel::EDebug);
  EXPECT_EQ(service->GetLevel(), Log::ELogLevel::EDebug);
  service->SetConsoleEnabled(false);
  EXPECT_FALSE(Log::mConsoleLoggingEnabled);
  EXPECT_FALSE(service->IsConsoleEnabled());
  service->SetConsoleEnabled(true);
  EXPECT_TRUE(service->IsConsoleEnabled());
}

TEST_F(LogTest, LinesOfManyThreadsArriveWholeWhileInitReplacesTheSinksAndLevelsChange)
{
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  const auto console = Console([] {
    Log::Init("Secc", Log::ELogLevel::EInfo);
    std::atomic<int> writing{kThreads};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([thread, &writing] {
        for (int line = 0; line < kLines; ++line) LOG_ERROR("thread {} line {} end", thread, line);
        --writing;
      });
    }
    while (writing > 0) {
      Log::Init("Secc", Log::ELogLevel::EInfo);
      Log::SetLogLevel(Log::ELogLevel::EError);
      std::this_thread::yield();
    }
    for (auto& thread : threads) thread.join();
  });
  const std::regex shape(R"(.* thread \d line \d+ end)");
  for (const auto& line : console) ASSERT_TRUE(std::regex_match(line, shape)) << line;
  EXPECT_THAT(console, SizeIs(kThreads * kLines));
  EXPECT_THAT(Syslog(), SizeIs(kThreads * kLines));
  EXPECT_EQ(CSyslogSpy::GetOpenName(), "Secc");
}

}  // namespace

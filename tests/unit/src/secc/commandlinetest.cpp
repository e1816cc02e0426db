#include "src/secc/commandline.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class CCommandLineTest : public testing::Test {
 protected:
  CCommandLineTest() { Log::SetLogLevel(Log::ELogLevel::EInfo); }
  ~CCommandLineTest() override
  {
    Log::SetLogLevel(mLevel);
    Log::EnableConsoleLogging(true);
  }

  std::optional<SCommandLine> Parse(std::vector<std::string> arguments)
  {
    arguments.insert(arguments.begin(), "secc");
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const auto result = ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    mOutput = testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    return result;
  }

  const Log::ELogLevel mLevel = Log::GetLogLevel();
  std::string mOutput;
};

constexpr const char* kUsage =
    "usage: secc [OPTION]\n"
    "  -v, --verbose    increase verbosity  -q, --quiet      disable logging to console\n"
    "  -r, --root=PATH  set the filesystem root directory\n"
    "                   defaults to '/'\n"
    "  -h, --help       show this help message and exit\n\n";

TEST_F(CCommandLineTest, NothingGivesTheDefaults)
{
  const auto commandLine = Parse({});
  ASSERT_TRUE(commandLine);
  EXPECT_EQ(commandLine->root, "/");
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::EInfo);
  EXPECT_EQ(mOutput, "");
}

TEST_F(CCommandLineTest, VerboseTwiceLowersTheLevelTwice)
{
  ASSERT_TRUE(Parse({"-v", "--verbose"}));
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::ETrace);
}

TEST_F(CCommandLineTest, VerboseOnceGivesDebug)
{
  ASSERT_TRUE(Parse({"-v"}));
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::EDebug);
}

TEST_F(CCommandLineTest, QuietEndsTheConsoleLog)
{
  ASSERT_TRUE(Parse({"--quiet"}));
  EXPECT_FALSE(Log::mConsoleLoggingEnabled);
}

TEST_F(CCommandLineTest, RootIsTakenAsItIs)
{
  EXPECT_EQ(Parse({"-r", "/mnt/x"})->root, "/mnt/x");
  EXPECT_EQ(Parse({"--root=/mnt/y/"})->root, "/mnt/y/");
}

TEST_F(CCommandLineTest, HelpPrintsTheUsage)
{
  EXPECT_FALSE(Parse({"-h"}));
  EXPECT_EQ(mOutput, kUsage);
  EXPECT_FALSE(Parse({"--help"}));
  EXPECT_EQ(mOutput, kUsage);
}

TEST_F(CCommandLineTest, TheOptionWithoutMeaningPrintsTheUsage)
{
  EXPECT_FALSE(Parse({"-s"}));
  EXPECT_EQ(mOutput, kUsage);
}

TEST_F(CCommandLineTest, UnknownOptionAndMissingArgumentPrintTheUsage)
{
  EXPECT_FALSE(Parse({"-x"}));
  EXPECT_EQ(mOutput, kUsage);
  EXPECT_FALSE(Parse({"--nonsense"}));
  EXPECT_FALSE(Parse({"-r"}));
}

TEST_F(CCommandLineTest, UsageShowsTheRootGivenSoFar)
{
  EXPECT_FALSE(Parse({"-r", "/mnt/", "-h"}));
  EXPECT_NE(mOutput.find("defaults to '/mnt/'"), std::string::npos);
}

}  // namespace

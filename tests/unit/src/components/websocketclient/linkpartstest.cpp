// The small parts of the link: delays, credentials and close codes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "src/components/basicauth.h"
#include "src/components/reconnectdelay.h"
#include "src/components/websocketclosecode.h"
#include "tests/unit/support/logcapture.h"

namespace {

using testing::ElementsAre;

std::vector<uint32_t> Delays(uint32_t random, size_t count)
{
  CReconnectDelay delay([random] { return random; });
  std::vector<uint32_t> delays(count);
  std::generate(delays.begin(), delays.end(), [&] { return delay.Next(); });
  return delays;
}

TEST(ReconnectDelay, ShortestDelaysDoubleFromThreeAndStayAtTheSixth)
{
  EXPECT_THAT(Delays(0, 8), ElementsAre(3, 6, 12, 24, 48, 96, 96, 96));
}

TEST(ReconnectDelay, LongestDelaysDoubleFromFiveAndStayAtTheSixth)
{
  EXPECT_THAT(Delays(2, 8), ElementsAre(5, 12, 26, 54, 110, 222, 222, 222));
}

TEST(ReconnectDelay, OnlyTheRemainderOfTheRandomNumberCounts)
{
  EXPECT_EQ(Delays(4, 3), Delays(1, 3));
  EXPECT_EQ(Delays(0xffffffffu, 3), Delays(0, 3)) << "4294967295 is divisible by 3";
}

TEST(ReconnectDelay, DefaultRandomStaysWithinTheRanges)
{
  const std::vector<std::pair<uint32_t, uint32_t>> ranges{{3, 5}, {6, 12}, {12, 26}, {24, 54}, {48, 110}, {96, 222}};
  for (int run = 0; run < 20; ++run) {
    CReconnectDelay delay;
    for (const auto& [low, high] : ranges) {
      const uint32_t seconds = delay.Next();
      EXPECT_GE(seconds, low);
      EXPECT_LE(seconds, high);
    }
  }
}

TEST(ReconnectDelay, MaxedOutFromTheSeventhDelayOn)
{
  CReconnectDelay delay([] { return 0u; });
  for (int i = 0; i < 6; ++i) delay.Next();
  EXPECT_EQ(delay.GetAttempts(), 6u);
  EXPECT_FALSE(delay.IsMaxedOut());
  delay.Next();
  EXPECT_EQ(delay.GetAttempts(), 6u);
  EXPECT_TRUE(delay.IsMaxedOut());
}

TEST(ReconnectDelay, ResetBeginsAnew)
{
  CReconnectDelay delay([] { return 1u; });
  for (int i = 0; i < 8; ++i) delay.Next();
  delay.Reset();
  EXPECT_FALSE(delay.IsMaxedOut());
  EXPECT_EQ(delay.GetAttempts(), 0u);
  EXPECT_EQ(delay.Next(), 4u);
}

TEST(BasicAuth, PasswordWithAnOddNumberOfDigitsGetsAZeroInFront)
{
  std::string password = "ABC";
  EXPECT_TRUE(CheckBasicAuthPassword(password, "Test"));
  EXPECT_EQ(password, "0ABC");
}

TEST(BasicAuth, EmptyPasswordPasses)
{
  const CLogCapture log;
  std::string password;
  EXPECT_TRUE(CheckBasicAuthPassword(password, "Test"));
  EXPECT_EQ(password, "");
  EXPECT_TRUE(log.GetLines().empty());
}

TEST(BasicAuth, AnythingButHexadecimalDigitsIsRefused)
{
  for (const char* text : {"00g0", "0x00", " 00 ", "00\xc3\xa4", "-1"}) {
    const CLogCapture log;
    std::string password = text;
    EXPECT_FALSE(CheckBasicAuthPassword(password, "Test")) << text;
    EXPECT_EQ(log.Count(Log::ELogLevel::EError, "[Test] BasicAuthPassword does not conform to hex notation."), 1u);
  }
}

TEST(BasicAuth, PasswordOf41DigitsDrawsNoWarning)
{
  const CLogCapture log;
  std::string password(41, 'a');
  EXPECT_TRUE(CheckBasicAuthPassword(password, "Test"));
  EXPECT_TRUE(log.GetLines().empty());
}

TEST(BasicAuth, PasswordOf42DigitsPassesWithAWarning)
{
  const CLogCapture log;
  std::string password(42, 'a');
  EXPECT_TRUE(CheckBasicAuthPassword(password, "Test"));
  EXPECT_EQ(log.Count(Log::ELogLevel::EWarning,
                      "[Test] BasicAuthPasword has length of 21 bytes, which is longer than the limit of 20 bytes "
                      "from the standard. Continue establishing the connection."),
            1u);
}

TEST(BasicAuth, HeaderIsIdColonAndDecodedBytesInBase64)
{
  EXPECT_EQ(BuildBasicAuthHeader("CP1", "00fFAb", "Test"), "Q1AxOgD/qw==");
  EXPECT_EQ(BuildBasicAuthHeader("CP1", "", "Test"), "Q1AxOg==");
}

TEST(BasicAuth, LogShowsNeitherThePasswordNorTheHeader)
{
  const CLogCapture log;
  BuildBasicAuthHeader("CP1", "00ffab", "Test");
  EXPECT_EQ(
      log.Count(Log::ELogLevel::EDebug, "[Test] Creating basic auth header with user:password CP1:****, result: ****"),
      1u);
  EXPECT_FALSE(log.ContainsPart("00ffab"));
  EXPECT_FALSE(log.ContainsPart("Q1Ax"));
}

TEST(CloseCode, EveryNamedCodeHasItsNameAndOthersAreUnknown)
{
  const std::vector<std::pair<uint16_t, const char*>> names{{1000, "Normal close"},
                                                            {1001, "Going away"},
                                                            {1002, "Protocol error"},
                                                            {1003, "Unsupported data"},
                                                            {1005, "No status set"},
                                                            {1006, "Abnormal close"},
                                                            {1007, "Invalid payload"},
                                                            {1008, "Policy violoation"},
                                                            {1009, "Message too big"},
                                                            {1010, "Extension required"},
                                                            {1011, "Internal endpoint error"},
                                                            {1012, "Service restart"},
                                                            {1013, "Try again later"},
                                                            {1014, "Bad gateway"},
                                                            {1015, "TLS handshake failure"},
                                                            {3000, "Generic subprotocol error"},
                                                            {3001, "Invalid subprotocol data"},
                                                            {1004, "Unknown"},
                                                            {0, "Unknown"},
                                                            {4999, "Unknown"}};
  for (const auto& [code, name] : names) EXPECT_EQ(CloseCodeName(code), name) << code;
}

}  // namespace

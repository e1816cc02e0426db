#include "platform/clock/timetext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

struct STimeTextCase {
  const char* situation;
  const char* text;
  IClock::SystemTime time;
};

constexpr IClock::SystemTime At(int64_t seconds, std::chrono::nanoseconds fraction = 0ns)
{
  return IClock::SystemTime(std::chrono::seconds(seconds)) + fraction;
}

class ReadableTimeText : public ::testing::TestWithParam<STimeTextCase> {};

TEST_P(ReadableTimeText, IsParsed)
{
  const auto time = ParseTimeText(GetParam().text);
  ASSERT_TRUE(time.has_value());
  EXPECT_EQ(*time, GetParam().time) << (*time - GetParam().time).count() << " ns off";
}

INSTANTIATE_TEST_SUITE_P(
    TimeText, ReadableTimeText,
    ::testing::Values(STimeTextCase{"Utc", "2026-01-15T10:15:00Z", At(1768472100)},
                      STimeTextCase{"NoZone", "2026-01-15T10:15:00", At(1768472100)},
                      STimeTextCase{"Epoch", "1970-01-01T00:00:00Z", At(0)},
                      STimeTextCase{"BeforeEpoch", "1969-12-31T23:59:59.5Z", At(-1, 500ms)},
                      STimeTextCase{"LongBeforeEpoch", "1900-01-01T00:00:00Z", At(-2208988800)},
                      STimeTextCase{"Beyond2038", "2038-01-19T03:14:08Z", At(2147483648)},
                      STimeTextCase{"Beyond2106", "2106-02-07T06:28:16Z", At(4294967296)},
                      STimeTextCase{"Milliseconds", "2026-01-15T10:15:00.123Z", At(1768472100, 123ms)},
                      STimeTextCase{"OneDigit", "2026-01-15T10:15:00.1Z", At(1768472100, 100ms)},
                      STimeTextCase{"Nanoseconds", "2026-01-15T10:15:00.000000001Z", At(1768472100, 1ns)},
                      STimeTextCase{"MoreThanNanoseconds", "2026-01-15T10:15:00.1234567899999Z",
                                    At(1768472100, 123456789ns)},
                      STimeTextCase{"FractionNoZone", "2026-01-15T10:15:00.5", At(1768472100, 500ms)},
                      STimeTextCase{"EastOfGreenwich", "2026-01-15T11:15:00+01:00", At(1768472100)},
                      STimeTextCase{"WestOfGreenwich", "2026-01-15T06:45:00-03:30", At(1768472100)},
                      STimeTextCase{"OffsetIntoYesterday", "2026-01-01T00:30:00+01:00", At(1767223800)},
                      STimeTextCase{"FractionAndOffset", "2026-01-15T11:15:00.25+01:00", At(1768472100, 250ms)},
                      STimeTextCase{"ZeroOffset", "2026-01-15T10:15:00-00:00", At(1768472100)},
                      STimeTextCase{"LeapDay", "2024-02-29T12:00:00Z", At(1709208000)},
                      STimeTextCase{"LeapDayOfACentury", "2000-02-29T00:00:00Z", At(951782400)},
                      STimeTextCase{"LeapSecond", "2016-12-31T23:59:60Z", At(1483228800)},
                      STimeTextCase{"LastOfWhatIsHeld", "2262-04-11T23:47:15.5Z", At(9223372035, 500ms)},
                      STimeTextCase{"Never", "9999-12-31T23:59:59Z", IClock::SystemTime::max()},
                      STimeTextCase{"YearZero", "0000-01-01T00:00:00Z", IClock::SystemTime::min()}),
    [](const auto& each) { return each.param.situation; });

struct SGarbageCase {
  const char* situation;
  std::string_view text;
};

class UnreadableTimeText : public ::testing::TestWithParam<SGarbageCase> {};

TEST_P(UnreadableTimeText, IsRefused) { EXPECT_EQ(ParseTimeText(GetParam().text), std::nullopt); }

INSTANTIATE_TEST_SUITE_P(
    TimeText, UnreadableTimeText,
    ::testing::Values(
        SGarbageCase{"Empty", ""}, SGarbageCase{"Word", "yesterday"}, SGarbageCase{"DateOnly", "2026-01-15"},
        SGarbageCase{"NoSeconds", "2026-01-15T10:15Z"}, SGarbageCase{"Blank", "2026-01-15 10:15:00Z"},
        SGarbageCase{"LeadingBlank", " 2026-01-15T10:15:00Z"}, SGarbageCase{"TrailingBlank", "2026-01-15T10:15:00Z "},
        SGarbageCase{"TrailingJunk", "2026-01-15T10:15:00Zx"}, SGarbageCase{"JunkAfterSeconds", "2026-01-15T10:15:00x"},
        SGarbageCase{"JunkAfterOffset", "2026-01-15T10:15:00+01:00Z"},
        SGarbageCase{"TrailingZero", std::string_view("2026-01-15T10:15:00Z\0", 21)},
        SGarbageCase{"OneDigitMonth", "2026-1-15T10:15:00Z"}, SGarbageCase{"FiveDigitYear", "12026-01-15T10:15:00Z"},
        SGarbageCase{"NegativeYear", "-026-01-15T10:15:00Z"}, SGarbageCase{"Sign", "+026-01-15T10:15:00Z"},
        SGarbageCase{"MonthZero", "2026-00-15T10:15:00Z"}, SGarbageCase{"MonthThirteen", "2026-13-15T10:15:00Z"},
        SGarbageCase{"DayZero", "2026-01-00T10:15:00Z"}, SGarbageCase{"Day32", "2026-01-32T10:15:00Z"},
        SGarbageCase{"NoLeapYear", "2026-02-29T10:15:00Z"}, SGarbageCase{"NoLeapCentury", "2100-02-29T10:15:00Z"},
        SGarbageCase{"ThirtyFirstOfApril", "2026-04-31T10:15:00Z"}, SGarbageCase{"Hour24", "2026-01-15T24:00:00Z"},
        SGarbageCase{"Minute60", "2026-01-15T10:60:00Z"}, SGarbageCase{"Second61", "2026-01-15T10:15:61Z"},
        SGarbageCase{"FractionWithoutDigits", "2026-01-15T10:15:00.Z"},
        SGarbageCase{"TwoFractions", "2026-01-15T10:15:00.1.2Z"}, SGarbageCase{"Comma", "2026-01-15T10:15:00,5Z"},
        SGarbageCase{"OffsetWithoutColon", "2026-01-15T10:15:00+0100"},
        SGarbageCase{"OffsetWithoutMinutes", "2026-01-15T10:15:00+01"},
        SGarbageCase{"Offset24", "2026-01-15T10:15:00+24:00"},
        SGarbageCase{"OffsetMinute60", "2026-01-15T10:15:00+01:60"},
        SGarbageCase{"OffsetWithoutSign", "2026-01-15T10:15:0001:00"},
        SGarbageCase{"SmallLetters", "2026-01-15t10:15:00z"}, SGarbageCase{"Letters", "YYYY-MM-DDThh:mm:ssZ"}),
    [](const auto& each) { return each.param.situation; });

TEST(TimeText, IsWrittenInWholeSecondsOfUtc)
{
  EXPECT_EQ(ToTimeText(At(1768472100)), "2026-01-15T10:15:00Z");
  EXPECT_EQ(ToTimeText(At(1768472100, 999999999ns)), "2026-01-15T10:15:00Z");
}

TEST(TimeText, IsTruncatedTowardsThePastBefore1970)
{
  EXPECT_EQ(ToTimeText(At(0, -1ns)), "1969-12-31T23:59:59Z");
  EXPECT_EQ(ToTimeText(At(-2208988800)), "1900-01-01T00:00:00Z");
}

TEST(TimeText, IsWrittenBeyond2038AndAtTheEndsOfTheRange)
{
  EXPECT_EQ(ToTimeText(At(4294967296)), "2106-02-07T06:28:16Z");
  EXPECT_EQ(ToTimeText(IClock::SystemTime::max()), "2262-04-11T23:47:16Z");
  EXPECT_EQ(ToTimeText(IClock::SystemTime::min()), "1677-09-21T00:12:43Z");
}

TEST(TimeText, WhatIsWrittenIsReadBackToTheSecond)
{
  for (int64_t seconds = -2208988800; seconds < 9000000000; seconds += 86400 * 37 + 12345) {
    ASSERT_EQ(ParseTimeText(ToTimeText(At(seconds))), At(seconds));
  }
}

TEST(TimeText, EveryPrefixOfAFullTextIsEitherRefusedOrWholeInItself)
{
  const std::string text = "2026-01-15T10:15:00.250+01:00";
  std::vector<std::string> read;
  for (size_t length = 0; length <= text.size(); ++length) {
    if (ParseTimeText(text.substr(0, length))) read.push_back(text.substr(0, length));
  }
  EXPECT_EQ(read, (std::vector<std::string>{"2026-01-15T10:15:00", "2026-01-15T10:15:00.2", "2026-01-15T10:15:00.25",
                                            "2026-01-15T10:15:00.250", text}));
}

}  // namespace

#include "platform/diagnostics/signalvalue.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

template <typename T>
class CSignalValueTest : public testing::Test {};

struct SBool {
  using CType = bool;
  static std::vector<CType> Values() { return {true, false}; }
};
struct SInt {
  using CType = int32_t;
  static std::vector<CType> Values()
  {
    return {0, std::numeric_limits<CType>::min(), std::numeric_limits<CType>::max()};
  }
};
struct SUnsigned {
  using CType = uint32_t;
  static std::vector<CType> Values() { return {0, std::numeric_limits<CType>::max()}; }
};
struct SLong {
  using CType = int64_t;
  static std::vector<CType> Values()
  {
    return {0, std::numeric_limits<CType>::min(), std::numeric_limits<CType>::max()};
  }
};
struct SFloat {
  using CType = float;
  static std::vector<CType> Values() { return {0.0F, -12.5F}; }
};
struct SText {
  using CType = std::string;
  static std::vector<CType> Values()
  {
    return {"", "text",
            "gr\xC3\xB6\xC3\x9F"
            "e \xE2\x82\xAC \xF0\x9F\x94\x8C"};
  }
};
struct SIntList {
  using CType = std::vector<int32_t>;
  static std::vector<CType> Values() { return {{}, {-1, 0, 1}}; }
};
struct SUnsignedList {
  using CType = std::vector<uint32_t>;
  static std::vector<CType> Values() { return {{}, {7, 8}}; }
};
struct SFloatList {
  using CType = std::vector<float>;
  static std::vector<CType> Values() { return {{}, {0.5F, 16.0F, -1.0F}}; }
};
struct STextList {
  using CType = std::vector<std::string>;
  static std::vector<CType> Values() { return {{}, {"a", "", "b"}}; }
};
using CValueTypes =
    testing::Types<SBool, SInt, SUnsigned, SLong, SFloat, SText, SIntList, SUnsignedList, SFloatList, STextList>;
TYPED_TEST_SUITE(CSignalValueTest, CValueTypes);

TYPED_TEST(CSignalValueTest, ValueSurvivesTheMessage)
{
  for (const auto& value : TypeParam::Values()) {
    ipc::MDiagnosticsSignal signal;
    SignalValue::Put(signal, value);
    ipc::MDiagnosticsSignal received;
    ASSERT_TRUE(received.ParseFromString(signal.SerializeAsString()));
    typename TypeParam::CType taken{};
    EXPECT_TRUE(SignalValue::Take(received, taken));
    EXPECT_EQ(taken, value);
  }
}

template <typename T>
void ExpectKept(const ipc::MDiagnosticsSignal& signal, T value)
{
  const T before = value;
  EXPECT_FALSE(SignalValue::Take(signal, value));
  EXPECT_EQ(value, before);
}

TEST(SignalValue, MessageWithoutAValueOfTheTypeLeavesTheValueAlone)
{
  ipc::MDiagnosticsSignal signal;
  ExpectKept(signal, true);
  ExpectKept(signal, int32_t{4});
  ExpectKept(signal, uint32_t{4});
  ExpectKept(signal, int64_t{4});
  ExpectKept(signal, 4.5F);
  ExpectKept(signal, std::string("kept"));
  signal.add_int_values(1);
  ExpectKept(signal, true);
  ExpectKept(signal, std::string("kept"));
}

TEST(SignalValue, SingleValueIsTheFirstOfSeveral)
{
  ipc::MDiagnosticsSignal signal;
  signal.add_int_values(3);
  signal.add_int_values(5);
  int32_t value = 0;
  EXPECT_TRUE(SignalValue::Take(signal, value));
  EXPECT_EQ(value, 3);
}

std::string Delivered(const std::string& text)
{
  ipc::MDiagnosticsSignal signal;
  SignalValue::Put(signal, text);
  return signal.string_values(0);
}

TEST(SignalValue, MalformedTextBecomesReplacementCharactersSoThatItCanBeReceived)
{
  const std::string replaced = "\xEF\xBF\xBD";
  struct SCase {
    const char* name;
    std::string text;
    std::string delivered;
  };
  const SCase cases[] = {
      {"cut within a character", "unknown action \xE2\x82", "unknown action " + replaced + replaced},
      {"lone continuation", "a\x80z", "a" + replaced + "z"},
      {"no leading byte", "a\xFF\xFEz", "a" + replaced + replaced + "z"},
      {"longer form than needed", "a\xC0\xAFz", "a" + replaced + replaced + "z"},
      {"surrogate", "\xED\xA0\x80", replaced + replaced + replaced},
      {"beyond the last code point", "\xF4\x90\x80\x80", replaced + replaced + replaced + replaced},
      {"interrupted character", "\xE2\x28\xA1", replaced + "(" + replaced},
  };
  for (const auto& entry : cases) {
    EXPECT_EQ(Delivered(entry.text), entry.delivered) << entry.name;
    ipc::MDiagnosticsSignal received;
    ipc::MDiagnosticsSignal signal;
    SignalValue::Put(signal, std::vector<std::string>{"first", entry.text});
    EXPECT_EQ(signal.string_values(1), entry.delivered) << entry.name;
    EXPECT_TRUE(received.ParseFromString(signal.SerializeAsString())) << entry.name;
  }
}

TEST(SignalValue, FirstAndLastCharactersOfEachLengthAreKept)
{
  for (const std::string text : {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                                 "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(Delivered(text), text);
  }
  EXPECT_EQ(Delivered(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(SignalValue, OverlongTextIsCutBetweenCharacters)
{
  EXPECT_EQ(Delivered(std::string(SignalValue::kMaxTextLength, 'x')).size(), SignalValue::kMaxTextLength);
  EXPECT_EQ(Delivered(std::string(8000000, 'x')).size(), SignalValue::kMaxTextLength);
  std::string euros = "x";
  for (size_t i = 0; i < SignalValue::kMaxTextLength; ++i) euros += "\xE2\x82\xAC";
  const auto delivered = Delivered(euros);
  EXPECT_EQ(delivered.size(), SignalValue::kMaxTextLength);
  EXPECT_EQ(delivered.substr(delivered.size() - 3), "\xE2\x82\xAC");
}

}  // namespace

#include "platform/icconfig/jsontext.h"

#include <gtest/gtest.h>
#include <json/writer.h>

#include <limits>
#include <string>

using namespace std::string_literals;
using IcConfig::IsUtf8;
using IcConfig::kMaxNesting;
using IcConfig::ParseJsonText;
using IcConfig::ToJsonText;

namespace {

Json::Value Nested(unsigned levels)
{
  Json::Value value(1);
  for (unsigned level = 0; level < levels; ++level) {
    Json::Value outer(Json::arrayValue);
    outer.append(value);
    value = outer;
  }
  return value;
}

}  // namespace

TEST(JsonText, Utf8OfEachLengthIsTaken)
{
  EXPECT_TRUE(IsUtf8(""));
  EXPECT_TRUE(IsUtf8("a\0b"s));
  EXPECT_TRUE(IsUtf8("\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\x8C"));
  EXPECT_TRUE(IsUtf8("\xF4\x8F\xBF\xBF"));
}

TEST(JsonText, MalformedUtf8IsRefused)
{
  for (const auto& text : {"\x80"s, "\xC3"s, "\xC0\xAF"s, "\xE0\x80\xAF"s, "\xED\xA0\x80"s, "\xF4\x90\x80\x80"s,
                           "\xFF"s, "\xF0\x9F\x94"s, "\xC3("s}) {
    EXPECT_FALSE(IsUtf8(text)) << testing::PrintToString(text);
    EXPECT_FALSE(ParseJsonText('"' + text + '"'));
    EXPECT_FALSE(ToJsonText(Json::Value(text)));
  }
}

TEST(JsonText, EveryTypeReadsBackAsWritten)
{
  Json::Value object(Json::objectValue);
  object["b"] = Json::arrayValue;
  object["a"] = "x\0\"\n\xC3\xA4"s;
  for (const auto& value :
       {Json::Value(), Json::Value(true), Json::Value(-7), Json::Value(std::numeric_limits<Json::Int64>::min()),
        Json::Value(std::numeric_limits<Json::UInt64>::max()), Json::Value(0.1), Json::Value(5.0), Json::Value(""),
        object}) {
    const auto text = ToJsonText(value);
    ASSERT_TRUE(text) << value;
    EXPECT_EQ(ParseJsonText(*text), value);
  }
  EXPECT_EQ(ToJsonText(object), "{\"a\":\"x\\u0000\\\"\\n\xC3\xA4\",\"b\":[]}");
}

TEST(JsonText, TextThatIsNotExactlyOneValueIsRefusedWithAReason)
{
  for (const auto* text :
       {"", " ", "{", "[1,]", "{\"a\":1,\"a\":2}", "1 2", "tru", "// x\n1", "NaN", "'a'", "\"a", "{a:1}"}) {
    std::string error;
    EXPECT_FALSE(ParseJsonText(text, &error)) << text;
    EXPECT_NE(error, "") << text;
  }
}

TEST(JsonText, NulIsNoEndOfTheText)
{
  EXPECT_FALSE(ParseJsonText("1\0"s));
  EXPECT_FALSE(ParseJsonText("1\0 2"s));
  EXPECT_FALSE(ParseJsonText("\"a\0b\""s));
  EXPECT_FALSE(ParseJsonText("\0"s));
}

TEST(JsonText, NestingIsLimitedOnBothSides)
{
  EXPECT_TRUE(ToJsonText(Nested(kMaxNesting)));
  EXPECT_FALSE(ToJsonText(Nested(kMaxNesting + 1)));
  EXPECT_TRUE(ParseJsonText(std::string(kMaxNesting, '[') + std::string(kMaxNesting, ']')));
  EXPECT_FALSE(ParseJsonText(std::string(100000, '[')));
  EXPECT_FALSE(ParseJsonText(std::string(100000, '[') + std::string(100000, ']')));
}

TEST(JsonText, MemberThatIsNoTextReadsAsAnEmptyOne)
{
  const auto object = ParseJsonText(R"({"text":"x","number":1})");
  EXPECT_EQ(IcConfig::GetTextMember(*object, "text"), "x");
  EXPECT_EQ(IcConfig::GetTextMember(*object, "number"), "");
  EXPECT_EQ(IcConfig::GetTextMember(*object, "absent"), "");
  EXPECT_EQ(IcConfig::GetTextMember(Json::Value(5), "text"), "");
  EXPECT_EQ(IcConfig::GetTextMember(Json::Value(), "text"), "");
}

TEST(JsonText, NumbersThatAreNotFiniteAreRefused)
{
  EXPECT_FALSE(ToJsonText(Json::Value(std::numeric_limits<double>::quiet_NaN())));
  EXPECT_FALSE(ToJsonText(Json::Value(std::numeric_limits<double>::infinity())));
}

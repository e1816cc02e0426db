#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "src/components/operation/ocpp16/messages/authorize.h"
#include "src/components/operation/ocpp16/messages/getconfiguration.h"
#include "src/components/operation/ocpp16/messages/getlocallistversion.h"
#include "src/components/operation/ocpp_common/json.h"

// What a broken or hostile backoffice may send as a payload.

namespace {

using Ocpp16::Authorize::authorizeRequest;
using Ocpp16::GetLocalListVersion::getLocalListVersionResponse;

constexpr size_t kDeep = 100000;

std::string Repeat(const std::string& text, size_t count)
{
  std::string result;
  result.reserve(text.size() * count);
  for (size_t i = 0; i < count; i++) result += text;
  return result;
}

int64_t ReadVersion(const std::string& number)
{
  return OcppJson::Read<getLocalListVersionResponse>(R"({"listVersion":)" + number + "}").listVersion;
}

}  // namespace

TEST(HostilePayload, NestingOf100000IsReadAndRefusedWithoutOverflowingTheStack)
{
  const std::string arrays = Repeat("[", kDeep) + Repeat("]", kDeep);
  const std::string objects = Repeat(R"({"idTag":)", kDeep) + "1" + Repeat("}", kDeep);
  EXPECT_THROW(OcppJson::Read<authorizeRequest>(arrays), nlohmann::json::type_error);
  EXPECT_THROW(OcppJson::Read<authorizeRequest>(Repeat("[", kDeep)), nlohmann::json::parse_error);
  EXPECT_THROW(OcppJson::Read<authorizeRequest>(Repeat(R"({"idTag":)", kDeep)), nlohmann::json::parse_error);
  EXPECT_THROW(OcppJson::Read<authorizeRequest>(objects), nlohmann::json::type_error);
  EXPECT_THROW(OcppJson::Read<authorizeRequest>(R"({"idTag":)" + arrays + "}"), nlohmann::json::type_error);
}

TEST(HostilePayload, NestingOf100000InAnUnknownMemberIsSkipped)
{
  const std::string text = R"({"x":)" + Repeat("[", kDeep) + Repeat("]", kDeep) + R"(,"idTag":"A"})";
  EXPECT_EQ(OcppJson::Read<authorizeRequest>(text).idTag, "A");
}

TEST(HostilePayload, LastOfDuplicateMembersWins)
{
  EXPECT_EQ(OcppJson::Read<authorizeRequest>(R"({"idTag":"A","idTag":"B"})").idTag, "B");
  EXPECT_THROW(OcppJson::Read<authorizeRequest>(R"({"idTag":"A","idTag":null})"), nlohmann::json::type_error);
}

TEST(HostilePayload, IntegerAtTheEndsOf64BitsIsReadExactly)
{
  EXPECT_EQ(ReadVersion("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(ReadVersion("-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(ReadVersion("-0"), 0);
}

TEST(HostilePayload, IntegerBeyond64BitsOrWithAFractionIsATypeErrorAndNeverTruncated)
{
  for (const auto* number :
       {"9223372036854775808", "18446744073709551615", "18446744073709551616", "-9223372036854775809",
        "100000000000000000000000000000000000000", "1.0", "1.5", "1e3", "-1e-3", "true", "\"5\"", "[5]"}) {
    EXPECT_THROW(ReadVersion(number), nlohmann::json::type_error) << number;
  }
}

TEST(HostilePayload, NumberBeyondAllBoundsIsRefusedByTheParser)
{
  EXPECT_THROW(ReadVersion("1e999"), nlohmann::json::out_of_range);
  EXPECT_THROW(ReadVersion(std::string(100000, '9')), nlohmann::json::exception);
}

TEST(HostilePayload, TextThatIsNotJsonIsAParseError)
{
  for (const auto* text : {"", " ", "{", R"({"idTag":"A")", R"({"idTag":"A"}x)", R"({"idTag":"A",})", R"({idTag:"A"})",
                           R"({'idTag':'A'})", "// comment\n{}", R"({"idTag":/* comment */"A"})", R"({"idTag":"\x"})",
                           R"({"idTag":"\ud800"})", "{\"idTag\":\"a\nb\"}", "NaN", R"({"idTag":01})"}) {
    EXPECT_THROW(OcppJson::Read<authorizeRequest>(text), nlohmann::json::parse_error) << text;
  }
}

TEST(HostilePayload, InvalidUtf8IsAParseError)
{
  for (const auto* bytes : {"\xff", "\xc3", "\xc0\x80", "\xed\xa0\x80", "\xf5\x80\x80\x80"}) {
    EXPECT_THROW(OcppJson::Read<authorizeRequest>(std::string(R"({"idTag":")") + bytes + "\"}"),
                 nlohmann::json::parse_error);
  }
}

TEST(HostilePayload, TextWithNulCharacterKeepsItsLength)
{
  EXPECT_EQ(OcppJson::Read<authorizeRequest>(R"({"idTag":"a\u0000b"})").idTag.Get(), std::string("a\0b", 3));
}

TEST(HostilePayload, TextOf8MegabytesForALimitedMemberIsRefused)
{
  EXPECT_THROW(OcppJson::Read<authorizeRequest>(R"({"idTag":")" + std::string(8U << 20U, 'x') + "\"}"),
               OcppConstraints::valueTooLongException);
}

TEST(HostilePayload, ListOfAMillionItemsFailsAtItsFirstBadItem)
{
  const std::string text = R"({"key":[)" + Repeat("0,", 1000000) + "0]}";
  EXPECT_THROW(OcppJson::Read<Ocpp16::GetConfiguration::getConfigurationRequest>(text), nlohmann::json::type_error);
}

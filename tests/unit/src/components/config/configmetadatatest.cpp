#include "src/components/configmetadata.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/unit/src/components/config/jsontext.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

SConfigKeyInfo Parse(const std::string& text) { return ParseConfigKeyInfo("Key", ParseJson(text)); }

// The text of the exception that the metadata raises.
std::string GetFault(const std::string& text)
{
  try {
    Parse(text);
  } catch (const OcppConfigException& exception) {
    return exception.what();
  }
  return "no exception";
}

}  // namespace

TEST(ConfigMetadata, TypesAreReadByName)
{
  EXPECT_EQ(Parse(R"({"type":"boolean","accessRight":"readOnly"})").mType, EConfigType::EBoolean);
  EXPECT_EQ(Parse(R"({"type":"integer","accessRight":"readOnly"})").mType, EConfigType::EInteger);
  EXPECT_EQ(Parse(R"({"type":"string","accessRight":"readOnly"})").mType, EConfigType::EString);
  EXPECT_EQ(Parse(R"({"type":"CSL","accessRight":"readOnly"})").mType, EConfigType::ECsl);
}

TEST(ConfigMetadata, EnumerationsHaveTheirNumbers)
{
  EXPECT_EQ(static_cast<int>(EConfigType::EUnknown), 0);
  EXPECT_EQ(static_cast<int>(EConfigType::EBoolean), 1);
  EXPECT_EQ(static_cast<int>(EConfigType::EInteger), 2);
  EXPECT_EQ(static_cast<int>(EConfigType::EString), 3);
  EXPECT_EQ(static_cast<int>(EConfigType::ECsl), 4);
  EXPECT_EQ(static_cast<int>(EConfigAccess::EReadOnly), 0);
  EXPECT_EQ(static_cast<int>(EConfigAccess::EReadWrite), 1);
  EXPECT_EQ(static_cast<int>(EConfigAccess::EWriteOnly), 2);
}

TEST(ConfigMetadata, AccessRightsAreReadByName)
{
  EXPECT_EQ(Parse(R"({"type":"string","accessRight":"readOnly"})").mAccess, EConfigAccess::EReadOnly);
  EXPECT_EQ(Parse(R"({"type":"string","accessRight":"readWrite"})").mAccess, EConfigAccess::EReadWrite);
  EXPECT_EQ(Parse(R"({"type":"string","accessRight":"writeOnly"})").mAccess, EConfigAccess::EWriteOnly);
}

TEST(ConfigMetadata, MissingTypeIsAFault)
{
  EXPECT_EQ(GetFault(R"({"accessRight":"readOnly"})"), "type property key is missing in metadata");
  EXPECT_EQ(GetFault("{}"), "type property key is missing in metadata");
}

TEST(ConfigMetadata, UnknownTypeIsAFault)
{
  EXPECT_EQ(GetFault(R"({"type":"float","accessRight":"readOnly"})"), "Key has unknown data type in metadata.");
  EXPECT_EQ(GetFault(R"({"type":"csl","accessRight":"readOnly"})"), "Key has unknown data type in metadata.");
  EXPECT_EQ(GetFault(R"({"type":"","accessRight":"readOnly"})"), "Key has unknown data type in metadata.");
}

TEST(ConfigMetadata, MissingAccessRightIsAFault)
{
  EXPECT_EQ(GetFault(R"({"type":"string"})"), "accessRight property key is missing in configuration metadata");
}

TEST(ConfigMetadata, UnknownAccessRightIsAFault)
{
  EXPECT_EQ(GetFault(R"({"type":"string","accessRight":"readwrite"})"),
            "readwrite is unknown for the accessRight property in the metadata");
}

TEST(ConfigMetadata, AbsentMembersHaveTheirDefaults)
{
  const SConfigKeyInfo info = Parse(R"({"type":"integer","accessRight":"readWrite"})");
  EXPECT_TRUE(info.mRebootRequired);
  EXPECT_EQ(info.mMin, std::numeric_limits<int32_t>::min());
  EXPECT_EQ(info.mMax, std::numeric_limits<int32_t>::max());
  EXPECT_THAT(info.mSupportedItems, IsEmpty());
  EXPECT_EQ(info.mFile, "ocpp");
  EXPECT_EQ(info.mKeyName, "Key");
  EXPECT_THAT(info.mAllowedList, IsEmpty());
  EXPECT_THAT(info.mDeniedList, IsEmpty());
}

TEST(ConfigMetadata, PresentMembersAreTaken)
{
  const SConfigKeyInfo info = Parse(R"({"type":"string","accessRight":"readWrite","rebootRequiredWhenChanged":false,
      "min":-2147483648,"max":2147483647,"supportedItems":"a,b","source":{"file":"secrets","keyName":"Other"},
      "allowedStringList":"x","deniedStringList":"y,z","description":"ignored"})");
  EXPECT_FALSE(info.mRebootRequired);
  EXPECT_EQ(info.mMin, std::numeric_limits<int32_t>::min());
  EXPECT_EQ(info.mMax, std::numeric_limits<int32_t>::max());
  EXPECT_THAT(info.mSupportedItems, ElementsAre("a", "b"));
  EXPECT_EQ(info.mFile, "secrets");
  EXPECT_EQ(info.mKeyName, "Other");
  EXPECT_THAT(info.mAllowedList, ElementsAre("x"));
  EXPECT_THAT(info.mDeniedList, ElementsAre("y", "z"));
}

TEST(ConfigMetadata, SourceMayNameTheFileAlone)
{
  const SConfigKeyInfo info = Parse(R"({"type":"string","accessRight":"readOnly","source":{"file":"hwinfo"}})");
  EXPECT_EQ(info.mFile, "hwinfo");
  EXPECT_EQ(info.mKeyName, "Key");
}

TEST(ConfigMetadata, ListsOfPermittedStringsHaveNoEffectOnACsl)
{
  for (const char* type : {"CSL", "integer", "boolean"}) {
    const SConfigKeyInfo info = Parse(std::string(R"({"type":")") + type +
                                      R"(","accessRight":"readOnly","allowedStringList":"a","deniedStringList":"b"})");
    EXPECT_THAT(info.mAllowedList, IsEmpty()) << type;
    EXPECT_THAT(info.mDeniedList, IsEmpty()) << type;
  }
}

TEST(ConfigMetadata, MemberOfTheWrongJsonTypeIsAFault)
{
  EXPECT_EQ(GetFault(R"({"type":5,"accessRight":"readOnly"})"), "Key has a wrong value for type in metadata");
  EXPECT_EQ(GetFault(R"({"type":"integer","accessRight":"readOnly","min":"1"})"),
            "Key has a wrong value for min in metadata");
  EXPECT_EQ(GetFault(R"({"type":"integer","accessRight":"readOnly","max":2147483648})"),
            "Key has a wrong value for max in metadata");
  EXPECT_EQ(GetFault(R"({"type":"integer","accessRight":"readOnly","source":"ocpp"})"),
            "Key has a wrong value for source in metadata");
  EXPECT_EQ(GetFault(R"({"type":"CSL","accessRight":"readOnly","supportedItems":["a"]})"),
            "Key has a wrong value for supportedItems in metadata");
  EXPECT_EQ(GetFault(R"({"type":"CSL","accessRight":"readOnly","rebootRequiredWhenChanged":null})"),
            "Key has a wrong value for rebootRequiredWhenChanged in metadata");
}

TEST(SplitCsl, SplitsOnEveryCommaAndTrimsNothing)
{
  EXPECT_THAT(SplitCsl(""), IsEmpty());
  EXPECT_THAT(SplitCsl("a"), ElementsAre("a"));
  EXPECT_THAT(SplitCsl("a, b"), ElementsAre("a", " b"));
  EXPECT_THAT(SplitCsl("a,,b,"), ElementsAre("a", "", "b", ""));
  EXPECT_THAT(SplitCsl(","), ElementsAre("", ""));
}

#include "src/secc/configreporter.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/unit/support/logcapture.h"

namespace {

class CConfigReporterTest : public testing::Test {
 protected:
  using CTexts = std::vector<std::string>;

  CLogCapture mLog;
  CTexts mSecurity;
  CTexts mParameters;
  CConfigReporter mReporter{[this](const std::string& text) { mSecurity.push_back(text); },
                            [this](const std::string& text) { mParameters.push_back(text); }};
};

TEST_F(CConfigReporterTest, ChangedTimeServerSendsBothSignalsInClear)
{
  mReporter.HandleChange("NtpServer1", "ntp.example");
  EXPECT_EQ(mSecurity, CTexts{"Security parameter NtpServer1 has been reconfigured to ntp.example"});
  EXPECT_EQ(mParameters, CTexts{"Parameter NtpServer1 has been reconfigured to ntp.example"});
}

TEST_F(CConfigReporterTest, ChangedWlanKeySendsBothSignalsMasked)
{
  mReporter.HandleChange("WlanStaPsk", "geheim");
  EXPECT_EQ(mSecurity, CTexts{"Security parameter WlanStaPsk has been reconfigured to ****"});
  EXPECT_EQ(mParameters, CTexts{"Parameter WlanStaPsk has been reconfigured to ****"});
}

TEST_F(CConfigReporterTest, ChangeOfAnyOtherKeySendsOneSignal)
{
  mReporter.HandleChange("HeartbeatInterval", 60);
  EXPECT_EQ(mSecurity, CTexts{});
  EXPECT_EQ(mParameters, CTexts{"Parameter HeartbeatInterval has been reconfigured to 60"});
}

TEST_F(CConfigReporterTest, ObjectValueSendsNothingAndIsLogged)
{
  Json::Value value(Json::objectValue);
  value["a"] = 1;
  mReporter.HandleChange("Whatever", value);
  EXPECT_TRUE(mSecurity.empty());
  EXPECT_TRUE(mParameters.empty());
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EDebug,
                 "Skip logging. Key Whatever is changed with non string-convertible value " + value.toStyledString()),
      1U);
}

TEST_F(CConfigReporterTest, NoCredentialIsEverShown)
{
  for (const char* key :
       {"AuthorizationKey", "FwUpdateAuthPassword", "SboOcppBasicAuthPassword", "WlanApPassword", "WlanStaPassword",
        "WlanStaPsk", "NetMSmsPassword", "WebIfManagementPassword", "LocalRestApiToken", "TOTPSharedSecret"}) {
    mReporter.HandleChange(key, "deadbeef");
    Json::Value object(Json::objectValue);
    object["secret"] = "deadbeef";
    mReporter.HandleChange(key, object);
  }
  for (const auto* list : {&mSecurity, &mParameters}) {
    for (const auto& text : *list) EXPECT_EQ(text.find("deadbeef"), std::string::npos) << text;
  }
  EXPECT_FALSE(mLog.ContainsPart("deadbeef"));
  EXPECT_EQ(mSecurity.size(), 9U);
  EXPECT_EQ(mParameters.size(), 10U);
}

}  // namespace

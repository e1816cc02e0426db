#include <thread>

#include "tests/unit/src/components/diagnostics/diagnosticsfixture.h"

namespace {

using CIds = std::vector<int32_t>;
using CTexts = std::vector<std::string>;

class CDiagnosticsNotificationsTest : public CDiagnosticsFixture {
 protected:
  static constexpr int kError = 0;
  static constexpr int kWarning = 1;
  static constexpr int kEvent = 2;

  void Notify(int type, int32_t identifier, uint32_t connector, bool raised)
  {
    mHandler.HandleDiagnosticsNotification(MakeSignal(identifier, connector, raised), MakeType(type));
  }
};

TEST_F(CDiagnosticsNotificationsTest, ErrorIsActiveFromRaisedToClearedAndPushesNothing)
{
  Notify(kError, 1000, 1, true);
  Notify(kError, 1002, 1, true);
  EXPECT_EQ(mHandler.GetActiveErrors(1), (CIds{1000, 1002}));
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{});
  EXPECT_EQ(mHandler.GetActiveWarnings(1), CIds{});
  Notify(kError, 1000, 1, false);
  EXPECT_EQ(mHandler.GetActiveErrors(1), CIds{1002});
  EXPECT_EQ(mOcpp->pushes, CTexts{});
}

TEST_F(CDiagnosticsNotificationsTest, EachFatalErrorPushesAFatalStatusAfterItIsActive)
{
  for (const int32_t identifier : {1100, 1102, 1103, 1104, 1105}) {
    mOcpp->pushes.clear();
    CIds active;
    mOcpp->onPush = [&] { active = mHandler.GetActiveErrors(0); };
    Notify(kError, identifier, 0, true);
    EXPECT_EQ(mOcpp->pushes, CTexts{"fatal"}) << identifier;
    ASSERT_FALSE(active.empty());
    EXPECT_EQ(active.back(), identifier);
  }
}

TEST_F(CDiagnosticsNotificationsTest, ErrorsBesideTheFatalOnesPushNothing)
{
  for (const int32_t identifier : {1000, 1099, 1101, 1106, 1400, 2000}) Notify(kError, identifier, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{});
}

TEST_F(CDiagnosticsNotificationsTest, ClearedFatalErrorPushesAsWell)
{
  Notify(kError, 1104, 0, true);
  Notify(kError, 1104, 0, false);
  EXPECT_EQ(mOcpp->pushes, (CTexts{"fatal", "fatal"}));
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{});
}

TEST_F(CDiagnosticsNotificationsTest, WarningIsActiveAndPushesTheStatusToAll)
{
  CIds active;
  mOcpp->onPush = [&] { active = mHandler.GetActiveWarnings(0); };
  Notify(kWarning, 10101, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{"status:0"});
  EXPECT_EQ(active, CIds{10101});
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{});
  Notify(kWarning, 10101, 0, false);
  EXPECT_EQ(mOcpp->pushes, (CTexts{"status:0", "status:0"}));
  EXPECT_EQ(active, CIds{});
}

TEST_F(CDiagnosticsNotificationsTest, FatalNumberAsAWarningIsNotFatal)
{
  Notify(kWarning, 1104, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{"status:0"});
}

TEST_F(CDiagnosticsNotificationsTest, IgnoredWarningPushesNoStatusAndIsNotActive)
{
  mConfig->SetString("IgnoredWarnings", "10101");
  mHandler.Init();
  Notify(kWarning, 10101, 0, true);
  Notify(kWarning, 10101, 0, false);
  EXPECT_EQ(mOcpp->pushes, CTexts{});
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{});
  Notify(kWarning, 10102, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{"status:0"});
}

TEST_F(CDiagnosticsNotificationsTest, IgnoredNumberAsAnErrorIsActive)
{
  mConfig->SetString("IgnoredWarnings", "10101");
  mHandler.Init();
  Notify(kError, 10101, 0, true);
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{10101});
}

TEST_F(CDiagnosticsNotificationsTest, EventPushesASecurityEvent)
{
  Notify(kEvent, 20006, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{"security:20006"});
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{});
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{});
}

TEST_F(CDiagnosticsNotificationsTest, UnknownTypeIsLoggedAndDropped)
{
  Notify(3, 1104, 0, true);
  Notify(-1, 1104, 0, true);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Diagnostic notification received with unknown type: 3"), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Diagnostic notification received with unknown type: -1"), 1U);
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{});
  EXPECT_EQ(mOcpp->pushes, CTexts{});
}

TEST_F(CDiagnosticsNotificationsTest, NotificationsBeforeTheWiringIsCompleteAreKeptWithoutPush)
{
  mAccess.RegisterHandle(std::shared_ptr<IOcpp>());
  Notify(kError, 1104, 0, true);
  Notify(kWarning, 10101, 0, true);
  Notify(kEvent, 20006, 0, true);
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{1104});
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{10101});
}

TEST_F(CDiagnosticsNotificationsTest, IgnoredWarningsWithTwoNumbersAndAWordGiveTwoIdentifiersAndOneLine)
{
  mConfig->SetString("IgnoredWarnings", "10101,word,10102");
  mHandler.Init();
  Notify(kWarning, 10101, 0, true);
  Notify(kWarning, 10102, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{});
  size_t lines = 0;
  for (const auto& line : mLog.GetLines()) {
    if (line.text.rfind("Warning [", 0) == 0) {
      ++lines;
      EXPECT_EQ(line.text, "Warning [word] was not numerical: stoi");
      EXPECT_EQ(line.level, Log::ELogLevel::EWarning);
    }
  }
  EXPECT_EQ(lines, 1U);
}

TEST_F(CDiagnosticsNotificationsTest, IgnoredWarningBeyondTheRangeIsLoggedAndTheOthersCount)
{
  mConfig->SetString("IgnoredWarnings", "99999999999,10102");
  mHandler.Init();
  EXPECT_EQ(mLog.Count("Warning [99999999999] was out of numerical range: stoi"), 1U);
  Notify(kWarning, 10102, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{});
}

TEST_F(CDiagnosticsNotificationsTest, IgnoredWarningsMayStandBetweenBlanksButNotBesideOtherText)
{
  mConfig->SetString("IgnoredWarnings", " 10101 ,10102x,");
  mHandler.Init();
  EXPECT_EQ(mLog.Count("Warning [10102x] was not numerical: trailing characters"), 1U);
  Notify(kWarning, 10101, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{});
  Notify(kWarning, 10102, 0, true);
  EXPECT_EQ(mOcpp->pushes, CTexts{"status:0"});
}

TEST_F(CDiagnosticsNotificationsTest, EmptyIgnoredWarningsIgnoreNothingAndLogNothing)
{
  mConfig->SetString("IgnoredWarnings", "10101");
  mHandler.Init();
  mConfig->SetString("IgnoredWarnings", "");
  mHandler.LoadIgnoredWarnings(kPrimary);
  Notify(kWarning, 10101, 0, true);
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{10101});
  EXPECT_FALSE(mLog.ContainsPart("Warning ["));
}

TEST_F(CDiagnosticsNotificationsTest, WarningThatBecomesIgnoredIsNoLongerActive)
{
  Notify(kWarning, 10101, 0, true);
  Notify(kWarning, 10102, 0, true);
  mConfig->SetString("IgnoredWarnings", "10101");
  mHandler.LoadIgnoredWarnings(kPrimary);
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{10102});
}

TEST_F(CDiagnosticsNotificationsTest, LoadingWithoutConfigurationManagerIsSurvived)
{
  mAccess.RegisterHandle(std::shared_ptr<IOcppConfigManager>());
  mHandler.Init();
  Notify(kWarning, 10101, 0, true);
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{10101});
}

TEST_F(CDiagnosticsNotificationsTest, SyncReplacesBothListsInTheOrderOfTheAnswer)
{
  Notify(kError, 1000, 1, true);
  Notify(kWarning, 10250, 0, true);
  mDiagnostics->SetActiveErrors({MakeSignal(1104, 0, true), MakeSignal(1002, 1, true), MakeSignal(1001, 1, true)});
  mDiagnostics->SetActiveWarnings({MakeSignal(10102, 0, true), MakeSignal(10101, 0, true)});
  mHandler.SyncActiveErrorWarning();
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{1104});
  EXPECT_EQ(mHandler.GetActiveErrors(1), (CIds{1002, 1001}));
  EXPECT_EQ(mHandler.GetActiveWarnings(0), (CIds{10102, 10101}));
}

TEST_F(CDiagnosticsNotificationsTest, SyncSkipsIgnoredWarningsButNoErrors)
{
  mConfig->SetString("IgnoredWarnings", "10101,1104");
  mHandler.Init();
  mDiagnostics->SetActiveErrors({MakeSignal(1104, 0, true)});
  mDiagnostics->SetActiveWarnings({MakeSignal(10101, 0, true), MakeSignal(10102, 0, true)});
  mHandler.SyncActiveErrorWarning();
  EXPECT_EQ(mHandler.GetActiveErrors(0), CIds{1104});
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{10102});
}

TEST_F(CDiagnosticsNotificationsTest, SyncWithoutTheDiagnosticsProcessIsLoggedAndLeavesTheListsEmpty)
{
  Notify(kError, 1000, 1, true);
  Notify(kWarning, 10101, 0, true);
  mDiagnostics->SetUnreachable("gone");
  mHandler.SyncActiveErrorWarning();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "Cannot communicate with Diagnostics for request active errors/warnings, Error: gone"),
            1U);
  EXPECT_EQ(mHandler.GetActiveErrors(1), CIds{});
  EXPECT_EQ(mHandler.GetActiveWarnings(0), CIds{});
  Notify(kError, 1000, 1, true);
  EXPECT_EQ(mHandler.GetActiveErrors(1), CIds{1000});
}

TEST_F(CDiagnosticsNotificationsTest, ListsMayBeReadWhileNotificationsAndSyncsArrive)
{
  mDiagnostics->SetActiveErrors({MakeSignal(1002, 1, true)});
  std::thread notifications([this] {
    for (int i = 0; i < 200; ++i) Notify(kError, 1000 + i % 2, 1, i % 3 != 0);
    Notify(kError, 1000, 1, true);
    Notify(kError, 1001, 1, false);
  });
  std::thread syncs([this] {
    for (int i = 0; i < 50; ++i) mHandler.SyncActiveErrorWarning();
  });
  for (int i = 0; i < 200; ++i) EXPECT_LE(mHandler.GetActiveErrors(1).size(), 3U);
  notifications.join();
  syncs.join();
  mHandler.SyncActiveErrorWarning();
  EXPECT_EQ(mHandler.GetActiveErrors(1), CIds{1002});
}

}  // namespace

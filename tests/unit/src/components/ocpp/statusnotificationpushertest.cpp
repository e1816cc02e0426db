#include "tests/unit/src/components/ocpp/ocppfixture.h"

namespace {

using namespace std::chrono_literals;

class CStatusNotificationPusherTest : public COcppFixture {
 protected:
  // "connector:state[:errors]" of each pushed StatusNotification, in order; each is confirmed at once.
  std::vector<std::string> TakeStatuses(CFakeBackoffice& backoffice)
  {
    std::vector<std::string> statuses;
    for (const auto& operation : backoffice.TakeOperations()) {
      const auto parameters = ParametersOf(operation);
      const auto connector = *GetIntParameter(parameters, EOperationParameter::EConnectorId);
      const auto state = *GetIntParameter(parameters, EOperationParameter::EConnectorState);
      const auto errors = GetParameter<std::vector<int32_t>>(parameters, EOperationParameter::EErrorList);
      std::string text = std::to_string(connector) + ":" + std::to_string(state);
      if (errors) {
        for (const auto error : *errors) text += ":" + std::to_string(error);
      }
      statuses.push_back(text);
      backoffice.SetConfirmedStatus(static_cast<uint32_t>(connector), static_cast<int32_t>(state));
      backoffice.SetConfirmedErrors(static_cast<uint32_t>(connector), errors.value_or(std::vector<int32_t>()));
    }
    return statuses;
  }
  using CTexts = std::vector<std::string>;
};

TEST_F(CStatusNotificationPusherTest, TwoChangesWithinTheMinimumDurationGiveTheLaterState)
{
  const auto primary = AddAccepted(kPrimary);
  mSession->state = 4;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(1s);
  mSession->state = 5;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(1s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
  mClock.AdvanceBy(1s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:5"}));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "MinimumStatusDuration config is 2 secs"), 2U);
}

TEST_F(CStatusNotificationPusherTest, AbsurdMinimumDurationDoesNotOverflow)
{
  const auto primary = AddAccepted(kPrimary);
  mConfig->SetInt("MinimumStatusDuration", INT64_MAX);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(24h);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
}

TEST_F(CStatusNotificationPusherTest, ConfirmedStateIsNotSentAgain)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:1"}));
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
}

TEST_F(CStatusNotificationPusherTest, UnconfirmedStateIsSentAgain)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  primary->TakeOperations();
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  // Connector 0 was pushed before and has not changed.
  EXPECT_EQ(TakeStatuses(*primary), CTexts{"1:1"});
}

TEST_F(CStatusNotificationPusherTest, ChangeToChargingIsToldForTheConnectorAlone)
{
  const auto primary = AddAccepted(kPrimary);
  mSession->state = 5;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  TakeStatuses(*primary);
  mSession->state = 6;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), CTexts{"1:6"});
}

TEST_F(CStatusNotificationPusherTest, FaultIsToldForTheStationFirstAndThenForTheConnector)
{
  const auto primary = AddAccepted(kPrimary);
  mSession->state = 10;
  mDiagnostics->errors[1] = {1000};
  mDiagnostics->warnings[0] = {10101};
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:10:10101", "1:10:1000"}));
  EXPECT_TRUE(mLog.Contains("Try pushing for ConnectorId 1: Faulted (10)"));
  EXPECT_TRUE(mLog.Contains("Append errorWarningList for ConnectorId1 with 1 errorWarning"));
}

TEST_F(CStatusNotificationPusherTest, ErrorsOfAHealthyConnectorAreNotToldButItsWarningsAre)
{
  const auto primary = AddAccepted(kPrimary);
  mDiagnostics->errors[1] = {1000};
  mDiagnostics->warnings[1] = {10101};
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:1:10101"}));
}

TEST_F(CStatusNotificationPusherTest, UnreachableSessionManagerCountsAsFaulted)
{
  const auto primary = AddAccepted(kPrimary);
  mSession->state = 0;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:10"}));
}

TEST_F(CStatusNotificationPusherTest, TransitionsOfTheConnectorAreNotReported)
{
  const auto primary = AddAccepted(kPrimary);
  mSession->state = 11;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), CTexts{"0:1"});
}

TEST_F(CStatusNotificationPusherTest, SelectorOfTwoMeansTheStationAlone)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->PushStatusNotification(2, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), CTexts{"0:1"});
}

TEST_F(CStatusNotificationPusherTest, NothingIsQueuedBeforeAcceptance)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(10s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "Attempted to push StatusNotification before ExternalChargeApproval, not pushing..."),
            1U);
}

TEST_F(CStatusNotificationPusherTest, WithSeveralBackofficesAndNoneEnabledAWarningIsAll)
{
  Add(kPrimary);
  Add(kAuxiliary);
  mOcpp->PushStatusNotification(1, {});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Trying Pushing Status Notification but no backoffices enabled"), 1U);
}

TEST_F(CStatusNotificationPusherTest, OnlyBackofficesThatDifferAreTold)
{
  const auto primary = AddAccepted(kPrimary);
  const auto auxiliary = AddAccepted(kAuxiliary);
  auxiliary->SetConfirmedStatus(1, 1);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:1"}));
  EXPECT_EQ(TakeStatuses(*auxiliary), CTexts{"0:1"});
}

TEST_F(CStatusNotificationPusherTest, WhoComesOnlineIsToldWhatItHasNotConfirmedOfTheStation)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  TakeStatuses(*primary);
  mSession->state = 2;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  primary->TakeOperations();  // lost with the link
  mOcpp->PushStatusNotification(0, {kPrimary});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:2", "1:2"}));
  mOcpp->PushStatusNotification(0, {kPrimary});
  mClock.AdvanceBy(2s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
}

TEST_F(CStatusNotificationPusherTest, BackofficeThatIsAcceptedLaterHearsOfTheStationToo)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->PushStatusNotification(0, {kPrimary});
  mClock.AdvanceBy(2s);
  TakeStatuses(*primary);
  const auto auxiliary = AddAccepted(kAuxiliary);
  mOcpp->PushStatusNotification(0, {kAuxiliary});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*auxiliary), (CTexts{"0:1", "1:1"}));
  EXPECT_TRUE(TakeStatuses(*primary).empty());
}

TEST_F(CStatusNotificationPusherTest, PushThatWaitsIsWidenedByTheNextOneAndNotReplaced)
{
  const auto primary = AddAccepted(kPrimary);
  const auto auxiliary = AddAccepted(kAuxiliary);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(1s);
  mOcpp->PushStatusNotification(2, {kPrimary});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:1"}));
  EXPECT_EQ(TakeStatuses(*auxiliary), (CTexts{"0:1", "1:1"}));
}

TEST_F(CStatusNotificationPusherTest, StateThatChangesBackWhileTheOtherOneIsUnderWayIsToldAgain)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->PushStatusNotification(0, {kPrimary});
  mClock.AdvanceBy(2s);
  TakeStatuses(*primary);
  mSession->state = 4;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  mSession->state = 1;
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"1:4", "1:1"})) << "1 is what was confirmed before";
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
}

TEST_F(CStatusNotificationPusherTest, FatalErrorIsToldOnceAndEndsNormalPushes)
{
  const auto primary = AddAccepted(kPrimary);
  mDiagnostics->errors[0] = {1104};
  mDiagnostics->warnings[0] = {10101};
  mOcpp->PushFatalStatusNotification();
  mOcpp->PushFatalStatusNotification();
  EXPECT_EQ(mLog.Count("Fatal error already scheduled/pushed, ignoring new push"), 1U);
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(1s);
  EXPECT_EQ(TakeStatuses(*primary), CTexts{"0:10:1104:10101"});
  EXPECT_TRUE(mLog.Contains("Sending fatal error from BoardControl"));
  EXPECT_TRUE(primary->IsFatalSent());
  mOcpp->PushStatusNotification(0, {kPrimary});
  mClock.AdvanceBy(10s);
  EXPECT_TRUE(TakeStatuses(*primary).empty()) << "nor does it come again with the next connection";
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "Skipping normal status notification push, fatal error already scheduled/pushed"),
            1U);
}

TEST_F(CStatusNotificationPusherTest, FatalErrorWaitsForAcceptance)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  mDiagnostics->errors[0] = {1104};
  mOcpp->PushFatalStatusNotification();
  mClock.AdvanceBy(3s);
  EXPECT_EQ(mLog.Count("Fatal error but not accepted yet, rescheduling push"), 3U);
  primary->SetStatus(EOcppStatus::EAccepted);
  mClock.AdvanceBy(1s);
  EXPECT_EQ(TakeStatuses(*primary), CTexts{"0:10:1104"});
}

TEST_F(CStatusNotificationPusherTest, FatalErrorThatWasSentWhileAnotherWaitedIsNotSentAgain)
{
  const auto primary = AddAccepted(kPrimary);
  mDiagnostics->errors[0] = {1104};
  mOcpp->PushFatalStatusNotification();
  primary->SetFatalSent(true);
  mClock.AdvanceBy(1s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
  EXPECT_EQ(mLog.Count("Fatal error already sent, ignoring further status changes"), 1U);
}

TEST_F(CStatusNotificationPusherTest, FatalErrorThatIsClearedInTimeIsNotTold)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->PushFatalStatusNotification();
  mClock.AdvanceBy(1s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
  EXPECT_TRUE(mLog.Contains("Error list empty, cancelling fatal error"));
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:1"}));
}

TEST_F(CStatusNotificationPusherTest, PushesThatAFatalErrorHeldBackAreMadeUpForWhenNothingComesOfIt)
{
  const auto primary = AddAccepted(kPrimary);
  mConfig->SetInt("MinimumStatusDuration", 0);
  mOcpp->PushFatalStatusNotification();
  mOcpp->PushStatusNotification(0, {kPrimary});
  mClock.AdvanceBy(500ms);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
  mClock.AdvanceBy(500ms);
  EXPECT_TRUE(mLog.Contains("Error list empty, cancelling fatal error"));
  EXPECT_EQ(TakeStatuses(*primary), (CTexts{"0:1", "1:1"}));
}

TEST_F(CStatusNotificationPusherTest, FatalErrorThatWasLostIsToldToWhoComesOnline)
{
  const auto primary = AddAccepted(kPrimary);
  mDiagnostics->errors[0] = {1104};
  mOcpp->PushFatalStatusNotification();
  mClock.AdvanceBy(1s);
  primary->TakeOperations();  // lost with the link
  mDiagnostics->errors[0].clear();
  mOcpp->PushStatusNotification(1, {});
  mClock.AdvanceBy(2s);
  EXPECT_TRUE(TakeStatuses(*primary).empty());
  for (const auto& expected : {CTexts{"0:10:1104"}, CTexts{}}) {
    mOcpp->PushStatusNotification(0, {kPrimary});
    mClock.AdvanceBy(2s);
    EXPECT_EQ(TakeStatuses(*primary), expected);
  }
}

TEST_F(CStatusNotificationPusherTest, FatalErrorThatNobodyTookIsTriedAgain)
{
  const auto primary = AddAccepted(kPrimary);
  mDiagnostics->errors[0] = {1104};
  mOcpp->PushFatalStatusNotification();
  primary->SetEnabled(false);
  mClock.AdvanceBy(3s);
  EXPECT_FALSE(primary->IsFatalSent());
  EXPECT_EQ(mLog.Count("Fatal error could not be queued, rescheduling push"), 3U);
  primary->SetEnabled(true);
  mClock.AdvanceBy(1s);
  EXPECT_EQ(TakeStatuses(*primary), CTexts{"0:10:1104"});
  EXPECT_TRUE(primary->IsFatalSent());
}

TEST_F(CStatusNotificationPusherTest, FatalErrorWithoutAnEnabledBackofficeIsLogged)
{
  mOcpp->PushFatalStatusNotification();
  EXPECT_TRUE(mLog.Contains("Trying to push Fatal status notification but no backoffices enabled"));
}

TEST_F(CStatusNotificationPusherTest, StationIsAvailableUnlessUnavailableOrFaulted)
{
  for (int32_t state = 0; state <= 13; ++state) {
    const int32_t expected = state == 2 || state == 10 ? state : 1;
    EXPECT_EQ(mOcpp->GetSystemSessionState(state), expected) << state;
  }
}

}  // namespace

// Calls into the session manager, and what becomes of them when it cannot be reached.

#include "platform/clock/timetext.h"
#include "platform/iipc/timestamp.h"
#include "tests/unit/src/components/sessionclienthandler/sessionclientfixture.h"

namespace {

class SessionCalls : public CSessionClientTest {
 protected:
  static constexpr auto kPrimary = EBackofficeId::EPrimary;
};

ipc::MAuthorizeRequest Request()
{
  ipc::MAuthorizeRequest request;
  request.set_request_id("request-7");
  return request;
}

}  // namespace

TEST_F(SessionCalls, AuthorizeRequestIsPassedOn)
{
  EXPECT_TRUE(mHandler->HandleAuthorizeRequest(Request()));
  ASSERT_EQ(mSessionManager->AuthorizeRequests().size(), 1U);
  EXPECT_EQ(mSessionManager->AuthorizeRequests().front().request_id(), "request-7");
}

TEST_F(SessionCalls, AuthorizeRequestThatTheSessionCannotTakeIsFalse)
{
  mSessionManager->SetResult(ipc::EResultIllegal);
  EXPECT_FALSE(mHandler->HandleAuthorizeRequest(Request()));
}

TEST_F(SessionCalls, DeauthorizationNamesConnectorAndReason)
{
  for (const auto reason :
       {EDeauthorizeReason::EDeauthorized, EDeauthorizeReason::EStopEnergy, EDeauthorizeReason::ERemoteStop,
        EDeauthorizeReason::EUnlockCommand, EDeauthorizeReason::EHardReset, EDeauthorizeReason::ESoftReset,
        EDeauthorizeReason::ERegistrationLost}) {
    mHandler->DeauthorizeSession(reason);
  }
  std::vector<int> reasons;
  for (const auto& [connector, reason] : mSessionManager->Deauthorizations()) {
    EXPECT_EQ(connector, 1U);
    reasons.push_back(reason);
  }
  EXPECT_EQ(reasons, (std::vector<int>{1, 2, 3, 4, 5, 6, 9}));
}

TEST_F(SessionCalls, AuthorizeHandleComesFromTheSessionManager)
{
  mSessionManager->SetAuthorizeHandle("handle");
  EXPECT_EQ(mHandler->GetAuthorizeHandle(), "handle");
}

TEST_F(SessionCalls, ReservationCarriesConnectorTagIdAndExpiry)
{
  EXPECT_TRUE(mHandler->ReserveConnector("TAG", 12, "2026-01-15T12:00:00Z"));
  ASSERT_EQ(mSessionManager->Reservations().size(), 1U);
  const auto reservation = mSessionManager->Reservations().front();
  EXPECT_EQ(reservation.connector(), 1U);
  EXPECT_EQ(reservation.id_tag(), "TAG");
  EXPECT_EQ(reservation.id(), 12);
  EXPECT_EQ(ToTimeText(ToSystemClock(reservation.expiry_date())), "2026-01-15T12:00:00Z");
}

TEST_F(SessionCalls, ReservationWithoutReadableExpiryHasNone)
{
  mHandler->ReserveConnector("TAG", 12, "tomorrow");
  EXPECT_FALSE(mSessionManager->Reservations().front().has_expiry_date());
}

TEST_F(SessionCalls, AvailabilityStorageAndUnlockAreToldAndGiveTheResult)
{
  EXPECT_TRUE(mHandler->SetConnectorAvailability(false));
  EXPECT_TRUE(mHandler->SetMessageStorageAvailable(false));
  EXPECT_TRUE(mHandler->RequestUnlock(0));
  EXPECT_EQ(mSessionManager->Availabilities(), (std::vector<std::pair<uint32_t, bool>>{{1, false}}));
  EXPECT_EQ(mSessionManager->MessageStorageAvailabilities(), std::vector<bool>{false});
  EXPECT_EQ(mSessionManager->UnlockRequests(), std::vector<uint32_t>{0});
  mSessionManager->SetResult(ipc::EResultIllegal);
  EXPECT_FALSE(mHandler->SetConnectorAvailability(true));
  EXPECT_FALSE(mHandler->SetMessageStorageAvailable(true));
  EXPECT_FALSE(mHandler->RequestUnlock(1));
  EXPECT_FALSE(mHandler->ReserveConnector("TAG", 1, "2026-01-15T12:00:00Z"));
}

TEST_F(SessionCalls, ChargeApprovalOfThePrimaryIsSentAndThatOfTheAuxiliaryIsNot)
{
  EXPECT_TRUE(mHandler->SetExternalChargeApproval(true, kPrimary));
  EXPECT_EQ(mSessionManager->ExternalChargeApprovals(), std::vector<bool>{true});
  EXPECT_TRUE(mHandler->SetExternalChargeApproval(false, EBackofficeId::EAuxiliary));
  EXPECT_EQ(mSessionManager->ExternalChargeApprovals().size(), 1U);
  mSessionManager->SetResult(ipc::EResultIllegal);
  EXPECT_FALSE(mHandler->SetExternalChargeApproval(true, kPrimary));
}

TEST_F(SessionCalls, ParentIdTagIsToldWithItsConnector)
{
  mHandler->SetParentIdTag("");
  mHandler->SetParentIdTag("GROUP");
  EXPECT_EQ(mSessionManager->ParentIdTags(), (std::vector<std::pair<uint32_t, std::string>>{{1, ""}, {1, "GROUP"}}));
}

TEST_F(SessionCalls, IdTagComesFromTheConnectorAndIsEmptyWhenAbsent)
{
  EXPECT_EQ(mHandler->GetSessionIdTag(), "");
  ipc::MConnectorInfo info;
  info.set_id_tag("TAG");
  mSessionManager->SetConnectorInfo(info);
  EXPECT_EQ(mHandler->GetSessionIdTag(), "TAG");
}

TEST_F(SessionCalls, EveryStateIsClassifiedAsTheTableSays)
{
  struct SRow {
    int32_t state;
    bool isActive;
    bool isCharging;
    bool isReportable;
    int32_t system;
  };
  const SRow rows[] = {
      {0, false, false, false, 0}, {1, false, false, true, 1},   {2, false, false, true, 2},
      {3, false, false, true, 1},  {4, true, false, true, 1},    {5, true, false, true, 1},
      {6, true, true, true, 1},    {7, true, true, true, 1},     {8, true, true, true, 1},
      {9, true, false, true, 1},   {10, false, false, true, 10}, {11, true, false, false, 1},
      {12, true, false, false, 1}, {13, true, false, false, 13},
  };
  for (const auto& row : rows) {
    mSessionManager->SetConnectorState(static_cast<ipc::EConnectorState>(row.state));
    EXPECT_EQ(mHandler->GetConnectorState(), row.state);
    EXPECT_EQ(mHandler->IsSessionActive(), row.isActive) << row.state;
    EXPECT_EQ(mHandler->IsCharging(), row.isCharging) << row.state;
    EXPECT_EQ(mHandler->IsReportable(row.state), row.isReportable) << row.state;
    EXPECT_EQ(mHandler->MapToSystemState(row.state), row.system) << row.state;
  }
}

TEST_F(SessionCalls, UnreachableSessionManagerIsStateZeroAndNoSession)
{
  mSessionManager->SetConnectorState(ipc::EConnectorStateCharging);
  mSessionManager->SetUnreachable("gone");
  EXPECT_EQ(mHandler->GetConnectorState(), 0);
  EXPECT_FALSE(mHandler->IsSessionActive());
  EXPECT_FALSE(mHandler->IsCharging());
}

TEST_F(SessionCalls, EveryCallSurvivesAnUnreachableSessionManagerAndLogsIt)
{
  mSessionManager->SetUnreachable("gone");
  EXPECT_FALSE(mHandler->HandleAuthorizeRequest(Request()));
  mHandler->DeauthorizeSession(EDeauthorizeReason::EDeauthorized);
  EXPECT_EQ(mHandler->GetAuthorizeHandle(), "");
  EXPECT_FALSE(mHandler->ReserveConnector("TAG", 1, "2026-01-15T12:00:00Z"));
  EXPECT_FALSE(mHandler->SetConnectorAvailability(true));
  EXPECT_FALSE(mHandler->SetMessageStorageAvailable(true));
  EXPECT_FALSE(mHandler->RequestUnlock(1));
  EXPECT_FALSE(mHandler->SetExternalChargeApproval(true, kPrimary));
  mHandler->SetParentIdTag("GROUP");
  EXPECT_EQ(mHandler->GetConnectorState(), 0);
  EXPECT_EQ(mHandler->GetSessionIdTag(), "");
  EXPECT_EQ(mSessionManager->Calls().size(), 11U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with SessionManager, error: gone"), 11U);
}

TEST_F(SessionCalls, WordsThatAnUnreachableSessionManagerMissedAreToldWhenItIsHeardOfAgain)
{
  mSessionManager->SetUnreachable("gone");
  EXPECT_FALSE(mHandler->SetMessageStorageAvailable(false));
  EXPECT_FALSE(mHandler->SetMessageStorageAvailable(true));
  EXPECT_FALSE(mHandler->SetExternalChargeApproval(true, kPrimary));
  mSessionManager->SetReachable();
  const auto missed = mSessionManager->MessageStorageAvailabilities().size();
  mHandler->HandleStateChanged({});
  const auto words = mSessionManager->MessageStorageAvailabilities();
  ASSERT_EQ(words.size(), missed + 1);
  EXPECT_TRUE(words.back());
  EXPECT_EQ(mSessionManager->ExternalChargeApprovals(), std::vector<bool>{true});
}

TEST_F(SessionCalls, WordsThatTheSessionManagerHasAreNotRepeated)
{
  mHandler->SetMessageStorageAvailable(false);
  mHandler->SetExternalChargeApproval(true, kPrimary);
  mHandler->HandleStateChanged({});
  EXPECT_EQ(mSessionManager->MessageStorageAvailabilities(), std::vector<bool>{false});
  EXPECT_EQ(mSessionManager->ExternalChargeApprovals(), std::vector<bool>{true});
}

// What SendLocalList answers, and what it makes of the list.

#include "tests/unit/src/components/operation/ocpp16/implementation/locallistfixture.h"

using namespace std::chrono_literals;

namespace {

using EStatus = EAuthorizationStatus;
using Ocpp16::SendLocalList::EUpdateStatus;
using Ocpp16::SendLocalList::EUpdateType;
using Ocpp16::SendLocalList::sendLocalListRequest;
using Ocpp16::SendLocalList::sendLocalListResponse;

class SendLocalList : public CLocalListTest {
 protected:
  size_t CountErrors(const std::string& text) const { return mLog.Count(Log::ELogLevel::EError, text); }
};

class COpenSendLocalList : public CSendLocalListInCall {
 public:
  using CSendLocalListInCall::Action;
  using CSendLocalListInCall::CSendLocalListInCall;
};

}  // namespace

TEST_F(SendLocalList, FullReplacesTheList)
{
  EXPECT_EQ(Send(Full(1, Tag("OLD") + "," + Tag("BOTH"))), "Accepted");
  EXPECT_EQ(Send(Full(2, Tag("BOTH", R"({"status":"Blocked"})") + "," + Tag("NEW"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListVersion(), 2);
  EXPECT_EQ(mManager->GetLocalListSize(), 2u);
  EXPECT_FALSE(mManager->IsInLocalList("OLD"));
  EXPECT_EQ(mManager->list->Find("BOTH")->GetStatus(), EStatus::EBlocked);
  EXPECT_TRUE(mManager->IsInLocalList("NEW"));
  EXPECT_EQ(mLog.Count("SendLocalList: Call received"), 2u);
  EXPECT_EQ(mLog.Count("SendLocalList: Full update"), 2u);
  EXPECT_FALSE(mLog.Contains("SendLocalList: Differential update"));
}

TEST_F(SendLocalList, EntriesComeWithStatusParentAndExpiry)
{
  EXPECT_EQ(
      Send(Full(1, Tag("A", R"({"status":"ConcurrentTx","parentIdTag":"P","expiryDate":"2030-01-15T10:15:00Z"})") +
                       "," + Tag("B", R"({"status":"Expired"})") + "," + Tag("C", R"({"status":"Invalid"})"))),
      "Accepted");
  auto entry = mManager->list->Find("A");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->GetStatus(), EStatus::EConcurrentTx);
  EXPECT_EQ(entry->GetParentId(), "P");
  EXPECT_EQ(entry->GetExpiry(), ParseTimeText("2030-01-15T10:15:00Z"));
  EXPECT_EQ(entry->GetEntryDate(), mClock.SystemNow());
  EXPECT_EQ(mManager->list->Find("B")->GetStatus(), EStatus::EExpired);
  EXPECT_EQ(mManager->list->Find("C")->GetStatus(), EStatus::EInvalid);
  EXPECT_EQ(mManager->list->Find("C")->GetParentId(), "");
  EXPECT_FALSE(mManager->list->Find("C")->GetExpiry());
}

TEST_F(SendLocalList, ConcurrentTxEntryIsAuthorized)
{
  Send(Full(1, Tag("TAG", R"({"status":"ConcurrentTx"})")));
  EXPECT_TRUE(mManager->list->Find("TAG")->IsAuthorized(mClock.SystemNow()));
}

TEST_F(SendLocalList, FullMayLowerTheVersion)
{
  Send(Full(9, Tag("A")));
  EXPECT_EQ(Send(Full(3, Tag("B"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListVersion(), 3);
}

TEST_F(SendLocalList, FullWithAnEmptyListAndVersion5LeavesVersion0)
{
  Send(Full(4, Tag("A")));
  EXPECT_EQ(Send(Full(5, "")), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 0u);
  EXPECT_EQ(mManager->GetLocalListVersion(), 0);
  Restart();
  EXPECT_EQ(mManager->GetLocalListVersion(), 0);
  EXPECT_EQ(mManager->GetLocalListSize(), 0u);
}

TEST_F(SendLocalList, FullWithoutAnyListEmptiesIt)
{
  Send(Full(4, Tag("A")));
  EXPECT_EQ(Send(R"({"listVersion":5,"updateType":"Full"})"), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 0u);
}

TEST_F(SendLocalList, DifferentialAddsUpdatesAndRemoves)
{
  Send(Full(1, Tag("KEEP") + "," + Tag("CHANGE") + "," + Tag("GO")));
  EXPECT_EQ(Send(Differential(2, Tag("CHANGE", R"({"status":"Blocked"})") + "," + Removal("GO") + "," + Tag("NEW"))),
            "Accepted");
  EXPECT_EQ(mManager->GetLocalListVersion(), 2);
  EXPECT_EQ(mManager->GetLocalListSize(), 3u);
  EXPECT_TRUE(mManager->IsInLocalList("KEEP"));
  EXPECT_EQ(mManager->list->Find("CHANGE")->GetStatus(), EStatus::EBlocked);
  EXPECT_FALSE(mManager->IsInLocalList("GO"));
  EXPECT_TRUE(mManager->IsInLocalList("NEW"));
  EXPECT_EQ(mLog.Count("SendLocalList: Differential update"), 1u);
}

TEST_F(SendLocalList, DifferentialOfThePresentVersionIsAVersionMismatchAndNothingChanges)
{
  Send(Full(5, Tag("TAG")));
  const auto before = mStore->GetState();
  EXPECT_EQ(Send(Differential(5, Removal("TAG") + "," + Tag("NEW"))), "VersionMismatch");
  EXPECT_EQ(CountErrors("SendLocalList: Differential update with lower or equal list version: 5 (current: 5)"), 1u);
  EXPECT_TRUE(mManager->IsInLocalList("TAG"));
  EXPECT_FALSE(mManager->IsInLocalList("NEW"));
  EXPECT_EQ(mManager->GetLocalListVersion(), 5);
  EXPECT_EQ(mStore->GetState(), before);
}

TEST_F(SendLocalList, DifferentialOfALowerVersionIsAVersionMismatch)
{
  Send(Full(5, Tag("TAG")));
  EXPECT_EQ(Send(Differential(4, "")), "VersionMismatch");
  EXPECT_EQ(CountErrors("SendLocalList: Differential update with lower or equal list version: 4 (current: 5)"), 1u);
}

TEST_F(SendLocalList, DifferentialToAnEmptyListIsComparedWithVersion0)
{
  Send(Full(5, ""));
  EXPECT_EQ(Send(Differential(-7, Tag("TAG"))), "VersionMismatch");
  EXPECT_EQ(CountErrors("SendLocalList: Differential update with lower or equal list version: -7 (current: 0)"), 1u);
  EXPECT_EQ(Send(Differential(3, Tag("TAG"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListVersion(), 3);
}

TEST_F(SendLocalList, RemovalOfAnIdThatIsNotInTheListDoesNothingButCountsAsNew)
{
  mConfig->SetInt("LocalAuthListMaxLength", 1);
  EXPECT_EQ(Send(Full(1, Tag("A"))), "Accepted");
  EXPECT_EQ(Send(Differential(2, Removal("B"))), "Failed");
  EXPECT_EQ(CountErrors("SendLocalList: Differential update request failed: 1 new entries will exceed maximum local "
                        "list size of 1, current length: 1"),
            1u);
  EXPECT_EQ(mManager->GetLocalListVersion(), 1);
  mConfig->SetInt("LocalAuthListMaxLength", 2);
  EXPECT_EQ(Send(Differential(2, Removal("B"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 1u);
  EXPECT_EQ(mManager->GetLocalListVersion(), 2);
}

TEST_F(SendLocalList, DifferentialMayFillTheListToItsMaximumAndNotBeyond)
{
  mConfig->SetInt("LocalAuthListMaxLength", 3);
  Send(Full(1, Tag("A") + "," + Tag("B")));
  EXPECT_EQ(Send(Differential(2, Tag("C") + "," + Tag("D"))), "Failed");
  EXPECT_EQ(CountErrors("SendLocalList: Differential update request failed: 2 new entries will exceed maximum local "
                        "list size of 3, current length: 2"),
            1u);
  EXPECT_FALSE(mManager->IsInLocalList("C"));
  EXPECT_EQ(mManager->GetLocalListVersion(), 1);
  EXPECT_EQ(Send(Differential(2, Tag("C"))), "Accepted");
  EXPECT_EQ(Send(Differential(3, Removal("A") + "," + Tag("D") + "," + Tag("B"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 3u);
}

TEST_F(SendLocalList, RemovalsBeyondTheLengthOfTheListAreNoOverflow)
{
  mConfig->SetInt("LocalAuthListMaxLength", 3);
  Send(Full(1, Tag("A")));
  EXPECT_EQ(Send(Differential(2, Removal("A") + "," + Removal("A") + "," + Removal("A"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 0u);
}

TEST_F(SendLocalList, CounterOfNewEntriesWrapsAt256)
{
  mConfig->SetInt("LocalAuthListMaxLength", 100);
  EXPECT_EQ(Send(Differential(1, Tags(255, "A"))), "Failed");
  EXPECT_EQ(CountErrors("SendLocalList: Differential update request failed: 255 new entries will exceed maximum local "
                        "list size of 100, current length: 0"),
            1u);
  EXPECT_EQ(Send(Differential(1, Tags(256, "A"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 256u);
  // The list is over its maximum now, and nothing more goes in.
  EXPECT_EQ(Send(Differential(2, Tags(256, "B"))), "Failed");
  EXPECT_EQ(CountErrors("SendLocalList: Differential update request failed: 0 new entries will exceed maximum local "
                        "list size of 100, current length: 256"),
            1u);
}

TEST_F(SendLocalList, CounterOfRemovalsWrapsAt256)
{
  Send(Full(1, Tags(300, "A")));
  mConfig->SetInt("LocalAuthListMaxLength", 299);
  std::string removals;
  for (int i = 0; i < 256; ++i) removals += (i == 0 ? "" : ",") + Removal("A" + std::to_string(i));
  EXPECT_EQ(Send(Differential(2, removals)), "Failed");
  EXPECT_EQ(mManager->GetLocalListSize(), 300u);
  EXPECT_EQ(Send(Differential(2, removals + "," + Removal("A256"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 43u);
}

TEST_F(SendLocalList, FullBeyondTheMaximumFailsAndTheListStays)
{
  mConfig->SetInt("LocalAuthListMaxLength", 3);
  EXPECT_EQ(Send(Full(1, Tags(3, "A"))), "Accepted");
  EXPECT_EQ(Send(Full(2, Tags(4, "B"))), "Failed");
  EXPECT_EQ(CountErrors("Size of the incoming full list is 4, exceeds maximum local list size of 3"), 1u);
  EXPECT_EQ(mManager->GetLocalListVersion(), 1);
  EXPECT_TRUE(mManager->IsInLocalList("A0"));
  EXPECT_EQ(mManager->GetLocalListSize(), 3u);
}

TEST_F(SendLocalList, VersionsZeroAndMinusOneFail)
{
  for (const int64_t version : {0, -1}) {
    for (const char* type : {"Full", "Differential"}) {
      EXPECT_EQ(Send(Request(type, version, Tag("TAG"))), "Failed");
    }
    EXPECT_EQ(CountErrors("SendLocalList: Can't handle list version " + std::to_string(version) + ": Invalid"), 2u);
  }
  EXPECT_EQ(mManager->GetLocalListSize(), 0u);
}

TEST_F(SendLocalList, ListThatIsNotEnabledIsNotSupported)
{
  mManager->list.reset();
  EXPECT_EQ(Send(Full(1, Tag("TAG"))), "NotSupported");
  EXPECT_EQ(CountErrors("SendLocalList: Local authorization list not enabled"), 1u);
}

TEST_F(SendLocalList, StationWithoutAnAuthorizationManagerHasNoList)
{
  mAccess.RegisterHandle(std::shared_ptr<IAuthorizationManager>());
  EXPECT_EQ(Send(Full(1, Tag("TAG"))), "NotSupported");
  EXPECT_EQ(CountErrors("SendLocalList: Local authorization list not enabled"), 1u);
}

TEST_F(SendLocalList, MaximumThatIsNotConfiguredIsAnInternalErrorAndTheListStays)
{
  mConfig->Remove("LocalAuthListMaxLength");
  CSendLocalListInCall operation(&mAccess, "id", mUpdates);
  EXPECT_EQ(operation.Execute(Full(1, Tag("TAG"))).rfind(R"([4,"id","InternalError",)", 0), 0u);
  operation.PostAction();
  AwaitStored();
  EXPECT_EQ(mManager->GetLocalListSize(), 0u);
}

TEST_F(SendLocalList, UpdateTypeOutsideOfTheTwoFails)
{
  sendLocalListRequest request;
  request.listVersion = 1;
  request.updateType = static_cast<EUpdateType>(2);
  sendLocalListResponse response;
  COpenSendLocalList(&mAccess, "id", mUpdates).Action(request, response);
  EXPECT_EQ(response.status, EUpdateStatus::EFailed);
  EXPECT_EQ(CountErrors("Unknown OCPP SendLocalList update type"), 1u);
}

TEST_F(SendLocalList, StatusOutOfRangeIsLoggedAndCountsAsInvalid)
{
  sendLocalListRequest request;
  request.listVersion = 1;
  request.updateType = EUpdateType::EFull;
  request.localAuthorizationList.emplace(1);
  auto& entry = request.localAuthorizationList->front();
  entry.idTag = "TAG";
  entry.idTagInfo.emplace();
  entry.idTagInfo->status = static_cast<Ocpp16::IdTagInfoCommon::EAuthorizationStatus>(5);
  sendLocalListResponse response;
  COpenSendLocalList(&mAccess, "id", mUpdates).Action(request, response);
  EXPECT_EQ(response.status, EUpdateStatus::EAccepted);
  EXPECT_EQ(mManager->list->Find("TAG")->GetStatus(), EStatus::EInvalid);
  EXPECT_EQ(mLog.Count("ocppAuthStatus out of range: 5"), 1u);
}

TEST_F(SendLocalList, ResponseStatusesHaveTheirNumbers)
{
  EXPECT_EQ(static_cast<int>(EUpdateStatus::EAccepted), 0);
  EXPECT_EQ(static_cast<int>(EUpdateStatus::EFailed), 1);
  EXPECT_EQ(static_cast<int>(EUpdateStatus::ENotSupported), 2);
  EXPECT_EQ(static_cast<int>(EUpdateStatus::EVersionMismatch), 3);
}

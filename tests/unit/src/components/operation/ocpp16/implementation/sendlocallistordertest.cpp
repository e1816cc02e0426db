// When SendLocalList's list is stored, on which thread, and what a kill or a second request in between does.

#include <atomic>
#include <thread>

#include "platform/clock/realclock.h"
#include "platform/clock/thread.h"
#include "src/components/operation/ocpp16/operationfactory.h"
#include "tests/unit/src/components/operation/ocpp16/implementation/locallistfixture.h"

using namespace std::chrono_literals;

namespace {

class SendLocalListOrder : public CLocalListTest {
 protected:
  // Lets the thread that stores the list take so long.
  void DelayWrites(std::chrono::seconds duration)
  {
    mManager->beforeWrite = [this, duration] {
      CMutex mutex;
      CCondition never;
      CLock lock(mutex);
      const auto deadline = mClock.SteadyNow() + duration;
      while (mClock.SteadyNow() < deadline) mClock.WaitUntil(lock, never, deadline);
    };
  }
  bool IsStored(const std::string& id) const { return mStore->HasKey(id); }
};

}  // namespace

TEST_F(SendLocalListOrder, ListIsInForceWithTheAnswerAndStoredAfterItOnAThreadOfItsOwn)
{
  DelayWrites(5s);
  CSendLocalListInCall operation(&mAccess, "id", mUpdates);
  EXPECT_EQ(StatusOf(operation.Execute(Full(1, Tag("TAG")))), "Accepted");
  EXPECT_TRUE(mManager->IsInLocalList("TAG"));
  mClock.AdvanceBy(10s);
  EXPECT_FALSE(IsStored("TAG"));
  operation.PostAction();
  EXPECT_FALSE(IsStored("TAG"));
  mClock.AdvanceBy(4s);
  EXPECT_FALSE(IsStored("TAG"));
  mClock.AdvanceBy(1s);
  EXPECT_TRUE(IsStored("TAG"));
}

TEST_F(SendLocalListOrder, OperationMayBeGoneBeforeItsListIsStored)
{
  DelayWrites(5s);
  {
    CSendLocalListInCall operation(&mAccess, "id", mUpdates);
    operation.Execute(Full(1, Tag("TAG")));
    operation.PostAction();
  }
  EXPECT_FALSE(IsStored("TAG"));
  mClock.AdvanceBy(5s);
  EXPECT_TRUE(IsStored("TAG"));
}

TEST_F(SendLocalListOrder, EndOfTheProcessWaitsForTheListThatIsBeingStored)
{
  DelayWrites(5s);
  auto factory = std::make_unique<COperationFactory>(&mAccess);
  auto operation = factory->CreateInOperation("id", EInOpType::ESendLocalList, EBackofficeId::EPrimary);
  ASSERT_NE(operation, nullptr);
  EXPECT_EQ(StatusOf(operation->Execute(Full(1, Tag("TAG")))), "Accepted");
  operation->PostAction();
  operation.reset();
  EXPECT_FALSE(IsStored("TAG"));
  factory.reset();
  EXPECT_TRUE(IsStored("TAG"));
}

TEST_F(SendLocalListOrder, NextUpdateWaitsUntilTheListBeforeItIsStored)
{
  DelayWrites(5s);
  COperationFactory factory(&mAccess);
  const auto first = factory.CreateInOperation("id", EInOpType::ESendLocalList, EBackofficeId::EPrimary);
  const auto second = factory.CreateInOperation("id", EInOpType::ESendLocalList, EBackofficeId::EAuxiliary);
  first->Execute(Full(1, Tag("FIRST")));
  first->PostAction();
  std::string answer;
  CThread auxiliary(mClock, "auxiliary", [&] {
    answer = second->Execute(Full(2, Tag("SECOND")));
    second->PostAction();
  });
  mClock.AdvanceBy(4s);
  EXPECT_TRUE(mManager->IsInLocalList("FIRST"));
  EXPECT_FALSE(mManager->IsInLocalList("SECOND"));
  mClock.AdvanceBy(1s);
  EXPECT_TRUE(IsStored("FIRST"));
  mClock.AdvanceBy(5s);
  auxiliary.Join();
  EXPECT_EQ(StatusOf(answer), "Accepted");
  EXPECT_FALSE(IsStored("FIRST"));
  EXPECT_TRUE(IsStored("SECOND"));
}

TEST_F(SendLocalListOrder, UpdateWhoseAnswerIsNeverSentGivesItsTurnBack)
{
  {
    CSendLocalListInCall operation(&mAccess, "id", mUpdates);
    operation.Execute(Full(1, Tag("FIRST")));
  }
  EXPECT_EQ(Send(Full(2, Tag("SECOND"))), "Accepted");
  EXPECT_TRUE(IsStored("SECOND"));
}

TEST_F(SendLocalListOrder, FailureToStoreIsLoggedAndTheNextUpdateHasItsTurn)
{
  mManager->beforeWrite = [] { throw std::runtime_error("no memory"); };
  EXPECT_EQ(Send(Full(1, Tag("FIRST"))), "Accepted");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Local authorization list could not be stored: no memory"), 1u);
  mManager->beforeWrite = nullptr;
  EXPECT_EQ(Send(Full(2, Tag("SECOND"))), "Accepted");
  EXPECT_TRUE(IsStored("SECOND"));
}

TEST_F(SendLocalListOrder, RefusedUpdateStoresTheListAsItIs)
{
  EXPECT_EQ(Send(Full(5, Tag("TAG"))), "Accepted");
  int writes = 0;
  mManager->beforeWrite = [&] { ++writes; };
  EXPECT_EQ(Send(Differential(5, Tag("NEW"))), "VersionMismatch");
  EXPECT_EQ(writes, 1);
  EXPECT_TRUE(IsStored("TAG"));
  EXPECT_FALSE(IsStored("NEW"));
}

TEST_F(SendLocalListOrder, KillBetweenAnswerAndWriteLeavesTheOldListWithItsVersion)
{
  EXPECT_EQ(Send(Full(1, Tag("OLD"))), "Accepted");
  {
    CSendLocalListInCall operation(&mAccess, "id", mUpdates);
    EXPECT_EQ(StatusOf(operation.Execute(Full(2, Tag("NEW")))), "Accepted");
  }
  Restart();
  EXPECT_EQ(mManager->GetLocalListVersion(), 1);
  EXPECT_TRUE(mManager->IsInLocalList("OLD"));
  EXPECT_FALSE(mManager->IsInLocalList("NEW"));
}

TEST_F(SendLocalListOrder, DiskFullAfterTheAnswerKeepsTheOldListForTheNextStart)
{
  EXPECT_EQ(Send(Full(1, Tag("OLD"))), "Accepted");
  mStore->GetMedium().FailAllWrites(true);
  EXPECT_EQ(Send(Full(2, Tag("NEW"))), "Accepted");
  EXPECT_TRUE(mManager->IsInLocalList("NEW"));
  Restart();
  EXPECT_EQ(mManager->GetLocalListVersion(), 1);
  EXPECT_TRUE(mManager->IsInLocalList("OLD"));
}

TEST_F(SendLocalListOrder, PowerCutAtAnyWriteOfASeriesOfUpdatesLeavesOneOfItsLists)
{
  const std::vector<std::string> series = {
      Full(3, Tags(40, "A")),
      Differential(4, Removal("A0") + "," + Tag("B")),
      Differential(7, Removal("B")),
      Full(2, Tags(7, "C")),
      Full(5, ""),
      Differential(6, Tag("D")),
  };
  for (uint64_t writes = 0; writes <= series.size(); ++writes) {
    mStore = std::make_shared<CFakeConfig>();
    mManager->list = std::make_unique<CLocalAuthorizationList>(mClock, mStore, 1000);
    mStore->GetMedium().CutPowerAfterWrite(writes);
    std::vector<CFakeConfig::CState> states = {mStore->GetState()};
    for (const auto& payload : series) {
      EXPECT_EQ(Send(payload), "Accepted");
      states.push_back(mStore->GetState());
    }
    EXPECT_EQ(mStore->GetMedium().GetWriteCount(), series.size());
    EXPECT_EQ(mStore->GetSurvivingState(), states.at(writes)) << writes;
    Restart();
    EXPECT_EQ(mManager->GetLocalListSize() + (writes == 0 ? 0 : 1), states.at(writes).size());
  }
}

TEST_F(SendLocalListOrder, TwoBackofficesAtOnceNeverMixTheirLists)
{
  constexpr int kRounds = 40;
  CRealClock clock;
  mAccess.RegisterClock(clock);
  std::atomic<int> mixed{0};
  mManager->beforeWrite = [&] {
    const bool hasFirst = mManager->IsInLocalList("P0");
    const bool hasSecond = mManager->IsInLocalList("S0");
    if (hasFirst == hasSecond || mManager->GetLocalListSize() != (hasFirst ? 20u : 30u)) ++mixed;
    if (mManager->GetLocalListVersion() % 2 != (hasFirst ? 0 : 1)) ++mixed;
  };
  auto factory = std::make_unique<COperationFactory>(&mAccess);
  const auto send = [&](EBackofficeId backoffice, const std::string& entries, int64_t firstVersion) {
    for (int round = 0; round < kRounds; ++round) {
      const auto operation = factory->CreateInOperation("id", EInOpType::ESendLocalList, backoffice);
      EXPECT_EQ(StatusOf(operation->Execute(Full(firstVersion + 2 * round, entries))), "Accepted");
      operation->PostAction();
    }
  };
  std::thread primary([&] { send(EBackofficeId::EPrimary, Tags(20, "P"), 2); });
  std::thread auxiliary([&] { send(EBackofficeId::EAuxiliary, Tags(30, "S"), 3); });
  primary.join();
  auxiliary.join();
  factory.reset();
  EXPECT_EQ(mixed, 0);
  EXPECT_EQ(mStore->GetState().size(), mManager->GetLocalListSize() + 1);
}

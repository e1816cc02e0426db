// What both stores of id tags have in common, seen through the cache.

#include <functional>
#include <thread>
#include <vector>

#include "platform/clock/timetext.h"
#include "tests/unit/src/components/authorization/authorizationlistfixture.h"

using namespace std::chrono_literals;

namespace {

using EStatus = EAuthorizationStatus;

class AuthorizeList : public CAuthorizationListTest {};

// A document that calls back while it is being written.
class CSlowConfig : public CFakeConfig {
 public:
  std::function<void()> duringWrite;

  bool Apply(const std::vector<std::string>& remove,
             const std::vector<std::pair<std::string, Json::Value>>& write) override
  {
    if (duringWrite) duringWrite();
    return CFakeConfig::Apply(remove, write);
  }
};

}  // namespace

TEST_F(AuthorizeList, UpdateOfAnUnknownIdInsertsIt)
{
  const auto list = OpenCache();
  EXPECT_FALSE(list->Contains("TAG"));
  list->Update(Entry("TAG", EStatus::EBlocked, {}, "PARENT"));
  EXPECT_TRUE(list->Contains("TAG"));
  EXPECT_FALSE(list->Contains("tag"));
  EXPECT_EQ(list->GetSize(), 1u);
  EXPECT_EQ(list->Find("TAG")->GetParentId(), "PARENT");
  EXPECT_EQ(mLog.Count("Adding entry to list/cache: TAG, status: 1"), 1u);
  EXPECT_FALSE(mLog.ContainsPart("Updating entry"));
}

TEST_F(AuthorizeList, UpdateOfAKnownIdReplacesAllButTheEntryDate)
{
  const auto list = OpenCache();
  const auto first = mClock.SystemNow();
  list->Update(Entry("TAG", EStatus::EAccepted, first + 1h, "PARENT"));
  mClock.AdvanceBy(10s);
  list->Update(Entry("TAG", EStatus::EConcurrentTx, first + 2h));
  const auto entry = list->Find("TAG");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->GetStatus(), EStatus::EConcurrentTx);
  EXPECT_EQ(entry->GetExpiry(), first + 2h);
  EXPECT_EQ(entry->GetParentId(), "");
  EXPECT_EQ(entry->GetEntryDate(), first);
  EXPECT_EQ(list->GetSize(), 1u);
  EXPECT_EQ(mLog.Count("Updating entry to list/cache: TAG, status: 2"), 1u);
  EXPECT_EQ(mLog.Count("Updating entry TAG with new status/expiry date"), 1u);
}

TEST_F(AuthorizeList, InsertOfAKnownIdIsLoggedAndLeavesTheTableAsItWas)
{
  const auto list = OpenCache();
  list->Insert(Entry("TAG", EStatus::EBlocked));
  list->Insert(Entry("TAG", EStatus::EAccepted));
  EXPECT_EQ(list->Find("TAG")->GetStatus(), EStatus::EBlocked);
  EXPECT_EQ(mLog.Count("Adding entry to list/cache: TAG, status: 0"), 1u);
  EXPECT_EQ(mLog.Count("Trying to insert entry TAG to AuthorizeCache/LocalList which was already known"), 1u);
}

TEST_F(AuthorizeList, FindLogsWhatItFound)
{
  const auto list = OpenCache();
  list->Update(Entry("TAG"));
  EXPECT_TRUE(list->Find("TAG"));
  EXPECT_FALSE(list->Find("OTHER"));
  EXPECT_EQ(mLog.Count("Found entry with id TAG"), 1u);
  EXPECT_EQ(mLog.Count("No entry found with id OTHER"), 1u);
}

TEST_F(AuthorizeList, DeletedEntryStaysInTheDocumentUntilTheNextWrite)
{
  const auto list = OpenCache();
  list->Update(Entry("TAG"));
  list->Update(Entry("OTHER"));
  list->WriteToStorage();
  list->Delete("TAG");
  EXPECT_EQ(mLog.Count("Deleting entry in the list/cache: TAG"), 1u);
  EXPECT_FALSE(list->Contains("TAG"));
  EXPECT_EQ(Stored().count("TAG"), 1u);
  list->WriteToStorage();
  EXPECT_EQ(Stored().count("TAG"), 0u);
  EXPECT_EQ(Stored().count("OTHER"), 1u);
  EXPECT_EQ(mLog.Count("Writing authorization list to persistent storage"), 2u);
  EXPECT_EQ(mLog.Count("Delete tag TAG from persistent storage."), 1u);
  EXPECT_FALSE(mLog.Contains("Delete tag OTHER from persistent storage."));
}

TEST_F(AuthorizeList, DeletionOfAnUnknownIdChangesNothing)
{
  const auto list = OpenCache();
  list->Update(Entry("TAG"));
  list->Delete("OTHER");
  EXPECT_EQ(list->GetSize(), 1u);
}

TEST_F(AuthorizeList, WholeListIsOneWrite)
{
  const auto list = OpenCache();
  for (int i = 0; i < 100; ++i) list->Update(Entry("TAG" + std::to_string(i)));
  EXPECT_EQ(mStore->GetMedium().GetWriteCount(), 0u);
  list->WriteToStorage();
  EXPECT_EQ(mStore->GetMedium().GetWriteCount(), 1u);
  EXPECT_EQ(Stored().size(), 100u);
}

TEST_F(AuthorizeList, DocumentHoldsTheStoredFormOfEachEntry)
{
  const auto list = OpenCache();
  const auto entry = Entry("TAG", EStatus::EBlocked, mClock.SystemNow() + 1h, "PARENT");
  list->Update(entry);
  list->WriteToStorage();
  EXPECT_EQ(Stored(), (CFakeConfig::CState{{"TAG", entry.ToJson()}}));
}

TEST_F(AuthorizeList, RestartBringsTheEntriesBackWithTheirEntryDates)
{
  const auto first = *ParseTimeText("2026-01-15T10:15:00Z");
  mClock.SetSystemTime(first);
  {
    const auto list = OpenCache();
    list->Update(Entry("TAG", EStatus::EConcurrentTx, first + 48h, "PARENT"));
    mClock.SetSystemTime(first + 1h);
    list->Update(Entry("TAG", EStatus::EConcurrentTx, first + 48h, "PARENT"));
    list->Update(Entry("OTHER"));
    list->WriteToStorage();
  }
  Restart();
  mClock.SetSystemTime(first + 24h);
  const auto list = OpenCache();
  EXPECT_EQ(list->GetSize(), 2u);
  const auto entry = list->Find("TAG");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->GetEntryDate(), first);
  EXPECT_EQ(entry->GetExpiry(), first + 48h);
  EXPECT_EQ(entry->GetStatus(), EStatus::EConcurrentTx);
  EXPECT_EQ(entry->GetParentId(), "PARENT");
  EXPECT_EQ(list->Find("OTHER")->GetEntryDate(), first + 1h);
}

TEST_F(AuthorizeList, DamagedEntriesStayWithTheirIdAloneAndAuthorizeNobody)
{
  Json::Value good(Json::objectValue);
  good["status"] = 0;
  mStore->Preset("GOOD", good);
  mStore->Preset("NULL", Json::Value());
  mStore->Preset("EMPTY", Json::Value(Json::objectValue));
  mStore->Preset("TEXT", "Accepted");
  const auto list = OpenCache();
  EXPECT_EQ(list->GetSize(), 4u);
  for (const std::string id : {"NULL", "EMPTY", "TEXT"}) {
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Invalid id " + id + " in persistent storage"), 1u);
    auto entry = list->Find(id);
    ASSERT_TRUE(entry) << id;
    EXPECT_EQ(entry->GetParentId(), "");
    EXPECT_FALSE(entry->IsAuthorized(mClock.SystemNow()));
  }
  EXPECT_TRUE(list->Find("GOOD")->IsAuthorized(mClock.SystemNow()));
  EXPECT_FALSE(mLog.Contains("Invalid id GOOD in persistent storage"));
}

TEST_F(AuthorizeList, DamagedEntryIsMendedByTheNextUpdate)
{
  mStore->Preset("TAG", "garbage");
  const auto list = OpenCache();
  list->Update(Entry("TAG"));
  list->WriteToStorage();
  Restart();
  mLog.Clear();
  EXPECT_TRUE(OpenCache()->Find("TAG")->IsAuthorized(mClock.SystemNow()));
  EXPECT_FALSE(mLog.ContainsPart("Invalid id"));
}

TEST_F(AuthorizeList, ExpiryFoundInACopyDoesNotChangeTheTable)
{
  const auto list = OpenCache();
  list->Update(Entry("TAG", EStatus::EAccepted, mClock.SystemNow() + 1s));
  mClock.AdvanceBy(2s);
  EXPECT_FALSE(list->Find("TAG")->IsAuthorized(mClock.SystemNow()));
  EXPECT_EQ(list->Find("TAG")->GetStatus(), EStatus::EAccepted);
}

TEST_F(AuthorizeList, WriteThatFailsLeavesTheFormerDocumentAndTheNextOneMakesUpForIt)
{
  const auto list = OpenCache();
  list->Update(Entry("A"));
  list->WriteToStorage();
  const auto before = Stored();
  list->Delete("A");
  list->Update(Entry("B"));
  mStore->GetMedium().FailWrite(1);
  list->WriteToStorage();
  EXPECT_EQ(Stored(), before);
  EXPECT_TRUE(list->Contains("B"));
  EXPECT_FALSE(list->Contains("A"));
  list->WriteToStorage();
  EXPECT_EQ(Stored().count("A"), 0u);
  EXPECT_EQ(Stored().count("B"), 1u);
}

TEST_F(AuthorizeList, ChangeOfAnEntryWhoseWriteFailedIsWrittenByTheNextOne)
{
  const auto list = OpenCache();
  list->Update(Entry("A"));
  list->Update(Entry("B"));
  list->WriteToStorage();
  list->Update(Entry("A", EStatus::EBlocked));
  mStore->GetMedium().FailWrite(1);
  list->WriteToStorage();
  list->Update(Entry("B", EStatus::EExpired));
  list->WriteToStorage();
  EXPECT_EQ(Stored()["A"], Entry("A", EStatus::EBlocked).ToJson());
  EXPECT_EQ(Stored()["B"], Entry("B", EStatus::EExpired).ToJson());
}

TEST_F(AuthorizeList, EntryThatLeftAndCameBackBetweenTwoWritesIsWrittenAnew)
{
  const auto list = OpenCache();
  list->Update(Entry("A"));
  list->WriteToStorage();
  list->Delete("A");
  list->Insert(Entry("A", EStatus::EBlocked));
  list->WriteToStorage();
  EXPECT_EQ(Stored()["A"], Entry("A", EStatus::EBlocked).ToJson());
}

TEST_F(AuthorizeList, EntriesThatTheDocumentHasLostAreWrittenAgain)
{
  const auto list = OpenCache();
  list->Update(Entry("A"));
  list->Update(Entry("B"));
  list->WriteToStorage();
  ASSERT_TRUE(mStore->DeleteKey("A"));
  list->WriteToStorage();
  EXPECT_EQ(Stored().size(), 2u);
}

TEST_F(AuthorizeList, DamagedEntryIsReplacedByTheNextWrite)
{
  mStore->Preset("TAG", "garbage");
  OpenCache()->WriteToStorage();
  EXPECT_EQ(Stored()["TAG"], Entry("TAG", EStatus::EInvalid).ToJson());
}

TEST_F(AuthorizeList, ClearThatCannotBeStoredForgetsInMemoryAllTheSame)
{
  const auto list = OpenCache();
  list->Update(Entry("A"));
  list->WriteToStorage();
  mStore->GetMedium().FailWrite(1);
  list->Clear();
  EXPECT_EQ(list->GetSize(), 0u);
  EXPECT_EQ(Stored().size(), 1u);
  list->WriteToStorage();
  EXPECT_TRUE(Stored().empty());
}

TEST_F(AuthorizeList, PowerCutAtAnyWriteLeavesAStateThatWasWritten)
{
  // Each step changes several entries at once.
  constexpr int kSteps = 12;
  const auto run = [this](CAuthorizationCache& list, std::vector<CFakeConfig::CState>& states) {
    states.push_back(mStore->GetState());
    for (int step = 0; step < kSteps; ++step) {
      if (step % 5 == 4) {
        list.Clear();
      } else {
        list.Delete("TAG" + std::to_string(step - 2));
        list.Update(Entry("TAG" + std::to_string(step)));
        list.Update(Entry("ALWAYS", step % 2 == 0 ? EStatus::EAccepted : EStatus::EBlocked));
        list.WriteToStorage();
      }
      states.push_back(mStore->GetState());
    }
  };
  for (uint64_t writes = 0; writes <= kSteps; ++writes) {
    mStore = std::make_shared<CFakeConfig>();
    mStore->GetMedium().CutPowerAfterWrite(writes);
    std::vector<CFakeConfig::CState> states;
    run(*OpenCache(), states);
    EXPECT_EQ(Stored(), states.at(writes)) << writes;
    const size_t size = Stored().size();
    Restart();
    EXPECT_EQ(OpenCache()->GetSize(), size);
  }
}

TEST_F(AuthorizeList, TagsAreLookedUpAndChangedWhileTheDocumentIsBeingWritten)
{
  const auto store = std::make_shared<CSlowConfig>();
  mStore = store;
  const auto list = OpenCache();
  list->Update(Entry("A"));
  int writes = 0;
  store->duringWrite = [&] {
    ++writes;
    EXPECT_TRUE(list->Contains("A"));
    list->Update(Entry("B"));
    EXPECT_EQ(list->GetSize(), 2u);
  };
  list->WriteToStorage();
  EXPECT_EQ(writes, 1);
  // The write had taken what was there before.
  EXPECT_EQ(Stored().count("A"), 1u);
  EXPECT_EQ(Stored().count("B"), 0u);
  store->duringWrite = [&] { EXPECT_EQ(list->GetSize(), 0u); };
  list->Clear();
  EXPECT_TRUE(Stored().empty());
}

TEST_F(AuthorizeList, ThreadsThatUpdateFindWriteAndClearAtOnceEndWithAWholeList)
{
  constexpr int kThreads = 4;
  constexpr int kRounds = 60;
  const auto list = OpenCache();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread, &list] {
      for (int round = 0; round < kRounds; ++round) {
        const std::string id = std::to_string(thread) + "-" + std::to_string(round);
        list->Update(Entry(id));
        list->Update(Entry("SHARED"));
        list->Find("SHARED");
        if (round % 3 == 0) list->WriteToStorage();
        if (round % 7 == 0) list->Delete(id);
        if (thread == 0 && round == kRounds / 2) list->Clear();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  list->WriteToStorage();
  EXPECT_EQ(Stored().size(), list->GetSize());
  for (const auto& [id, value] : Stored()) EXPECT_TRUE(list->Contains(id));
  // The others may have ended before the list was cleared.
  EXPECT_TRUE(list->Contains("0-" + std::to_string(kRounds - 1)));
  EXPECT_TRUE(list->Contains("SHARED"));
}

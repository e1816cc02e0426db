#include <functional>
#include <vector>

#include "tests/unit/src/components/authorization/authorizationlistfixture.h"

using namespace std::chrono_literals;

namespace {

using EStatus = EAuthorizationStatus;

class LocalAuthorizationList : public CAuthorizationListTest {
 protected:
  static std::string VersionLine(int64_t version)
  {
    return "Setting new local list version: " + std::to_string(version);
  }
};

}  // namespace

TEST_F(LocalAuthorizationList, MissingDocumentIsAnEmptyListOfVersionZero)
{
  const auto list = OpenList();
  EXPECT_EQ(list->GetSize(), 0u);
  EXPECT_EQ(list->GetVersion(), 0);
}

TEST_F(LocalAuthorizationList, VersionIsThatWhichWasSetLast)
{
  const auto list = OpenList();
  list->Update(Entry("TAG"));
  list->SetVersion(5);
  EXPECT_EQ(list->GetVersion(), 5);
  list->SetVersion(3);
  EXPECT_EQ(list->GetVersion(), 3);
  EXPECT_EQ(mLog.Count(VersionLine(5)), 1u);
  EXPECT_EQ(mLog.Count(VersionLine(3)), 1u);
}

TEST_F(LocalAuthorizationList, ZeroMinusOneAndThePresentVersionAreIgnored)
{
  const auto list = OpenList();
  list->Update(Entry("TAG"));
  list->SetVersion(5);
  list->SetVersion(0);
  list->SetVersion(-1);
  list->SetVersion(5);
  EXPECT_EQ(list->GetVersion(), 5);
  EXPECT_EQ(mLog.Count(VersionLine(5)), 1u);
  EXPECT_FALSE(mLog.Contains(VersionLine(0)));
  EXPECT_FALSE(mLog.Contains(VersionLine(-1)));
}

TEST_F(LocalAuthorizationList, EmptyListHasVersionZeroWhateverWasSet)
{
  const auto list = OpenList();
  list->SetVersion(5);
  EXPECT_EQ(list->GetVersion(), 0);
  list->Update(Entry("TAG"));
  EXPECT_EQ(list->GetVersion(), 5);
  list->Delete("TAG");
  EXPECT_EQ(list->GetVersion(), 0);
}

TEST_F(LocalAuthorizationList, RestartBringsBackTheVersionAndTheEntriesWithTheirDates)
{
  mClock.SetSystemTime(IClock::SystemTime(std::chrono::hours(24 * 365 * 50)));
  const auto first = mClock.SystemNow();
  {
    const auto list = OpenList();
    list->SetVersion(int64_t{1} << 40);
    list->Update(Entry("TAG", EStatus::EConcurrentTx, first + 48h, "PARENT"));
    list->WriteToStorage();
  }
  Restart();
  mClock.AdvanceBy(1h);
  const auto list = OpenList();
  EXPECT_EQ(list->GetVersion(), int64_t{1} << 40);
  EXPECT_EQ(list->GetSize(), 1u);
  const auto entry = list->Find("TAG");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->GetEntryDate(), first);
  EXPECT_EQ(entry->GetExpiry(), first + 48h);
  EXPECT_EQ(entry->GetParentId(), "PARENT");
  EXPECT_EQ(entry->GetStatus(), EStatus::EConcurrentTx);
}

TEST_F(LocalAuthorizationList, VersionThatIsNoNumberReadsAsZeroAndTheEntriesStay)
{
  mStore->Preset("list_version", "five");
  mStore->Preset("TAG", Entry("TAG").ToJson());
  const auto list = OpenList();
  EXPECT_EQ(list->GetVersion(), 0);
  EXPECT_TRUE(list->Contains("TAG"));
  EXPECT_FALSE(list->Contains("list_version"));
}

TEST_F(LocalAuthorizationList, VersionAndEntriesAreOneWrite)
{
  const auto list = OpenList();
  list->SetVersion(5);
  list->Update(Entry("A"));
  list->Update(Entry("B"));
  EXPECT_EQ(mStore->GetMedium().GetWriteCount(), 0u);
  list->WriteToStorage();
  EXPECT_EQ(mStore->GetMedium().GetWriteCount(), 1u);
  EXPECT_EQ(Stored(), (CFakeConfig::CState{
                          {"A", Entry("A").ToJson()}, {"B", Entry("B").ToJson()}, {"list_version", Json::Value(5)}}));
  EXPECT_FALSE(mLog.ContainsPart("Delete tag"));
}

TEST_F(LocalAuthorizationList, ClearedListStaysInTheDocumentUntilItsSuccessorIsStored)
{
  const auto list = OpenList();
  list->SetVersion(1);
  list->Update(Entry("A"));
  list->WriteToStorage();
  const auto before = Stored();
  list->Clear();
  EXPECT_EQ(list->GetSize(), 0u);
  EXPECT_EQ(Stored(), before);
  list->WriteToStorage();
  EXPECT_EQ(Stored(), (CFakeConfig::CState{{"list_version", Json::Value(1)}}));
  EXPECT_EQ(mLog.Count("Delete tag A from persistent storage."), 1u);
  EXPECT_FALSE(mLog.Contains("Delete tag list_version from persistent storage."));
}

TEST_F(LocalAuthorizationList, TagWithTheNameOfTheVersionIsKnownInMemoryAndHarmsNoDocument)
{
  const auto list = OpenList();
  list->SetVersion(5);
  list->Update(Entry("list_version"));
  list->Update(Entry("TAG"));
  EXPECT_TRUE(list->Contains("list_version"));
  list->WriteToStorage();
  EXPECT_EQ(Stored().at("list_version"), Json::Value(5));
  Restart();
  const auto next = OpenList();
  EXPECT_EQ(next->GetVersion(), 5);
  EXPECT_EQ(next->GetSize(), 1u);
}

TEST_F(LocalAuthorizationList, CapacityDoesNotEvict)
{
  CLocalAuthorizationList list(mClock, mStore, 1);
  list.Update(Entry("A", EStatus::EBlocked));
  list.Update(Entry("B"));
  EXPECT_EQ(list.GetSize(), 2u);
}

TEST_F(LocalAuthorizationList, DiskFullOnWriteKeepsTheFormerListWithItsVersion)
{
  const auto list = OpenList();
  list->SetVersion(1);
  list->Update(Entry("A"));
  list->WriteToStorage();
  const auto before = Stored();
  mStore->GetMedium().FailAllWrites(true);
  list->Clear();
  list->SetVersion(2);
  list->Update(Entry("B"));
  list->WriteToStorage();
  EXPECT_EQ(Stored(), before);
  EXPECT_EQ(list->GetVersion(), 2);
  EXPECT_TRUE(list->Contains("B"));
  mStore->GetMedium().FailAllWrites(false);
  list->WriteToStorage();
  Restart();
  EXPECT_EQ(OpenList()->GetVersion(), 2);
}

TEST_F(LocalAuthorizationList, PowerCutAtAnyWriteLeavesTheOldOrTheNewListWithItsVersion)
{
  constexpr int64_t kVersions = 6;
  // List n has n tags of its own, so that any mixture shows.
  const auto replace = [this](CLocalAuthorizationList& list, int64_t version) {
    list.SetVersion(version);
    list.Clear();
    for (int64_t tag = 0; tag < version; ++tag) {
      list.Update(Entry(std::to_string(version) + "-" + std::to_string(tag)));
    }
    list.WriteToStorage();
  };
  for (uint64_t writes = 0; writes <= kVersions; ++writes) {
    mStore = std::make_shared<CFakeConfig>();
    mStore->GetMedium().CutPowerAfterWrite(writes);
    {
      const auto list = OpenList();
      for (int64_t version = 1; version <= kVersions; ++version) replace(*list, version);
    }
    EXPECT_EQ(mStore->GetMedium().GetWriteCount(), static_cast<uint64_t>(kVersions));
    Restart();
    const auto list = OpenList();
    EXPECT_EQ(list->GetVersion(), static_cast<int64_t>(writes));
    EXPECT_EQ(list->GetSize(), writes);
    for (uint64_t tag = 0; tag < writes; ++tag) {
      EXPECT_TRUE(list->Contains(std::to_string(writes) + "-" + std::to_string(tag)));
    }
  }
}

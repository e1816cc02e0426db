#include "platform/clock/timetext.h"
#include "tests/unit/src/components/authorization/authorizationlistfixture.h"

using namespace std::chrono_literals;

namespace {

using EStatus = EAuthorizationStatus;

class AuthorizationCache : public CAuthorizationListTest {
 protected:
  static std::string Tag(size_t number) { return "TAG" + std::to_string(number); }

  // Full of valid entries, one second apart; the first is the oldest.
  std::unique_ptr<CAuthorizationCache> OpenFull(const CAuthorizationListEntry::CExpiry& expiryOfTheLastThree = {})
  {
    auto cache = OpenCache();
    for (size_t number = 0; number < kCacheCapacity; ++number) {
      const bool isOfLastThree = number >= kCacheCapacity - 3;
      cache->Update(Entry(Tag(number), EStatus::EAccepted,
                          isOfLastThree ? expiryOfTheLastThree : CAuthorizationListEntry::CExpiry()));
      mClock.AdvanceBy(1s);
    }
    mLog.Clear();
    return cache;
  }
};

}  // namespace

TEST_F(AuthorizationCache, FullOfValidEntriesItGivesUpTheOldestEvenIfThatWasUpdatedAMomentAgo)
{
  const auto cache = OpenFull();
  cache->Update(Entry(Tag(0), EStatus::EAccepted, mClock.SystemNow() + 1h));
  cache->Update(Entry("NEW"));
  EXPECT_FALSE(cache->Contains(Tag(0)));
  EXPECT_TRUE(cache->Contains(Tag(1)));
  EXPECT_TRUE(cache->Contains("NEW"));
  EXPECT_EQ(cache->GetSize(), kCacheCapacity);
  EXPECT_EQ(mLog.Count("Deleting entry in the list/cache: TAG0"), 1u);
}

TEST_F(AuthorizationCache, ThreeExpiredOf250AllGoAndTheSizeFallsTo247AndTheNewOne)
{
  const auto cache = OpenFull(mClock.SystemNow() + 10min);
  mClock.AdvanceBy(1h);
  cache->Update(Entry("NEW"));
  EXPECT_EQ(cache->GetSize(), 248u);
  for (size_t number = kCacheCapacity - 3; number < kCacheCapacity; ++number) {
    EXPECT_FALSE(cache->Contains(Tag(number)));
    EXPECT_EQ(mLog.Count("Deleting entry in the list/cache: " + Tag(number)), 1u);
  }
  EXPECT_TRUE(cache->Contains(Tag(0)));
  EXPECT_TRUE(cache->Contains("NEW"));
}

TEST_F(AuthorizationCache, InvalidEntriesGoBeforeOldValidOnes)
{
  const auto cache = OpenFull();
  cache->Update(Entry(Tag(100), EStatus::EBlocked));
  cache->Update(Entry(Tag(200), EStatus::EConcurrentTx));
  cache->Update(Entry("NEW"));
  EXPECT_FALSE(cache->Contains(Tag(100)));
  EXPECT_TRUE(cache->Contains(Tag(200)));
  EXPECT_TRUE(cache->Contains(Tag(0)));
  EXPECT_EQ(cache->GetSize(), kCacheCapacity);
}

TEST_F(AuthorizationCache, BelowItsCapacityNothingGoes)
{
  const auto cache = OpenCache(3);
  cache->Update(Entry("A", EStatus::EInvalid));
  cache->Update(Entry("B"));
  cache->Update(Entry("C"));
  EXPECT_EQ(cache->GetSize(), 3u);
}

TEST_F(AuthorizationCache, UpdateOfAKnownTagMakesNoRoom)
{
  const auto cache = OpenFull();
  cache->Update(Entry(Tag(7), EStatus::EBlocked));
  cache->Insert(Entry(Tag(8)));
  EXPECT_EQ(cache->GetSize(), kCacheCapacity);
  EXPECT_FALSE(mLog.ContainsPart("Deleting entry"));
}

TEST_F(AuthorizationCache, EntriesFromTheFutureAreNeverTheOldest)
{
  const auto cache = OpenCache(2);
  const auto now = mClock.SystemNow();
  cache->Update(Entry("A"));
  mClock.AdvanceBy(1s);
  cache->Update(Entry("B"));
  mClock.SetSystemTime(now - 1h);
  cache->Update(Entry("C"));
  EXPECT_EQ(mLog.Count("Deleting entry in the list/cache: OldestEntryPlaceholder"), 1u);
  EXPECT_EQ(cache->GetSize(), 3u);
  // From here on the clock goes as it should, and the size does not grow further.
  for (int number = 0; number < 10; ++number) {
    mClock.AdvanceBy(1s);
    cache->Update(Entry("LATER" + std::to_string(number)));
  }
  EXPECT_EQ(cache->GetSize(), 3u);
  EXPECT_TRUE(cache->Contains("LATER9"));
}

TEST_F(AuthorizationCache, EvictionGoesByTheEntryDatesOfTheFormerLife)
{
  const auto first = *ParseTimeText("2026-01-15T10:15:00Z");
  {
    const auto cache = OpenCache(2);
    mClock.SetSystemTime(first);
    cache->Update(Entry("OLD"));
    mClock.SetSystemTime(first + 1min);
    cache->Update(Entry("YOUNG"));
    cache->Update(Entry("OLD"));
    cache->WriteToStorage();
  }
  Restart();
  mClock.SetSystemTime(first + 1h);
  const auto cache = OpenCache(2);
  cache->Update(Entry("NEW"));
  EXPECT_FALSE(cache->Contains("OLD"));
  EXPECT_TRUE(cache->Contains("YOUNG"));
}

TEST_F(AuthorizationCache, EvictedEntriesLeaveTheDocumentWithTheNextWrite)
{
  const auto cache = OpenFull();
  cache->WriteToStorage();
  cache->Update(Entry("NEW"));
  cache->WriteToStorage();
  EXPECT_EQ(Stored().size(), kCacheCapacity);
  EXPECT_EQ(Stored().count(Tag(0)), 0u);
  EXPECT_EQ(mLog.Count("Delete tag TAG0 from persistent storage."), 1u);
}

TEST_F(AuthorizationCache, ClearEmptiesTheTableAndTheDocument)
{
  const auto cache = OpenFull();
  cache->WriteToStorage();
  cache->Clear();
  EXPECT_EQ(cache->GetSize(), 0u);
  EXPECT_TRUE(Stored().empty());
  Restart();
  EXPECT_EQ(OpenCache()->GetSize(), 0u);
}

TEST_F(AuthorizationCache, MoreStoredEntriesThanItsCapacityAreLoadedAndDoNotGrow)
{
  {
    const auto cache = OpenCache(5);
    for (int number = 0; number < 5; ++number) {
      cache->Update(Entry(Tag(number)));
      mClock.AdvanceBy(1s);
    }
    cache->WriteToStorage();
  }
  Restart();
  const auto cache = OpenCache(3);
  EXPECT_EQ(cache->GetSize(), 5u);
  cache->Update(Entry("NEW"));
  EXPECT_EQ(cache->GetSize(), 5u);
  EXPECT_FALSE(cache->Contains(Tag(0)));
}

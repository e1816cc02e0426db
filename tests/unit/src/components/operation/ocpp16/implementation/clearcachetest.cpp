#include "src/components/operation/ocpp16/implementation/clearcacheoperation.h"

#include "tests/unit/src/components/operation/ocpp16/implementation/locallistfixture.h"

namespace {

class ClearCache : public CLocalListTest {
 protected:
  ClearCache()
  {
    mManager->cache = std::make_unique<CAuthorizationCache>(mClock, mCacheStore, 250);
    mManager->cache->Update(
        CAuthorizationListEntry("TAG", "", EAuthorizationStatus::EAccepted, {}, mClock.SystemNow()));
    mManager->cache->WriteToStorage();
  }

  const std::string mAccepted = R"([3,"id",{"status":"Accepted"}])";
  std::shared_ptr<CFakeConfig> mCacheStore = std::make_shared<CFakeConfig>();
};

}  // namespace

TEST_F(ClearCache, CacheIsClearedAfterTheAnswerInMemoryAndInItsDocument)
{
  CClearCacheInCall operation(&mAccess, "id");
  EXPECT_EQ(operation.Execute("{}"), mAccepted);
  EXPECT_TRUE(mManager->cache->Contains("TAG"));
  operation.PostAction();
  EXPECT_EQ(mManager->cache->GetSize(), 0u);
  EXPECT_TRUE(mCacheStore->GetState().empty());
}

TEST_F(ClearCache, LocalListIsLeftAlone)
{
  EXPECT_EQ(Send(Full(5, Tag("TAG"))), "Accepted");
  CClearCacheInCall operation(&mAccess, "id");
  operation.Execute("{}");
  operation.PostAction();
  EXPECT_TRUE(mManager->list->Contains("TAG"));
}

TEST_F(ClearCache, StationWithoutACacheAcceptsAllTheSame)
{
  mManager->cache.reset();
  CClearCacheInCall operation(&mAccess, "id");
  EXPECT_EQ(operation.Execute("{}"), mAccepted);
  operation.PostAction();
}

TEST_F(ClearCache, StationWithoutAnAuthorizationManagerAcceptsAndSaysSoInTheLog)
{
  mAccess.RegisterHandle(std::shared_ptr<IAuthorizationManager>());
  CClearCacheInCall operation(&mAccess, "id");
  EXPECT_EQ(operation.Execute("{}"), mAccepted);
  operation.PostAction();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "No authorization manager whose cache could be cleared"), 1u);
}

#include "src/components/authorizationmanager.h"

#include <future>
#include <thread>

#include "platform/clock/timetext.h"
#include "src/components/authorizationsource.h"
#include "tests/unit/src/components/authorizationmanager/authorizationfixture.h"

namespace {

using namespace std::chrono_literals;
using EStatus = EAuthorizationStatus;
using EMode = EAuthorizeMode;

class AuthorizationManager : public CAuthorizationTest {
 protected:
  ipc::MAuthorizeRequest TheAnswer() const
  {
    EXPECT_EQ(mSession->answers.size(), 1U);
    return mSession->answers.empty() ? ipc::MAuthorizeRequest() : mSession->answers.front();
  }
  CFakeOcpp::SPush ThePush() const
  {
    EXPECT_EQ(mOcpp->pushes.size(), 1U);
    return mOcpp->pushes.empty() ? CFakeOcpp::SPush() : mOcpp->pushes.front();
  }
  std::vector<ipc::MAuthorizeRequest> DirectAnswers() const { return mAuthClient->AuthorizeRequests(); }
};

// A document whose first write waits for its release.
class CHeldConfig : public CFakeConfig {
 public:
  void AwaitWrite() { mEntered.get_future().wait(); }
  void Release() { mReleased.set_value(); }

  bool Apply(const std::vector<std::string>& remove,
             const std::vector<std::pair<std::string, Json::Value>>& write) override
  {
    if (!mWasHeld.exchange(true)) {
      mEntered.set_value();
      mReleased.get_future().wait();
    }
    return CFakeConfig::Apply(remove, write);
  }

 private:
  std::atomic<bool> mWasHeld{false};
  std::promise<void> mEntered;
  std::promise<void> mReleased;
};

const std::string kIgnored = "Ignore the authorizeId notification, due to never received acceptance from CPO.";

}  // namespace

TEST_F(AuthorizationManager, EnabledStoresAreOpenedByNameAndLogged)
{
  Start();
  EXPECT_EQ(mOpened, (std::vector<std::string>{"authCache.json", "localAuthList.json"}));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Authorization cache enabled."), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Local authorization list enabled."), 1U);
  EXPECT_TRUE(mManager->IsLocalListEnabled());
}

TEST_F(AuthorizationManager, StoresThatAreNotEnabledAreNotOpened)
{
  mConfig->SetBool("AuthorizationCacheEnabled", false);
  mConfig->SetBool("LocalAuthListEnabled", false);
  Start();
  EXPECT_TRUE(mOpened.empty());
  EXPECT_FALSE(mManager->IsLocalListEnabled());
  EXPECT_FALSE(mLog.Contains("Authorization cache enabled."));
  EXPECT_FALSE(mLog.Contains("Local authorization list enabled."));
}

TEST_F(AuthorizationManager, EnablingAStoreLaterTakesARestart)
{
  mConfig->SetBool("AuthorizationCacheEnabled", false);
  mConfig->SetBool("LocalAuthListEnabled", false);
  Start();
  mConfig->SetBool("AuthorizationCacheEnabled", true);
  mConfig->SetBool("LocalAuthListEnabled", true);
  EXPECT_FALSE(mManager->IsLocalListEnabled());
  mManager->UpdateCache("TAG", "", EStatus::EAccepted, {});
  mClock.WaitIdle();
  EXPECT_FALSE(mStores[kCache]->HasKey("TAG"));
}

TEST_F(AuthorizationManager, DisablingAStoreLaterTakesARestart)
{
  Start();
  mConfig->SetBool("AuthorizationCacheEnabled", false);
  mConfig->SetBool("LocalAuthListEnabled", false);
  EXPECT_TRUE(mManager->IsLocalListEnabled());
  mManager->UpdateCache("TAG", "", EStatus::EAccepted, {});
  mClock.WaitIdle();
  EXPECT_TRUE(mStores[kCache]->HasKey("TAG"));
}

TEST_F(AuthorizationManager, CacheRemembers250TagsAndGivesUpTheFirstForOneMore)
{
  Start();
  for (int tag = 0; tag < 250; ++tag) {
    mManager->UpdateCache("TAG" + std::to_string(tag), "", EStatus::EAccepted, {});
    mClock.AdvanceBy(1s);
  }
  EXPECT_TRUE(mStores[kCache]->HasKey("TAG0"));
  mManager->UpdateCache("TAG250", "", EStatus::EAccepted, {});
  mClock.WaitIdle();
  EXPECT_FALSE(mStores[kCache]->HasKey("TAG0"));
  EXPECT_TRUE(mStores[kCache]->HasKey("TAG1"));
  EXPECT_TRUE(mStores[kCache]->HasKey("TAG250"));
}

TEST_F(AuthorizationManager, FaultyMetadataOfTheListsLengthIsLoggedAndTheListIsThereAllTheSame)
{
  mConfig->BreakKey("LocalAuthListMaxLength", "metadata is faulty");
  Store(kList, "TAG", EStatus::EAccepted);
  Start();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "metadata is faulty"), 1U);
  EXPECT_TRUE(mManager->IsLocalListEnabled());
  EXPECT_TRUE(mManager->IsInLocalList("TAG"));
}

TEST_F(AuthorizationManager, OnlinePreAuthorizationAnswersAtOnceFromTheCacheAndAsksAllTheSame)
{
  mConfig->SetBool("LocalPreAuthorize", true);
  Store(kCache, "TAG", EStatus::EAccepted, "GROUP");
  Start();
  mOcpp->backoffices[EBackofficeId::EAuxiliary] = std::make_shared<CFakeBackoffice>(EBackofficeId::EAuxiliary, nullptr);
  Present(EMode::EOnline);
  EXPECT_EQ(TheAnswer().request_id(), "request-1");
  EXPECT_EQ(TheAnswer().approved(), 1U);
  EXPECT_EQ(TheAnswer().parent_id(), "GROUP");
  EXPECT_EQ(SourceOf(TheAnswer()), 5);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Local preauthorize TAG: Source Authorization cache"), 1U);
  const auto push = ThePush();
  EXPECT_EQ(push.operation, EOutOpType::EAuthorize);
  EXPECT_EQ(push.backofficeIds, (IOcpp::CBackofficeIds{EBackofficeId::EPrimary, EBackofficeId::EAuxiliary}));
  EXPECT_FALSE(push.force);
  EXPECT_EQ(GetIntParameter(push.parameters, EOperationParameter::EConnectorId), 1);
  EXPECT_EQ(ContextOf(push).request_id(), "");
  EXPECT_EQ(ContextOf(push).user_identification().token(), "TAG");
}

TEST_F(AuthorizationManager, OnlinePreAuthorizationFromTheListNamesTheList)
{
  mConfig->SetBool("LocalPreAuthorize", true);
  Store(kList, "TAG", EStatus::EAccepted);
  Start();
  Present(EMode::EOnline);
  EXPECT_EQ(SourceOf(TheAnswer()), 6);
  EXPECT_EQ(mLog.Count("Local preauthorize TAG: Source Local authorization list"), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Checking local list for authorization status of id \"TAG\""), 1U);
  EXPECT_EQ(mLog.Count("Checking cache list for authorization status of id \"TAG\""), 0U);
}

TEST_F(AuthorizationManager, OnlinePreAuthorizationOfAnUnknownTokenWaitsForTheBackoffice)
{
  mConfig->SetBool("LocalPreAuthorize", true);
  Start();
  Present(EMode::EOnline);
  EXPECT_TRUE(mSession->answers.empty());
  EXPECT_EQ(ContextOf(ThePush()).request_id(), "request-1");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Local preauthorize TAG: No list/cache"), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Checking cache list for authorization status of id \"TAG\""), 1U);
}

TEST_F(AuthorizationManager, OnlinePreAuthorizationOfATokenThatAStoreRefusesWaitsForTheBackoffice)
{
  mConfig->SetBool("LocalPreAuthorize", true);
  Store(kList, "TAG", EStatus::EBlocked);
  Store(kCache, "TAG", EStatus::EAccepted);
  Start();
  Present(EMode::EOnline);
  EXPECT_TRUE(mSession->answers.empty());
  EXPECT_EQ(ContextOf(ThePush()).request_id(), "request-1");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Local preauthorize TAG: No list/cache"), 1U);
}

TEST_F(AuthorizationManager, OnlineWithoutPreAuthorizationNobodyIsAnsweredBeforeTheBackofficeWas)
{
  Store(kCache, "TAG", EStatus::EAccepted, "GROUP");
  Start();
  Present(EMode::EOnline);
  EXPECT_TRUE(mSession->answers.empty());
  EXPECT_TRUE(DirectAnswers().empty());
  EXPECT_EQ(ContextOf(ThePush()).request_id(), "request-1");
  EXPECT_EQ(ContextOf(ThePush()).parent_id(), "GROUP");
  EXPECT_FALSE(mLog.ContainsPart("Local preauthorize"));
}

TEST_F(AuthorizationManager, OfflineWithoutTheStoresABlockedTokenIsLetInWhereUnknownOnesAre)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  Store(kCache, "TAG", EStatus::EBlocked);
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().approved(), 1U);
  EXPECT_EQ(SourceOf(TheAnswer()), 0);
  EXPECT_TRUE(mOcpp->pushes.empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "CAuthorizationManager::offlineAuthorizeUnknownIdIfAllowed"), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Session is authorized by unknown id"), 1U);
}

TEST_F(AuthorizationManager, OfflineWithTheStoresABlockedTokenIsRefusedThoughUnknownOnesAreLetIn)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Store(kCache, "TAG", EStatus::EBlocked);
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().approved(), 0U);
  EXPECT_FALSE(mLog.Contains("CAuthorizationManager::offlineAuthorizeUnknownIdIfAllowed"));
}

TEST_F(AuthorizationManager, OfflineAnUnknownTokenIsRefusedWhereUnknownOnesAreNotLetIn)
{
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().approved(), 0U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "CAuthorizationManager::offlineAuthorizeUnknownIdIfAllowed"), 1U);
  EXPECT_FALSE(mLog.Contains("Session is authorized by unknown id"));
}

TEST_F(AuthorizationManager, ExpiredEntryOfTheListIsInvalidAndTheCacheIsNotAsked)
{
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Store(kList, "TAG", EStatus::EAccepted, "", mClock.SystemNow() - 1s);
  Store(kCache, "TAG", EStatus::EAccepted);
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().approved(), 0U);
  EXPECT_EQ(SourceOf(TheAnswer()), 0);
  EXPECT_EQ(mLog.Count("Checking cache list for authorization status of id \"TAG\""), 0U);
}

TEST_F(AuthorizationManager, EntryExpiresWhileTheStationRuns)
{
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Store(kList, "TAG", EStatus::EAccepted, "", mClock.SystemNow() + 1h);
  Start();
  Present(EMode::EOffline);
  mClock.AdvanceBy(2h);
  Present(EMode::EOffline);
  ASSERT_EQ(mSession->answers.size(), 2U);
  EXPECT_EQ(mSession->answers[0].approved(), 1U);
  EXPECT_EQ(mSession->answers[1].approved(), 0U);
}

TEST_F(AuthorizationManager, SettingsAreReadAtEachDecision)
{
  Start();
  Present(EMode::EOffline);
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  Present(EMode::EOffline);
  ASSERT_EQ(mSession->answers.size(), 2U);
  EXPECT_EQ(mSession->answers[0].approved(), 0U);
  EXPECT_EQ(mSession->answers[1].approved(), 1U);
}

TEST_F(AuthorizationManager, WhileChargingIsNotAllowedARequestIsRefusedWithTheMessageAboutAcceptance)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  mConfig->SetBool("LocalAuthorizeOffline", true);
  mConfig->SetBool("LocalPreAuthorize", true);
  Store(kList, "TAG", EStatus::EAccepted, "GROUP");
  Start();
  auto request = Request();
  request.set_approved(1);
  Present(EMode::ERefuse, request);
  ASSERT_EQ(DirectAnswers().size(), 1U);
  EXPECT_EQ(DirectAnswers()[0].request_id(), "request-1");
  EXPECT_EQ(DirectAnswers()[0].approved(), 0U);
  EXPECT_EQ(DirectAnswers()[0].connector(), 1U);
  EXPECT_TRUE(mOcpp->pushes.empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "[1] " + kIgnored), 1U);
}

TEST_F(AuthorizationManager, WithoutPrimaryBackofficeARequestIsRefusedWithoutThatLine)
{
  mOcpp->backoffices = {
      {EBackofficeId::EAuxiliary, std::make_shared<CFakeBackoffice>(EBackofficeId::EAuxiliary, nullptr)}};
  Start();
  mManager->HandleAuthorizeId(1, Request());
  ASSERT_EQ(DirectAnswers().size(), 1U);
  EXPECT_EQ(DirectAnswers()[0].approved(), 0U);
  EXPECT_FALSE(mLog.ContainsPart(kIgnored));
  EXPECT_TRUE(mOcpp->pushes.empty());
}

TEST_F(AuthorizationManager, TokenThatWasLetThroughIsCheckedAfterTheFactInEveryMode)
{
  Start();
  mOcpp->backoffices[EBackofficeId::EAuxiliary] = std::make_shared<CFakeBackoffice>(EBackofficeId::EAuxiliary, nullptr);
  for (const auto mode : {EMode::EOnline, EMode::EOffline, EMode::ERefuse}) {
    mOcpp->pushes.clear();
    auto request = Request("", 0);
    request.set_approved(1);
    mPrimary->SetAuthorizeMode(mode);
    mManager->HandleAuthorizeId(1, request);
    EXPECT_EQ(ThePush().operation, EOutOpType::EAuthorize);
    EXPECT_EQ(ThePush().backofficeIds, (IOcpp::CBackofficeIds{EBackofficeId::EPrimary, EBackofficeId::EAuxiliary}));
    EXPECT_EQ(ContextOf(ThePush()).approved(), 0U);
    EXPECT_EQ(ContextOf(ThePush()).user_identification().token(), "TAG");
    EXPECT_EQ(GetIntParameter(ThePush().parameters, EOperationParameter::EConnectorId), 1);
    EXPECT_FALSE(ThePush().force);
  }
  EXPECT_TRUE(mSession->answers.empty());
  EXPECT_TRUE(DirectAnswers().empty());
}

TEST_F(AuthorizationManager, ParentOfTheListGoesAheadOfThatOfTheCache)
{
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Store(kList, "TAG", EStatus::EAccepted, "LIST");
  Store(kCache, "TAG", EStatus::EAccepted, "CACHE");
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().parent_id(), "LIST");
}

TEST_F(AuthorizationManager, EmptyParentInTheListLetsTheCacheBeAskedForIt)
{
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Store(kList, "TAG", EStatus::EAccepted);
  Store(kCache, "TAG", EStatus::EBlocked, "CACHE");
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().parent_id(), "CACHE");
  EXPECT_EQ(TheAnswer().approved(), 1U);
  EXPECT_EQ(SourceOf(TheAnswer()), 6);
}

TEST_F(AuthorizationManager, RefusedTokenCarriesItsParentAsWell)
{
  Store(kCache, "TAG", EStatus::EBlocked, "CACHE");
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().approved(), 0U);
  EXPECT_EQ(TheAnswer().parent_id(), "CACHE");
}

TEST_F(AuthorizationManager, ParentThatTheSessionManagerKnowsStaysWhereNoneIsKnownHere)
{
  Start();
  auto request = Request();
  request.set_parent_id("OWN");
  Present(EMode::EOffline, request);
  EXPECT_EQ(TheAnswer().parent_id(), "OWN");
}

TEST_F(AuthorizationManager, RequestWithoutUserIsRefusedWhateverIsAllowed)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  Start();
  auto request = Request();
  request.clear_user_identification();
  for (const auto mode : {EMode::EOnline, EMode::EOffline}) {
    mSession->answers.clear();
    Present(mode, request);
    EXPECT_EQ(TheAnswer().approved(), 0U);
  }
  EXPECT_TRUE(mOcpp->pushes.empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Authorize request [request-1] names no user and is refused"), 2U);
}

TEST_F(AuthorizationManager, CheckAfterTheFactThatNamesNoUserAsksNobody)
{
  Start();
  auto request = Request();
  request.clear_request_id();
  request.clear_user_identification();
  Present(EMode::EOnline, request);
  EXPECT_TRUE(mOcpp->pushes.empty()) << "nobody's session is to end by the answer";
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "[1] Authorize request without id names no user and is ignored"), 1U);
}

TEST_F(AuthorizationManager, RequestThatCannotBeQueuedIsDecidedOffline)
{
  class CFullOcpp : public CFakeOcpp {
    EPushResult PushOutCall(EOutOpType, const CBackofficeIds&, bool, const COperationParameters&) override
    {
      return EPushResult::ENoReceiver;
    }
  };
  const auto ocpp = std::make_shared<CFullOcpp>();
  ocpp->backoffices = mOcpp->backoffices;
  mAccess.RegisterHandle(std::shared_ptr<IOcpp>(ocpp));
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Store(kCache, "TAG", EStatus::EAccepted);
  Start();
  Present(EMode::EOnline);
  EXPECT_EQ(TheAnswer().approved(), 1U);
  EXPECT_EQ(SourceOf(TheAnswer()), 5);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Authorize for TAG could not be queued, deciding offline"), 1U);
}

TEST_F(AuthorizationManager, FaultyMetadataOfASettingReadsAsFalse)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  mConfig->BreakKey("AllowOfflineTxForUnknownId", "metadata is faulty");
  Start();
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().approved(), 0U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "metadata is faulty"), 1U);
}

TEST_F(AuthorizationManager, FinishedRequestOfAConnectorGoesToItsSession)
{
  Start();
  auto request = Request();
  request.set_approved(1);
  EXPECT_TRUE(mManager->HandleAuthorizeRequest(request));
  EXPECT_EQ(TheAnswer().request_id(), "request-1");
  EXPECT_TRUE(DirectAnswers().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "Handling auth req [request-1], token: [TAG] for connector [1] with result [1]"),
            1U);
}

TEST_F(AuthorizationManager, SessionThatCannotTakeTheRequestGivesFalse)
{
  Start();
  mSession->takesSession = false;
  EXPECT_FALSE(mManager->HandleAuthorizeRequest(Request()));
}

TEST_F(AuthorizationManager, FinishedRequestWithoutConnectorGoesToTheSessionManagerItself)
{
  Start();
  EXPECT_TRUE(mManager->HandleAuthorizeRequest(Request("request-1", 0)));
  EXPECT_EQ(DirectAnswers().size(), 1U);
  EXPECT_TRUE(mSession->answers.empty());
  EXPECT_EQ(mLog.Count("Handling auth req [request-1], token: [TAG] for connector [0] with result [0]"), 1U);
}

TEST_F(AuthorizationManager, UnreachableSessionManagerIsLoggedAndSurvived)
{
  Start();
  mAuthClient->SetUnreachable("gone");
  EXPECT_TRUE(mManager->HandleAuthorizeRequest(Request("request-1", 0)));
  Present(EMode::ERefuse);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with SessionManager, error: gone"), 2U);
}

TEST_F(AuthorizationManager, ConnectorThatTheStationDoesNotHaveIsRefused)
{
  Start();
  auto request = Request("request-1", 2);
  request.set_approved(1);
  EXPECT_FALSE(mManager->HandleAuthorizeRequest(request));
  ASSERT_EQ(DirectAnswers().size(), 1U);
  EXPECT_EQ(DirectAnswers()[0].approved(), 0U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "Authorize request [request-1] is for connector 2, which this station does not have"),
            1U);
}

TEST_F(AuthorizationManager, CacheUpdateIsStoredAtOnce)
{
  Start();
  mManager->UpdateCache("TAG", "GROUP", EStatus::EBlocked, ParseTimeText("2026-02-01T00:00:00Z"));
  mClock.WaitIdle();
  const auto stored = mStores[kCache]->GetJson("TAG", Json::Value());
  EXPECT_EQ(stored["status"], 1);
  EXPECT_EQ(stored["parent_id"], "GROUP");
  EXPECT_EQ(stored["expiry_date"], "2026-02-01T00:00:00Z");
  EXPECT_EQ(stored["entry_date"], "2026-01-15T10:15:00Z");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Updating authorization cache with id \"TAG\""), 1U);
}

TEST_F(AuthorizationManager, NobodyWaitsForTheCacheToBeStoredAndUpdatesMeanwhileAreStoredTogether)
{
  const auto store = std::make_shared<CHeldConfig>();
  mStores[kCache] = store;
  Start();
  mManager->UpdateCache("FIRST", "", EStatus::EAccepted, {});
  store->AwaitWrite();
  for (const char* id : {"SECOND", "THIRD", "FOURTH"}) mManager->UpdateCache(id, "", EStatus::EAccepted, {});
  EXPECT_TRUE(store->GetState().empty());
  store->Release();
  mClock.AdvanceBy(1s);
  EXPECT_EQ(store->GetState().size(), 4U);
  EXPECT_EQ(store->GetMedium().GetWriteCount(), 2U);
}

TEST_F(AuthorizationManager, CacheIsStoredOnceASecondWhileItsUpdatesPourIn)
{
  Start();
  auto& medium = mStores[kCache]->GetMedium();
  for (int update = 0; update < 450; ++update) {
    mManager->UpdateCache("TAG" + std::to_string(update % 7), "GROUP" + std::to_string(update), EStatus::EAccepted, {});
    mClock.AdvanceBy(10ms);
  }
  EXPECT_EQ(medium.GetWriteCount(), 5U) << "in four and a half seconds";
  mClock.AdvanceBy(1s);
  EXPECT_EQ(mStores[kCache]->GetState().size(), 7U);
  EXPECT_EQ(medium.GetWriteCount(), 6U);
  mManager->UpdateCache("TAG0", "", EStatus::EBlocked, {});
  mClock.WaitIdle();
  EXPECT_EQ(medium.GetWriteCount(), 6U);
  mClock.AdvanceBy(2s);
  mManager->UpdateCache("LATER", "", EStatus::EAccepted, {});
  mClock.WaitIdle();
  EXPECT_EQ(medium.GetWriteCount(), 8U) << "at once after a quiet second";
}

TEST_F(AuthorizationManager, EndOfTheProcessWaitsUntilTheCacheIsStored)
{
  const auto store = std::make_shared<CHeldConfig>();
  mStores[kCache] = store;
  Start();
  mManager->UpdateCache("FIRST", "", EStatus::EAccepted, {});
  store->AwaitWrite();
  mManager->UpdateCache("SECOND", "", EStatus::EAccepted, {});
  std::thread end([this] { mManager.reset(); });
  store->Release();
  end.join();
  EXPECT_EQ(store->GetState().size(), 2U);
}

TEST_F(AuthorizationManager, CacheUpdateOfATagInTheListChangesAndWritesNothing)
{
  // Even an entry that is not valid overrides the cache.
  Store(kList, "TAG", EStatus::EBlocked);
  Store(kCache, "TAG", EStatus::EAccepted, "GROUP");
  Start();
  const auto before = mStores[kCache]->GetState();
  const auto writes = mStores[kCache]->GetMedium().GetWriteCount();
  mManager->UpdateCache("TAG", "OTHER", EStatus::EInvalid, {});
  mClock.WaitIdle();
  EXPECT_EQ(mStores[kCache]->GetState(), before);
  EXPECT_EQ(mStores[kCache]->GetMedium().GetWriteCount(), writes);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "id \"TAG\" present in list, not updating cache"), 1U);
  EXPECT_FALSE(mLog.ContainsPart("Updating authorization cache"));
}

TEST_F(AuthorizationManager, AbsentCacheWarnsAtItsOperations)
{
  mConfig->SetBool("AuthorizationCacheEnabled", false);
  Start();
  mManager->UpdateCache("TAG", "", EStatus::EAccepted, {});
  mManager->ClearCache();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "LocalAuthCacheEnabled is not enabled"), 2U);
}

TEST_F(AuthorizationManager, AbsentListWarnsAtItsChangesAndAnswersQuestionsWithNothing)
{
  mConfig->SetBool("LocalAuthListEnabled", false);
  Start();
  mManager->UpdateLocalList("TAG", "", EStatus::EAccepted, {});
  mManager->RemoveLocalListEntry("TAG");
  mManager->SetLocalListVersion(5);
  mManager->EraseLocalList();
  mManager->WriteLocalListToStorage();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "LocalAuthListEnabled is not enabled"), 5U);
  EXPECT_EQ(mManager->GetLocalListVersion(), -1);
  EXPECT_FALSE(mManager->IsInLocalList("TAG"));
  EXPECT_EQ(mManager->GetLocalListSize(), 0U);
  EXPECT_FALSE(mManager->IsLocalListEnabled());
}

TEST_F(AuthorizationManager, ClearedCacheIsEmptyInStorageToo)
{
  Store(kCache, "TAG", EStatus::EAccepted);
  Start();
  mManager->ClearCache();
  EXPECT_FALSE(mStores[kCache]->HasKey("TAG"));
  mConfig->SetBool("LocalAuthorizeOffline", true);
  Present(EMode::EOffline);
  EXPECT_EQ(TheAnswer().approved(), 0U);
}

TEST_F(AuthorizationManager, ListIsStoredOnlyWhenToldSo)
{
  Start();
  mManager->SetLocalListVersion(5);
  mManager->UpdateLocalList("TAG", "GROUP", EStatus::EAccepted, {});
  mManager->UpdateLocalList("GONE", "", EStatus::EAccepted, {});
  mManager->RemoveLocalListEntry("GONE");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Updating local authorization list with id \"TAG\""), 1U);
  EXPECT_TRUE(mManager->IsInLocalList("TAG"));
  EXPECT_FALSE(mManager->IsInLocalList("GONE"));
  EXPECT_EQ(mManager->GetLocalListSize(), 1U);
  EXPECT_EQ(mManager->GetLocalListVersion(), 5);
  EXPECT_FALSE(mStores[kList]->HasKey("TAG"));
  mManager->WriteLocalListToStorage();
  EXPECT_TRUE(mStores[kList]->HasKey("TAG"));
  EXPECT_EQ(mStores[kList]->GetInt("list_version", 0), 5);
  mManager->EraseLocalList();
  EXPECT_EQ(mManager->GetLocalListSize(), 0U);
  EXPECT_EQ(mManager->GetLocalListVersion(), 0);
}

TEST_F(AuthorizationManager, SourcesHaveTheirTexts)
{
  const std::pair<int32_t, std::string> rows[] = {
      {0, "Not authorized"},           {1, "RemoteStart operation"}, {2, "Authorize operation"},
      {3, "RemoteStart operation"},    {4, "Authorize operation"},   {5, "Authorization cache"},
      {6, "Local authorization list"}, {7, "AutoAuthorize"},         {8, "Unknown source: 8"},
      {-1, "Unknown source: -1"},
  };
  for (const auto& [source, text] : rows) EXPECT_EQ(AuthorizationSourceToString(source), text);
}

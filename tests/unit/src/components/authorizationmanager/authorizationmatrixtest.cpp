// Every combination of what decides on a driver whose tag was presented: three settings, two stores that can be off,
// the link, and what each store holds of the tag. What is expected comes from the tables below, which are read without
// the code: what an entry of a store is worth, what the stores say together, what follows from it.
#include <iostream>

#include "tests/unit/src/components/authorizationmanager/authorizationfixture.h"

namespace {

using namespace std::chrono_literals;
using EStatus = EAuthorizationStatus;

// ---- What an entry is worth.

struct SEntryKind {
  const char* name;
  bool isStored;
  EStatus status;
  std::chrono::hours expiresIn;  // 0: never
  bool isValid;
};

constexpr auto kNever = 0h;
constexpr SEntryKind kEntryKinds[] = {
    // name                   stored  status                   expires  valid
    {"none", false, EStatus::EInvalid, kNever, false},
    {"Accepted", true, EStatus::EAccepted, kNever, true},
    {"Blocked", true, EStatus::EBlocked, kNever, false},
    {"ConcurrentTx", true, EStatus::EConcurrentTx, kNever, true},
    {"Expired", true, EStatus::EExpired, kNever, false},
    {"Invalid", true, EStatus::EInvalid, kNever, false},
    {"Accepted until tomorrow", true, EStatus::EAccepted, 24h, true},
    {"Accepted until yesterday", true, EStatus::EAccepted, -24h, false},
    {"ConcurrentTx until yesterday", true, EStatus::EConcurrentTx, -24h, false},
};

// ---- What the stores say together. A store that is off holds nothing.

enum class EWorth { ENothing, EValid, EInvalid, EAny };
enum class EStoresSay { ENothing, EListYes, ECacheYes, ENo, EAny };

struct SStoresRule {
  EWorth list;
  EWorth cache;
  EStoresSay say;
};

constexpr SStoresRule kStoresRules[] = {
    // list             cache             say
    {EWorth::EValid, EWorth::EAny, EStoresSay::EListYes},
    {EWorth::EInvalid, EWorth::EAny, EStoresSay::ENo},  // the cache is not asked
    {EWorth::ENothing, EWorth::EValid, EStoresSay::ECacheYes},
    {EWorth::ENothing, EWorth::EInvalid, EStoresSay::ENo},
    {EWorth::ENothing, EWorth::ENothing, EStoresSay::ENothing},
};

// ---- What follows. The first row that fits counts.

enum class ELink { EOnline, EOffline };
enum class ESetting { EOff, EOn, EAny };
enum class EAnswer { ELater, ERefused, EApproved };
enum class EAsked { ENobody, EForTheDriver, EAfterTheFact };  // Authorize: none, with and without the request id

struct SOutcomeRule {
  const char* name;
  // When:
  ELink link;
  ESetting localPreAuthorize;
  ESetting localAuthorizeOffline;
  ESetting allowOfflineTxForUnknownId;
  EStoresSay storesSay;
  // Then:
  EAnswer answer;
  int source;
  EAsked asked;
};

constexpr auto kOn = ESetting::EOn;
constexpr auto kOff = ESetting::EOff;
constexpr auto kAny = ESetting::EAny;

constexpr SOutcomeRule kOutcomeRules[] = {
    // clang-format off
    // name                                 link             pre   offl. unkn. stores say             answer now          source asked
    {"online, let in by the list",          ELink::EOnline,  kOn,  kAny, kAny, EStoresSay::EListYes,  EAnswer::EApproved, 6, EAsked::EAfterTheFact},
    {"online, let in by the cache",         ELink::EOnline,  kOn,  kAny, kAny, EStoresSay::ECacheYes, EAnswer::EApproved, 5, EAsked::EAfterTheFact},
    {"online, not let in by the stores",    ELink::EOnline,  kOn,  kAny, kAny, EStoresSay::EAny,      EAnswer::ELater,    0, EAsked::EForTheDriver},
    {"online, stores not asked",            ELink::EOnline,  kOff, kAny, kAny, EStoresSay::EAny,      EAnswer::ELater,    0, EAsked::EForTheDriver},
    {"offline, let in by the list",         ELink::EOffline, kAny, kOn,  kAny, EStoresSay::EListYes,  EAnswer::EApproved, 6, EAsked::ENobody},
    {"offline, let in by the cache",        ELink::EOffline, kAny, kOn,  kAny, EStoresSay::ECacheYes, EAnswer::EApproved, 5, EAsked::ENobody},
    {"offline, refused by a store",         ELink::EOffline, kAny, kOn,  kAny, EStoresSay::ENo,       EAnswer::ERefused,  0, EAsked::ENobody},
    {"offline, unknown and let in",         ELink::EOffline, kAny, kOn,  kOn,  EStoresSay::ENothing,  EAnswer::EApproved, 0, EAsked::ENobody},
    {"offline, unknown and refused",        ELink::EOffline, kAny, kOn,  kOff, EStoresSay::ENothing,  EAnswer::ERefused,  0, EAsked::ENobody},
    {"offline, not looked up and let in",   ELink::EOffline, kAny, kOff, kOn,  EStoresSay::EAny,      EAnswer::EApproved, 0, EAsked::ENobody},
    {"offline, not looked up and refused",  ELink::EOffline, kAny, kOff, kOff, EStoresSay::EAny,      EAnswer::ERefused,  0, EAsked::ENobody},
    // clang-format on
};

// The group that the answer, or the question, carries: whether the tag may charge or not, and whether the settings let
// the stores decide or not. "" where no store that is on holds the tag.
constexpr const char* kListGroup = "LIST-GROUP";
constexpr const char* kCacheGroup = "CACHE-GROUP";

// ---- One row of the matrix.

struct SRow {
  const SEntryKind* list;
  const SEntryKind* cache;
  bool isListOn;
  bool isCacheOn;
  bool isOnline;
  bool preAuthorize;
  bool authorizeOffline;
  bool allowUnknown;

  std::string Text() const
  {
    const auto onOff = [](bool on) { return on ? "on" : "off"; };
    return fmt::format(
        "list {} ({}), cache {} ({}), {}, LocalPreAuthorize {}, LocalAuthorizeOffline {}, "
        "AllowOfflineTxForUnknownId {}",
        onOff(isListOn), list->name, onOff(isCacheOn), cache->name, isOnline ? "online" : "offline",
        onOff(preAuthorize), onOff(authorizeOffline), onOff(allowUnknown));
  }
};

EWorth WorthOf(const SEntryKind& kind, bool isOn)
{
  if (!isOn || !kind.isStored) return EWorth::ENothing;
  return kind.isValid ? EWorth::EValid : EWorth::EInvalid;
}

EStoresSay StoresSay(const SRow& row)
{
  const auto list = WorthOf(*row.list, row.isListOn);
  const auto cache = WorthOf(*row.cache, row.isCacheOn);
  for (const auto& rule : kStoresRules) {
    if (rule.list == list && (rule.cache == EWorth::EAny || rule.cache == cache)) return rule.say;
  }
  ADD_FAILURE() << "no rule for what the stores say";
  return EStoresSay::ENothing;
}

bool Fits(ESetting wanted, bool is) { return wanted == kAny || (wanted == kOn) == is; }

const SOutcomeRule& OutcomeOf(const SRow& row)
{
  const auto say = StoresSay(row);
  for (const auto& rule : kOutcomeRules) {
    if ((rule.link == ELink::EOnline) == row.isOnline && Fits(rule.localPreAuthorize, row.preAuthorize) &&
        Fits(rule.localAuthorizeOffline, row.authorizeOffline) &&
        Fits(rule.allowOfflineTxForUnknownId, row.allowUnknown) &&
        (rule.storesSay == EStoresSay::EAny || rule.storesSay == say)) {
      return rule;
    }
  }
  throw std::logic_error("no rule for " + row.Text());
}

std::string GroupOf(const SRow& row)
{
  if (row.isListOn && row.list->isStored) return kListGroup;
  if (row.isCacheOn && row.cache->isStored) return kCacheGroup;
  return "";
}

class AuthorizationMatrix : public CAuthorizationTest {
 protected:
  void StoreKind(const char* name, const SEntryKind& kind, const char* group)
  {
    if (!kind.isStored) return;
    IAuthorizationManager::CExpiry expiry;
    if (kind.expiresIn != kNever) expiry = mClock.SystemNow() + kind.expiresIn;
    Store(name, "TAG", kind.status, group, expiry);
  }
  // A station with these stores.
  void StartWith(const SRow& row)
  {
    ForgetStores();
    StoreKind(kList, *row.list, kListGroup);
    StoreKind(kCache, *row.cache, kCacheGroup);
    mConfig->SetBool("LocalAuthListEnabled", row.isListOn);
    mConfig->SetBool("AuthorizationCacheEnabled", row.isCacheOn);
    Start();
  }
  void Check(const SRow& row)
  {
    mConfig->SetBool("LocalPreAuthorize", row.preAuthorize);
    mConfig->SetBool("LocalAuthorizeOffline", row.authorizeOffline);
    mConfig->SetBool("AllowOfflineTxForUnknownId", row.allowUnknown);
    mSession->answers.clear();
    mOcpp->pushes.clear();
    Present(row.isOnline ? EAuthorizeMode::EOnline : EAuthorizeMode::EOffline);

    const auto& outcome = OutcomeOf(row);
    CheckAnswer(row, outcome);
    CheckQuestion(row, outcome);
    ++mRowsOf[outcome.name];
    mLog.Clear();
  }
  void CheckAnswer(const SRow& row, const SOutcomeRule& outcome)
  {
    const auto& answers = mSession->answers;
    ASSERT_EQ(answers.size(), outcome.answer == EAnswer::ELater ? 0U : 1U);
    if (answers.empty()) return;
    EXPECT_EQ(answers[0].request_id(), "request-1");
    EXPECT_EQ(answers[0].user_identification().token(), "TAG");
    EXPECT_EQ(answers[0].approved(), outcome.answer == EAnswer::EApproved ? 1U : 0U);
    EXPECT_EQ(SourceOf(answers[0]), outcome.source);
    EXPECT_EQ(answers[0].parent_id(), GroupOf(row));
  }
  void CheckQuestion(const SRow& row, const SOutcomeRule& outcome)
  {
    const auto& pushes = mOcpp->pushes;
    ASSERT_EQ(pushes.size(), outcome.asked == EAsked::ENobody ? 0U : 1U);
    if (pushes.empty()) return;
    const auto context = ContextOf(pushes[0]);
    EXPECT_EQ(pushes[0].operation, EOutOpType::EAuthorize);
    EXPECT_EQ(context.request_id(), outcome.asked == EAsked::EForTheDriver ? "request-1" : "");
    EXPECT_EQ(context.parent_id(), GroupOf(row));
  }

  std::map<std::string, int> mRowsOf;
};

constexpr bool kBoth[] = {false, true};

}  // namespace

TEST_F(AuthorizationMatrix, EveryRowHasTheOutcomeOfItsRule)
{
  int rows = 0;
  for (const auto& list : kEntryKinds) {
    for (const auto& cache : kEntryKinds) {
      for (const int stores : {0, 1, 2, 3}) {
        SRow row{&list, &cache, (stores & 1) != 0, (stores & 2) != 0, false, false, false, false};
        StartWith(row);
        for (const int settings : {0, 1, 2, 3, 4, 5, 6, 7}) {
          row.preAuthorize = (settings & 1) != 0;
          row.authorizeOffline = (settings & 2) != 0;
          row.allowUnknown = (settings & 4) != 0;
          for (const bool isOnline : kBoth) {
            row.isOnline = isOnline;
            SCOPED_TRACE(row.Text());
            Check(row);
            ++rows;
            if (HasFatalFailure()) return;
          }
        }
      }
    }
  }
  std::cout << rows << " rows\n";
  for (const auto& [name, count] : mRowsOf) std::cout << count << " " << name << "\n";
  // Three settings, two stores on or off, the link, and nine entries in each of two stores.
  EXPECT_EQ(rows, 8 * 4 * 2 * 9 * 9);
  EXPECT_EQ(mRowsOf.size(), std::size(kOutcomeRules)) << "a rule was never needed";
}

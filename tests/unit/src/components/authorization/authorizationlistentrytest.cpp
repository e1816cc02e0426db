#include "src/components/authorization/authorizationlistentry.h"

#include <gtest/gtest.h>

#include "platform/clock/timetext.h"
#include "tests/unit/support/logcapture.h"

using namespace std::chrono_literals;

namespace {

using EStatus = EAuthorizationStatus;

const IClock::SystemTime kNow = *ParseTimeText("2026-01-15T10:15:00Z");
const IClock::SystemTime kEarlier = *ParseTimeText("2025-12-01T08:00:00Z");

CAuthorizationListEntry Entry(EStatus status, const CAuthorizationListEntry::CExpiry& expiry = {})
{
  return CAuthorizationListEntry("TAG", "PARENT", status, expiry, kEarlier);
}

Json::Value Stored() { return Entry(EStatus::EBlocked, kNow).ToJson(); }

Json::Value StoredWith(const std::string& member, const Json::Value& value)
{
  Json::Value stored = Stored();
  stored[member] = value;
  return stored;
}

}  // namespace

TEST(AuthorizationListEntry, AcceptedAndConcurrentTxAreAuthorizedAndNoOtherStatus)
{
  EXPECT_TRUE(Entry(EStatus::EAccepted).IsAuthorized(kNow));
  EXPECT_TRUE(Entry(EStatus::EConcurrentTx).IsAuthorized(kNow));
  EXPECT_FALSE(Entry(EStatus::EBlocked).IsAuthorized(kNow));
  EXPECT_FALSE(Entry(EStatus::EExpired).IsAuthorized(kNow));
  EXPECT_FALSE(Entry(EStatus::EInvalid).IsAuthorized(kNow));
}

TEST(AuthorizationListEntry, StatusIsLoggedAsItsNumber)
{
  const CLogCapture log;
  Entry(EStatus::EConcurrentTx).IsAuthorized(kNow);
  EXPECT_EQ(log.Count("The entry is authorized with status: 2"), 1u);
}

TEST(AuthorizationListEntry, EntryIsGoodUntilItsExpiryDateAndExpiredFromThenOn)
{
  const CLogCapture log;
  auto entry = Entry(EStatus::EAccepted, kNow);
  EXPECT_TRUE(entry.IsAuthorized(kNow - 1s));
  EXPECT_TRUE(entry.IsAuthorized(kNow));
  EXPECT_EQ(entry.GetStatus(), EStatus::EAccepted);
  EXPECT_FALSE(entry.IsAuthorized(kNow + 1ns));
  EXPECT_EQ(entry.GetStatus(), EStatus::EExpired);
  EXPECT_EQ(log.Count("The entry is authorized with status: 3"), 1u);
}

TEST(AuthorizationListEntry, BlockedEntryPastItsExpiryDateIsExpired)
{
  auto entry = Entry(EStatus::EBlocked, kEarlier);
  EXPECT_FALSE(entry.IsAuthorized(kNow));
  EXPECT_EQ(entry.GetStatus(), EStatus::EExpired);
}

TEST(AuthorizationListEntry, UpdateTakesParentStatusAndExpiryAndKeepsTheEntryDate)
{
  const CLogCapture log;
  auto entry = Entry(EStatus::EAccepted, kNow);
  entry.Update(CAuthorizationListEntry("TAG", "OTHER", EStatus::EBlocked, {}, kNow));
  EXPECT_EQ(entry.GetParentId(), "OTHER");
  EXPECT_EQ(entry.GetStatus(), EStatus::EBlocked);
  EXPECT_FALSE(entry.GetExpiry());
  EXPECT_EQ(entry.GetEntryDate(), kEarlier);
  EXPECT_EQ(log.Count("Updating entry TAG with new status/expiry date"), 1u);
}

TEST(AuthorizationListEntry, UpdateFromAnotherIdIsLoggedAndChangesNothing)
{
  const CLogCapture log;
  auto entry = Entry(EStatus::EAccepted, kNow);
  entry.Update(CAuthorizationListEntry("tag", "OTHER", EStatus::EBlocked, {}, kNow));
  EXPECT_EQ(entry.GetId(), "TAG");
  EXPECT_EQ(entry.GetParentId(), "PARENT");
  EXPECT_EQ(entry.GetStatus(), EStatus::EAccepted);
  EXPECT_EQ(entry.GetExpiry(), kNow);
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "Trying to update authorization entry with id TAG to new id tag"), 1u);
  EXPECT_FALSE(log.ContainsPart("with new status/expiry date"));
}

TEST(AuthorizationListEntry, StoredFormHasNumberAndTimeTextsAndTheParentAlways)
{
  Json::Value expected(Json::objectValue);
  expected["parent_id"] = "";
  expected["status"] = 2;
  expected["entry_date"] = "2025-12-01T08:00:00Z";
  EXPECT_EQ(CAuthorizationListEntry("TAG", "", EStatus::EConcurrentTx, {}, kEarlier + 999ms).ToJson(), expected);
  expected["parent_id"] = "PARENT";
  expected["status"] = 4;
  expected["expiry_date"] = "2026-01-15T10:15:00Z";
  EXPECT_EQ(Entry(EStatus::EInvalid, kNow).ToJson(), expected);
}

TEST(AuthorizationListEntry, EveryStatusComesBackFromItsStoredForm)
{
  for (const auto status :
       {EStatus::EAccepted, EStatus::EBlocked, EStatus::EConcurrentTx, EStatus::EExpired, EStatus::EInvalid}) {
    for (const auto& expiry : {CAuthorizationListEntry::CExpiry(), CAuthorizationListEntry::CExpiry(kNow)}) {
      const auto entry = CAuthorizationListEntry::FromJson("TAG", Entry(status, expiry).ToJson(), kNow);
      ASSERT_TRUE(entry);
      EXPECT_EQ(entry->GetId(), "TAG");
      EXPECT_EQ(entry->GetParentId(), "PARENT");
      EXPECT_EQ(entry->GetStatus(), status);
      EXPECT_EQ(entry->GetExpiry(), expiry);
      EXPECT_EQ(entry->GetEntryDate(), kEarlier);
    }
  }
}

TEST(AuthorizationListEntry, ParentAndEntryDateMayBeMissing)
{
  Json::Value stored(Json::objectValue);
  stored["status"] = 0;
  auto entry = CAuthorizationListEntry::FromJson("TAG", stored, kNow);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->GetParentId(), "");
  EXPECT_EQ(entry->GetEntryDate(), kNow);
  EXPECT_FALSE(entry->GetExpiry());
  EXPECT_TRUE(entry->IsAuthorized(kNow));
}

TEST(AuthorizationListEntry, DamagedStoredFormsAreNoEntries)
{
  ASSERT_TRUE(CAuthorizationListEntry::FromJson("TAG", Stored(), kNow));
  Json::Value withoutStatus = Stored();
  withoutStatus.removeMember("status");
  const std::vector<Json::Value> damaged = {
      Json::Value(),
      Json::Value(Json::objectValue),
      Json::Value(Json::arrayValue),
      Json::Value(0),
      Json::Value("Accepted"),
      withoutStatus,
      StoredWith("status", "Accepted"),
      StoredWith("status", -1),
      StoredWith("status", 5),
      StoredWith("status", 256),
      StoredWith("status", 0.5),
      StoredWith("status", Json::Value(Json::UInt64(1) << 40)),
      StoredWith("status", Json::Value()),
      StoredWith("expiry_date", "never"),
      StoredWith("expiry_date", ""),
      StoredWith("expiry_date", 0),
      StoredWith("expiry_date", Json::Value()),
      StoredWith("entry_date", "yesterday"),
      StoredWith("entry_date", 1736935200),
      StoredWith("parent_id", 7),
      StoredWith("parent_id", Json::Value(Json::objectValue)),
  };
  for (const auto& value : damaged) {
    EXPECT_FALSE(CAuthorizationListEntry::FromJson("TAG", value, kNow)) << value.toStyledString();
  }
}

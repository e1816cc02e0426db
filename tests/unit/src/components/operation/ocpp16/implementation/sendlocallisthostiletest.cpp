// SendLocalList payloads that no well-meaning backoffice sends.

#include <limits>

#include "tests/unit/src/components/operation/ocpp16/implementation/locallistfixture.h"

namespace {

class SendLocalListHostile : public CLocalListTest {
 protected:
  void SetUp() override { EXPECT_EQ(Send(Full(5, Tag("TAG"))), "Accepted"); }
  // Refuses the payload as a whole, before anything is done.
  void ExpectRefusal(const std::string& payload)
  {
    CSendLocalListInCall operation(&mAccess, "id", mUpdates);
    bool isRefused = false;
    try {
      operation.Execute(payload);
    } catch (const std::exception&) {
      isRefused = true;
    } catch (const char*) {
      isRefused = true;
    }
    EXPECT_TRUE(isRefused) << payload.substr(0, 200);
  }
};

}  // namespace

TEST_F(SendLocalListHostile, MalformedPayloadsAreRefusedAndTheListStays)
{
  const auto before = mStore->GetState();
  const std::vector<std::string> payloads = {
      "",
      "null",
      "[]",
      "{}",
      R"({"listVersion":6})",
      R"({"updateType":"Full"})",
      R"({"listVersion":"6","updateType":"Full"})",
      R"({"listVersion":6.5,"updateType":"Full"})",
      R"({"listVersion":99999999999999999999,"updateType":"Full"})",
      R"({"listVersion":6,"updateType":"full"})",
      R"({"listVersion":6,"updateType":"Everything"})",
      R"({"listVersion":6,"updateType":1})",
      R"({"listVersion":6,"updateType":"Full","localAuthorizationList":{}})",
      R"({"listVersion":6,"updateType":"Full","localAuthorizationList":["TAG"]})",
      Full(6, R"({"idTagInfo":{"status":"Accepted"}})"),
      Full(6, R"({"idTag":7})"),
      Full(6, Tag("A", "{}")),
      Full(6, Tag("A", R"({"status":"Free"})")),
      Full(6, Tag("A", R"({"status":0})")),
      Full(6, Tag("A", R"({"status":"Accepted","expiryDate":1})")),
      Full(6, Tag("ATAGOFTWENTYONECHARS.")),
      Full(6, Tag("A", R"({"status":"Accepted","parentIdTag":"ATAGOFTWENTYONECHARS."})")),
      Full(6, Tag("\xFF")),
      Full(6, Tag("A")).substr(0, 60),
      Full(6, Tags(300, "A") + "," + Tag("A", R"({"status":"Free"})")),
      Full(6, std::string(100000, '[')),
  };
  for (const auto& payload : payloads) ExpectRefusal(payload);
  EXPECT_EQ(mManager->GetLocalListVersion(), 5);
  EXPECT_EQ(mManager->GetLocalListSize(), 1u);
  EXPECT_TRUE(mManager->IsInLocalList("TAG"));
  EXPECT_EQ(mStore->GetState(), before);
  // And nobody holds the turn.
  EXPECT_EQ(Send(Full(6, Tag("NEXT"))), "Accepted");
}

TEST_F(SendLocalListHostile, HugeListIsRefusedByItsLength)
{
  EXPECT_EQ(Send(Full(6, Tags(60000, "A"))), "Failed");
  EXPECT_EQ(mLog.Count("Size of the incoming full list is 60000, exceeds maximum local list size of 1000"), 1u);
  EXPECT_EQ(mManager->GetLocalListSize(), 1u);
}

TEST_F(SendLocalListHostile, OddIdsAreKeptAsTheyAreAndComeBackFromTheDocument)
{
  const std::string quotes = R"(\"]}\\)";
  EXPECT_EQ(Send(Full(6, Tag("") + "," + Tag(quotes) + "," + Tag("\\u0000") + "," + Tag("list_version") + "," +
                             Tag("\xC3\xA4") + "," + Tag("tag") + "," + Tag("TAG"))),
            "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 7u);
  Restart();
  EXPECT_EQ(mManager->GetLocalListVersion(), 6);
  for (const auto& id : {std::string(), std::string("\"]}\\"), std::string(1, '\0'), std::string("\xC3\xA4"),
                         std::string("tag"), std::string("TAG")}) {
    EXPECT_TRUE(mManager->IsInLocalList(id)) << id;
  }
  EXPECT_FALSE(mManager->IsInLocalList("list_version"));
}

TEST_F(SendLocalListHostile, IdThatComesSeveralTimesHasWhatCameLast)
{
  EXPECT_EQ(Send(Full(6, Tag("A") + "," + Tag("A", R"({"status":"Blocked"})"))), "Accepted");
  EXPECT_EQ(mManager->GetLocalListSize(), 1u);
  EXPECT_EQ(mManager->list->Find("A")->GetStatus(), EAuthorizationStatus::EBlocked);
  EXPECT_EQ(Send(Differential(7, Tag("B") + "," + Removal("B"))), "Accepted");
  EXPECT_FALSE(mManager->IsInLocalList("B"));
}

TEST_F(SendLocalListHostile, ExpiryDateThatIsNoDateIsLoggedAndCountsAsAbsent)
{
  EXPECT_EQ(Send(Full(6, Tag("A", R"({"status":"Accepted","expiryDate":"soon"})"))), "Accepted");
  EXPECT_FALSE(mManager->list->Find("A")->GetExpiry());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Expiry date soon of an id tag cannot be read"), 1u);
}

TEST_F(SendLocalListHostile, ExtremeVersionsAreVersionsLikeOthers)
{
  EXPECT_EQ(Send(Full(std::numeric_limits<int64_t>::max(), Tag("A"))), "Accepted");
  EXPECT_EQ(Send(Differential(std::numeric_limits<int64_t>::max(), "")), "VersionMismatch");
  Restart();
  EXPECT_EQ(mManager->GetLocalListVersion(), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(Send(Full(std::numeric_limits<int64_t>::min(), Tag("A"))), "Accepted");
  Restart();
  EXPECT_EQ(mManager->GetLocalListVersion(), std::numeric_limits<int64_t>::min());
}

// What the message store keeps, in which order, and when it counts as full.

#include "tests/unit/src/components/persistentmessagestoragemanager/messagestorefixture.h"

using FakeOutCalls::MeterValues;
using FakeOutCalls::StartTransaction;
using FakeOutCalls::StopTransaction;

namespace {

class MessageStore : public CMessageStoreTest {};

class CTransactionOutCall : public CFakeOutCall {
 public:
  CTransactionOutCall(const std::string& id, std::string key)
      : CFakeOutCall(FakeOutCalls::TransactionOptions(id, "StopTransaction", true)), mKey(std::move(key))
  {}
  std::optional<std::string> GetTransactionKey() const override { return mKey; }
  void SetTransactionKey(const std::string& key) override { mKey = key; }

 private:
  std::string mKey;
};

// 1000 bytes are passed by any two of the messages below.
class FullMessageStore : public CMessageStoreTest {
 protected:
  FullMessageStore()
  {
    mMaxBytes = 1000;
    Restart();
  }

  std::shared_ptr<CFakeOutCall> Big(const std::shared_ptr<CFakeOutCall>& operation)
  {
    operation->SetPayload(std::string(600, 'x'));
    return operation;
  }

  void Fill()
  {
    ASSERT_EQ(mStore->Store(*Big(StartTransaction("big1"))), EStoreResult::EStored);
    ASSERT_EQ(mStore->Store(*Big(StopTransaction("big2"))), EStoreResult::EStored);
    ASSERT_FALSE(mStore->IsStorageFull());
    ASSERT_EQ(mStore->Store(*StartTransaction("start")), EStoreResult::EStored);
    ASSERT_TRUE(mStore->IsStorageFull());
  }
};

}  // namespace

TEST_F(MessageStore, EntryHoldsCounterActionAndPayloadText)
{
  const auto stop = StopTransaction("stop");
  EXPECT_EQ(mStore->Store(*StartTransaction("start")), EStoreResult::EStored);
  EXPECT_EQ(mStore->Store(*stop), EStoreResult::EStored);
  const Json::Value expected = Record(1, "StopTransaction", R"({"transactionId":-1})");
  EXPECT_EQ(mConfig->GetJson("stop", Json::Value()), expected);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 2u);
}

TEST_F(MessageStore, OperationThatIsNotPersistentIsNotStored)
{
  EXPECT_EQ(mStore->Store(*MeterValues("m", false)), EStoreResult::ENotPersistent);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 0u);
  EXPECT_FALSE(mStore->IsStored("m"));
}

TEST_F(MessageStore, SameIdTwiceKeepsOneEntryWithTheFirstCounter)
{
  const auto start = StartTransaction("start");
  EXPECT_EQ(mStore->Store(*start), EStoreResult::EStored);
  start->SetPayload(R"({"other":1})");
  EXPECT_EQ(mStore->Store(*start), EStoreResult::EAlreadyStored);
  EXPECT_EQ(mConfig->GetJson("start", Json::Value()), Record(0, "StartTransaction"));
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "start already exist in storage"), 1u);
}

TEST_F(MessageStore, ResultNumbersAreThoseOfTheLog)
{
  EXPECT_EQ(static_cast<int>(EStoreResult::EStored), 0);
  EXPECT_EQ(static_cast<int>(EStoreResult::EAlreadyStored), 2);
  EXPECT_EQ(static_cast<int>(EStoreResult::ENotPersistent), 3);
  EXPECT_EQ(static_cast<int>(EStoreResult::ENotStored), 4);
  EXPECT_EQ(static_cast<int>(EClearResult::ECleared), 0);
  EXPECT_EQ(static_cast<int>(EClearResult::EUnknown), 1);
}

TEST_F(MessageStore, ClearingAnUnknownIdChangesNothing)
{
  mStore->Store(*StartTransaction("start"));
  EXPECT_EQ(mStore->Clear("other"), EClearResult::EUnknown);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "other does not exist in storage when clearing"), 1u);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
  EXPECT_EQ(mStore->Clear("start"), EClearResult::ECleared);
  EXPECT_EQ(mStore->Clear("start"), EClearResult::EUnknown);
}

TEST_F(MessageStore, AfterTheLastEntryIsClearedTheNextMessageGetsCounterZero)
{
  mStore->Store(*StartTransaction("a"));
  mStore->Store(*StopTransaction("b"));
  mStore->Clear("a");
  mStore->Store(*StartTransaction("c"));
  EXPECT_EQ(CounterOf("c"), 2);
  mStore->Clear("b");
  EXPECT_FALSE(mLog.Contains("Persistent messages storage is now empty. Reset queued counter"));
  mStore->Clear("c");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Persistent messages storage is now empty. Reset queued counter"), 1u);
  mStore->Store(*StartTransaction("d"));
  EXPECT_EQ(CounterOf("d"), 0);
}

TEST_F(MessageStore, AfterARestartReplayIsInCounterOrderAndTheNextCounterFollows)
{
  mConfig->Preset("a", Record(5, "StopTransaction", R"({"n":5})"));
  mConfig->Preset("b", Record(2, "StartTransaction", R"({"n":2})"));
  mConfig->Preset("c", Record(9, "MeterValues", R"({"n":9})"));
  Restart();
  const auto messages = mStore->GetStoredMessages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].messageId, "b");
  EXPECT_EQ(messages[0].type, EOutOpType::EStartTransaction);
  EXPECT_EQ(messages[0].payload, R"({"n":2})");
  EXPECT_EQ(messages[1].messageId, "a");
  EXPECT_EQ(messages[2].messageId, "c");
  EXPECT_TRUE(mLog.Contains("Highest queued counter from the storage is 9"));
  EXPECT_TRUE(
      mLog.Contains("Queuing SMessage from persistent storage. id: b, type: StartTransaction, queuedCounter: 2"));
  mStore->Store(*StartTransaction("d"));
  EXPECT_EQ(CounterOf("d"), 10);
}

TEST_F(MessageStore, EmptyStoreStartsFromZero)
{
  EXPECT_TRUE(ReplayedIds().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Persistent message storage is empty, queuedCounter starts from 0"), 1u);
  mStore->Store(*StartTransaction("a"));
  EXPECT_EQ(CounterOf("a"), 0);
}

TEST_F(MessageStore, CounterIsRightEvenBeforeTheStoredMessagesAreRead)
{
  mConfig->Preset("old", Record(7, "StopTransaction"));
  Restart();
  mStore->Store(*StartTransaction("new"));
  EXPECT_EQ(CounterOf("new"), 8);
}

TEST_F(MessageStore, MessagesOfThisRunAreNotReplayed)
{
  mConfig->Preset("old", Record(7, "StopTransaction"));
  Restart();
  mStore->Store(*StartTransaction("new"));
  EXPECT_EQ(ReplayedIds(), std::vector<std::string>{"old"});
  mStore->Store(*StopTransaction("newer"));
  EXPECT_EQ(CounterOf("newer"), 9);
  mStore->Clear("old");
  EXPECT_TRUE(ReplayedIds().empty());
  EXPECT_FALSE(mLog.Contains("Persistent message storage is empty, queuedCounter starts from 0"));
  Restart();
  EXPECT_EQ(ReplayedIds(), (std::vector<std::string>{"new", "newer"}));
}

TEST_F(MessageStore, MessagesStoredAfterTheStoreWasEmptiedAreNotReplayedEither)
{
  mConfig->Preset("old", Record(7, "StopTransaction"));
  Restart();
  mStore->Clear("old");
  mStore->Store(*StartTransaction("new"));
  EXPECT_EQ(CounterOf("new"), 0);
  EXPECT_TRUE(ReplayedIds().empty());
}

TEST_F(MessageStore, UpdatedPayloadKeepsItsPlaceInTheOrder)
{
  const auto stop = StopTransaction("stop");
  mStore->Store(*StartTransaction("start"));
  mStore->Store(*stop);
  mStore->Store(*StartTransaction("next"));
  stop->UpdateTransactionId(42);
  EXPECT_TRUE(mStore->UpdatePayload(*stop));
  EXPECT_EQ(mConfig->GetJson("stop", Json::Value()), Record(1, "StopTransaction", R"({"transactionId":42})"));
  Restart();
  EXPECT_EQ(ReplayedIds(), (std::vector<std::string>{"start", "stop", "next"}));
}

TEST_F(MessageStore, UpdateOfAMessageThatIsNotStoredStoresNothing)
{
  EXPECT_FALSE(mStore->UpdatePayload(*StopTransaction("stop")));
  EXPECT_EQ(mStore->GetNumStoredMessages(), 0u);
  EXPECT_TRUE(mConfig->GetState().empty());
}

TEST_F(MessageStore, TransactionKeyIsKeptWithTheMessageAndComesBack)
{
  mStore->Store(*std::make_shared<CTransactionOutCall>("stop", "start"));
  mStore->Store(*std::make_shared<CTransactionOutCall>("meter", ""));
  mStore->Store(*StopTransaction("without"));
  EXPECT_EQ(mConfig->GetJson("stop", Json::Value())["TransactionKey"], "start");
  CTransactionOutCall updated("stop", "start");
  updated.SetPayload(R"({"transactionId":42})");
  EXPECT_TRUE(mStore->UpdatePayload(updated));
  Restart();
  const auto messages = mStore->GetStoredMessages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].transactionKey, "start");
  EXPECT_EQ(messages[0].payload, R"({"transactionId":42})");
  EXPECT_EQ(messages[1].transactionKey, "");
  EXPECT_FALSE(messages[2].transactionKey.has_value());
}

TEST_F(MessageStore, TransactionKeyThatIsNoTextCountsAsNone)
{
  auto record = Record(1, "StopTransaction");
  record["TransactionKey"] = 7;
  mConfig->Preset("stop", record);
  Restart();
  const auto messages = mStore->GetStoredMessages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_FALSE(messages[0].transactionKey.has_value());
}

TEST_F(FullMessageStore, FullCallbackRunsOnceAndOnlyMeterValuesAreGivenUp)
{
  Fill();
  EXPECT_EQ(mEvents, std::vector<std::string>{"full"});
  EXPECT_TRUE(mLog.ContainsPart("exceeded configured size (1000 bytes)."));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Triggering storage full callback"), 1u);
  EXPECT_EQ(mStore->Store(*StopTransaction("stop")), EStoreResult::EStored);
  EXPECT_EQ(mStore->Store(*MeterValues("meter", true)), EStoreResult::ENotStored);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Not saving meter value persistently due to storage full"), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Storage full callback was triggered once, skip triggering again."), 2u);
  EXPECT_EQ(mEvents, std::vector<std::string>{"full"});
  EXPECT_EQ(mStore->GetNumStoredMessages(), 4u);
}

TEST_F(FullMessageStore, UsageExactlyAtTheLimitIsNotFull)
{
  mStore->Store(*StartTransaction("a"));
  mMaxBytes = static_cast<uint32_t>(mConfig->GetUsedBytes());
  Restart();
  mStore->CheckStorageUsage();
  EXPECT_FALSE(mStore->IsStorageFull());
  --mMaxBytes;
  Restart();
  mStore->CheckStorageUsage();
  EXPECT_TRUE(mStore->IsStorageFull());
  EXPECT_EQ(mEvents, std::vector<std::string>{"full"});
  EXPECT_TRUE(mLog.Contains("Used persistent storage (" + std::to_string(mMaxBytes + 1) +
                            " bytes) exceeded configured size (" + std::to_string(mMaxBytes) + " bytes)."));
}

TEST_F(FullMessageStore, FullConditionEndsWithTheLastEntryOnly)
{
  Fill();
  mStore->Clear("big1");
  mStore->Clear("big2");
  EXPECT_TRUE(mStore->IsStorageFull());
  EXPECT_EQ(mStore->Store(*MeterValues("meter", true)), EStoreResult::ENotStored);
  mStore->Clear("start");
  EXPECT_FALSE(mStore->IsStorageFull());
  EXPECT_EQ(mEvents, (std::vector<std::string>{"full", "ready"}));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Trigger storage ready callback. Storage full condition resolved."), 1u);
  EXPECT_EQ(mStore->Store(*MeterValues("meter", true)), EStoreResult::EStored);
}

TEST_F(FullMessageStore, StoreThatWasNeverFullIsNotReportedReady)
{
  mStore->Store(*StartTransaction("a"));
  mStore->Clear("a");
  EXPECT_TRUE(mEvents.empty());
}

TEST_F(FullMessageStore, FullStoreOfAnEarlierRunIsReportedWhenItsMessagesAreLoaded)
{
  Fill();
  Restart();
  mEvents.clear();
  mStore->GetStoredMessages();
  mStore->FinishLoading();
  EXPECT_EQ(mEvents, std::vector<std::string>{"full"});
  for (const std::string id : {"big1", "big2", "start"}) mStore->Clear(id);
  EXPECT_EQ(mEvents, (std::vector<std::string>{"full", "ready"}));
}

TEST_F(FullMessageStore, StoreThatAnEarlierRunReportedFullAndThatHasRoomAgainIsReportedReady)
{
  Fill();
  mStore->Clear("big1");
  mStore->Clear("big2");
  Restart();
  mEvents.clear();
  mStore->GetStoredMessages();
  mStore->FinishLoading();
  EXPECT_EQ(mEvents, std::vector<std::string>{"ready"});
}

TEST_F(FullMessageStore, CallbacksMayCallBackIntoTheStore)
{
  size_t numAtFull = 0;
  mStore->SetStorageFullCallback([&] {
    EXPECT_TRUE(mStore->IsStorageFull());
    numAtFull = mStore->GetNumStoredMessages();
  });
  Fill();
  EXPECT_EQ(numAtFull, 3u);
  mStore->SetStorageReadyCallback([&] { EXPECT_EQ(mStore->Store(*StartTransaction("more")), EStoreResult::EStored); });
  for (const std::string id : {"big1", "big2", "start"}) mStore->Clear(id);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
}

TEST_F(FullMessageStore, WithoutCallbacksTheLogTells)
{
  mStore = std::make_unique<CPersistentMessageStorageManager>(mConfig, mMaxBytes);
  Fill();
  EXPECT_EQ(mLog.Count("StorageFullCallback in PersistentMessageStorageManager is not set."), 1u);
  for (const std::string id : {"big1", "big2", "start"}) mStore->Clear(id);
  EXPECT_EQ(mLog.Count("StorageReadyCallback in PersistentMessageStorageManager is not set."), 1u);
}

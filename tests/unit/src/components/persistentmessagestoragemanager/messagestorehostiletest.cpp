// Records that cannot be read, writes that fail, power that goes.

#include <limits>

#include "tests/unit/src/components/persistentmessagestoragemanager/messagestorefixture.h"

using FakeOutCalls::StartTransaction;
using FakeOutCalls::StopTransaction;

namespace {

class HostileMessageStore : public CMessageStoreTest {};

}  // namespace

TEST_F(HostileMessageStore, RecordWithUnreadableCounterIsLoggedAndRemoved)
{
  const std::vector<Json::Value> counters = {Json::Value(),
                                             Json::Value("7"),
                                             Json::Value(1.5),
                                             Json::Value(-1),
                                             Json::Value(Json::arrayValue),
                                             Json::Value(Json::Int64(5000000000)),
                                             Json::Value(std::numeric_limits<uint32_t>::max())};
  for (size_t i = 0; i < counters.size(); ++i) {
    mConfig->Preset("bad" + std::to_string(i), Record(counters[i], "StopTransaction", R"({"n":1})"));
  }
  mConfig->Preset("good", Record(3, "StartTransaction"));
  Restart();
  EXPECT_EQ(ReplayedIds(), std::vector<std::string>{"good"});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "Stored message ID:bad1, Type:StopTransaction, Payload:{\"n\":1} has invalid queued counter "
                       "\"7\", discard message. Error: not an integer from 0 to 4294967294"),
            1u);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
  EXPECT_EQ(mConfig->GetState().size(), 1u);
}

TEST_F(HostileMessageStore, RecordOfAnotherShapeIsLoggedAndRemoved)
{
  Json::Value withoutPayload(Json::objectValue);
  withoutPayload["QueuedCounter"] = 1;
  withoutPayload["OperationType"] = "StopTransaction";
  mConfig->Preset("list", Json::Value(Json::arrayValue));
  mConfig->Preset("text", Json::Value("text"));
  mConfig->Preset("null", Json::Value());
  mConfig->Preset("without payload", withoutPayload);
  mConfig->Preset("payload no text", [] {
    auto record = Record(2, "StopTransaction");
    record["Payload"] = Json::Value(Json::objectValue);
    return record;
  }());
  Restart();
  EXPECT_EQ(mStore->GetNumStoredMessages(), 5u);
  EXPECT_TRUE(ReplayedIds().empty());
  EXPECT_EQ(mStore->GetNumStoredMessages(), 0u);
  EXPECT_TRUE(mConfig->GetState().empty());
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EError, "Stored message ID:text is not readable, discard message. Record: \"text\""),
      1u);
}

TEST_F(HostileMessageStore, UnknownOrMissingActionComesBackAsInvalidForTheFactoryToRefuse)
{
  Json::Value withoutAction = Record(2, "");
  withoutAction.removeMember("OperationType");
  mConfig->Preset("unknown", Record(1, "FooBar"));
  mConfig->Preset("without", withoutAction);
  mConfig->Preset("other", Record(3, "SecurityEventNotification"));
  // The name in the table lacks an s, so the action on the wire resolves to nothing.
  mConfig->Preset("wire", Record(4, "DiagnosticsStatusNotification"));
  Restart();
  const auto messages = mStore->GetStoredMessages();
  ASSERT_EQ(messages.size(), 4u);
  EXPECT_EQ(messages[0].type, EOutOpType::EInvalid);
  EXPECT_EQ(messages[1].type, EOutOpType::EInvalid);
  EXPECT_EQ(messages[2].type, EOutOpType::ESecurityEventNotification);
  EXPECT_EQ(messages[3].type, EOutOpType::EInvalid);
  EXPECT_TRUE(mLog.Contains("Queuing SMessage from persistent storage. id: unknown, type: Invalid, queuedCounter: 1"));
}

TEST_F(HostileMessageStore, EqualCountersKeepBothMessages)
{
  mConfig->Preset("a", Record(1, "StartTransaction"));
  mConfig->Preset("b", Record(1, "StopTransaction"));
  Restart();
  EXPECT_EQ(ReplayedIds(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(HostileMessageStore, FailedWriteIsToldAndCostsNoCounter)
{
  mStore->Store(*StartTransaction("a"));
  mConfig->GetMedium().FailWrite(1);
  EXPECT_EQ(mStore->Store(*StopTransaction("b")), EStoreResult::ENotStored);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "StopTransaction(ID:b) could not be written to storage"), 1u);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
  EXPECT_EQ(mStore->Store(*StartTransaction("c")), EStoreResult::EStored);
  EXPECT_EQ(CounterOf("c"), 1);
}

TEST_F(HostileMessageStore, FailedEraseLeavesTheMessageStored)
{
  mStore->Store(*StartTransaction("a"));
  mConfig->GetMedium().FailAllWrites(true);
  EXPECT_EQ(mStore->Clear("a"), EClearResult::EUnknown);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "a could not be erased from storage"), 1u);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
  mConfig->GetMedium().FailAllWrites(false);
  EXPECT_EQ(mStore->Clear("a"), EClearResult::ECleared);
}

TEST_F(HostileMessageStore, FailedEraseIsMadeUpForWithTheNextUseOfTheStore)
{
  const std::vector<std::function<void()>> uses = {[&] { mStore->Store(*StopTransaction("next")); },
                                                   [&] { mStore->Clear("other"); },
                                                   [&] { mStore->CheckStorageUsage(); }};
  for (const auto& use : uses) {
    mConfig = std::make_shared<CFakeConfig>();
    Restart();
    for (const std::string id : {"a", "b", "other"}) mStore->Store(*StartTransaction(id));
    mConfig->GetMedium().FailAllWrites(true);
    mStore->Clear("a");
    mStore->Clear("b");
    EXPECT_EQ(mStore->GetNumStoredMessages(), 3u);
    mConfig->GetMedium().FailAllWrites(false);
    use();
    EXPECT_FALSE(mStore->IsStored("a"));
    EXPECT_FALSE(mStore->IsStored("b"));
    EXPECT_EQ(mStore->GetNumStoredMessages(), mConfig->GetState().size());
  }
}

TEST_F(HostileMessageStore, FailedEraseOfTheLastMessageDoesNotKeepAStoreFull)
{
  mMaxBytes = 1;
  Restart();
  mStore->Store(*StartTransaction("a"));
  mStore->CheckStorageUsage();
  EXPECT_EQ(mEvents, std::vector<std::string>{"full"});
  mConfig->GetMedium().FailWrite(1);
  mStore->Clear("a");
  EXPECT_TRUE(mStore->IsStorageFull());
  mStore->CheckStorageUsage();
  EXPECT_FALSE(mStore->IsStorageFull());
  EXPECT_EQ(mEvents, (std::vector<std::string>{"full", "ready"}));
  EXPECT_EQ(mStore->GetNumStoredMessages(), 0u);
}

TEST_F(HostileMessageStore, MessageThatIsStoredAgainBehindAFailedEraseStays)
{
  mStore->Store(*StartTransaction("a"));
  mConfig->GetMedium().FailAllWrites(true);
  mStore->Clear("a");
  EXPECT_EQ(mStore->Store(*StartTransaction("a")), EStoreResult::EAlreadyStored);
  mConfig->GetMedium().FailAllWrites(false);
  mStore->CheckStorageUsage();
  EXPECT_TRUE(mStore->IsStored("a"));
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
}

TEST_F(HostileMessageStore, WhileNothingCanBeErasedEachUseTriesOnce)
{
  for (int i = 0; i < 20; ++i) mStore->Store(*StartTransaction(std::to_string(i)));
  mConfig->GetMedium().FailAllWrites(true);
  for (int i = 0; i < 20; ++i) mStore->Clear(std::to_string(i));
  const auto writes = mConfig->GetMedium().GetWriteCount();
  mStore->CheckStorageUsage();
  EXPECT_EQ(mConfig->GetMedium().GetWriteCount(), writes + 1);
  EXPECT_EQ(mLog.Count("0 could not be erased from storage"), 1u);
}

TEST_F(HostileMessageStore, RecordThatCannotBeReadNorErasedIsMadeUpForAsWell)
{
  mConfig->Preset("list", Json::Value(Json::arrayValue));
  Restart();
  mConfig->GetMedium().FailWrite(1);
  EXPECT_TRUE(ReplayedIds().empty());
  EXPECT_EQ(mStore->GetNumStoredMessages(), 1u);
  mStore->CheckStorageUsage();
  EXPECT_EQ(mStore->GetNumStoredMessages(), 0u);
  EXPECT_TRUE(mConfig->GetState().empty());
}

TEST_F(HostileMessageStore, FailedUpdateLeavesTheOldPayload)
{
  const auto stop = StopTransaction("stop");
  mStore->Store(*stop);
  stop->UpdateTransactionId(42);
  mConfig->GetMedium().FailWrite(1);
  EXPECT_FALSE(mStore->UpdatePayload(*stop));
  EXPECT_EQ(mConfig->GetJson("stop", Json::Value()), Record(0, "StopTransaction", R"({"transactionId":-1})"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Payload of StopTransaction(ID:stop) could not be updated in storage"),
            1u);
}

TEST_F(HostileMessageStore, PayloadThatIsNoUtf8IsNotStoredAndTold)
{
  const auto start = StartTransaction("a");
  start->SetPayload("{\"idTag\":\"\xff\"}");
  EXPECT_EQ(mStore->Store(*start), EStoreResult::ENotStored);
  EXPECT_EQ(mStore->GetNumStoredMessages(), 0u);
}

TEST_F(HostileMessageStore, PowerCutAtAnyWriteLeavesAPrefixInOrder)
{
  for (uint64_t cut = 0; cut <= 5; ++cut) {
    mConfig = std::make_shared<CFakeConfig>();
    Restart();
    mConfig->GetMedium().CutPowerAfterWrite(cut);
    const auto stop = StopTransaction("2");
    mStore->Store(*StartTransaction("1"));
    mStore->Store(*stop);
    stop->UpdateTransactionId(42);
    mStore->UpdatePayload(*stop);
    mStore->Store(*StartTransaction("3"));
    mStore->Clear("1");
    CFakeConfig::SOptions options;
    options.stored = mConfig->GetSurvivingState();
    mConfig = std::make_shared<CFakeConfig>(options);
    Restart();
    const std::vector<std::vector<std::string>> expected = {{},         {"1"},           {"1", "2"},
                                                            {"1", "2"}, {"1", "2", "3"}, {"2", "3"}};
    EXPECT_EQ(ReplayedIds(), expected[cut]) << cut;
  }
}

TEST_F(HostileMessageStore, WorkPerMessageDoesNotGrowWithTheNumberOfMessages)
{
  // Counts the reads of a whole domain, which is what growth would look like.
  class CCountingConfig : public CFakeConfig {
   public:
    std::vector<std::string> ListKeys() const override
    {
      ++mLists;
      return CFakeConfig::ListKeys();
    }
    mutable int mLists = 0;
  };
  const auto config = std::make_shared<CCountingConfig>();
  CPersistentMessageStorageManager store(config, mMaxBytes);
  const int listsOfConstruction = config->mLists;
  for (int i = 0; i < 50; ++i) store.Store(*StartTransaction(std::to_string(i)));
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(store.GetNumStoredMessages(), static_cast<size_t>(50 - i));
    store.Clear(std::to_string(i));
  }
  EXPECT_EQ(config->mLists, listsOfConstruction);
}

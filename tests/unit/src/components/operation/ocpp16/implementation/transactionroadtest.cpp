// Whole sessions on their way to the central system: which transaction id each message carries, whatever was queued,
// given up or interrupted before.

#include "tests/unit/src/components/operation/ocpp16/implementation/transactionlife.h"
#include "tests/unit/support/logcapture.h"

using namespace std::chrono_literals;

namespace {

class TransactionRoad : public testing::Test {
 protected:
  TransactionRoad() { mStation.SetIdTag("TAG"); }

  CTransactionLife& Life()
  {
    if (!mLife) mLife = std::make_unique<CTransactionLife>(mStation);
    return *mLife;
  }
  void Kill() { mLife.reset(); }
  // Takes the one call that is out and checks what it is; -2: without transaction id.
  SSentCall Expect(const std::string& action, int64_t transactionId = -2)
  {
    auto call = Life().TakeOne();
    EXPECT_EQ(call.action, action);
    EXPECT_EQ(call.TransactionId(), transactionId) << action;
    return call;
  }
  void ExpectAndAccept(const std::string& action, int64_t transactionId = -2, int64_t givenId = 0)
  {
    Life().Accept(Expect(action, transactionId), givenId);
  }
  // A session whose stop the central system refuses, so that its id stays with the connector.
  void LeaveStaleId(int64_t id)
  {
    Life().StartSession(1);
    ExpectAndAccept("StartTransaction", -2, id);
    ExpectAndAccept("MeterValues", id);
    Life().StopSession(2);
    Life().Refuse(Expect("StopTransaction", id));
    ASSERT_EQ(Life().GetSession().GetTransactionId(), id);
  }

  // A session of its own; gives what was stored just before its stop was answered.
  CFakeConfig::CState StopStored(int64_t id)
  {
    Life().StartSession(1);
    ExpectAndAccept("StartTransaction", -2, id);
    ExpectAndAccept("MeterValues", id);
    Life().StopSession(2);
    auto stored = mStation.messages->GetState();
    ExpectAndAccept("StopTransaction", id);
    return stored;
  }
  void PutBack(const CFakeConfig::CState& stored) const
  {
    for (const auto& entry : stored) mStation.messages->Preset(entry.first, entry.second);
  }

  CLogCapture mLog;
  STransactionStation mStation;
  std::unique_ptr<CTransactionLife> mLife;
};

}  // namespace

TEST_F(TransactionRoad, SessionOnlineCarriesItsIdFromTheConfirmationOn)
{
  Life().StartSession(1);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  Life().AdvanceBy(900s);
  ExpectAndAccept("MeterValues", 42);
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", 42);
  EXPECT_EQ(Life().GetSession().GetTransactionId(), -1);
  EXPECT_EQ(Life().CountStored(), 0U);
}

TEST_F(TransactionRoad, StopQueuedBehindUnconfirmedStartGoesOutWithTheConfirmedId)
{
  Life().SetOnline(false);
  Life().StartSession(1);
  Life().StopSession(5);
  EXPECT_TRUE(Life().Take().empty());
  Life().SetOnline(true);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  ExpectAndAccept("StopTransaction", 42);
}

TEST_F(TransactionRoad, TwoSessionsQueuedOfflineKeepTheirIdsApart)
{
  Life().SetOnline(false);
  for (int i = 0; i < 2; ++i) {
    Life().StartSession(1);
    Life().StopSession(5);
  }
  Life().SetOnline(true);
  for (const int64_t id : {42, 43}) {
    ExpectAndAccept("StartTransaction", -2, id);
    ExpectAndAccept("MeterValues", id);
    ExpectAndAccept("StopTransaction", id);
  }
}

TEST_F(TransactionRoad, RestoredStartIsSentFirstAheadOfAnythingNewer)
{
  Life().SetOnline(false);
  Life().StartSession(1);
  Kill();
  Life().StartSession(1);
  Life().StopSession(5);
  const auto start = Expect("StartTransaction");
  EXPECT_EQ(start.payload["meterStart"], 1);
  Life().Accept(start, 42);
  ExpectAndAccept("MeterValues", 42);
  ExpectAndAccept("MeterValues", 42);
  ExpectAndAccept("StopTransaction", 42);
  EXPECT_EQ(Life().CountStored(), 0U);
}

TEST_F(TransactionRoad, MessagesKeepTheirIdsAndOrderOverARestart)
{
  Life().SetOnline(false);
  Life().StartSession(1);
  Life().StopSession(5);
  std::vector<std::string> ids;
  for (const auto& message : mStation.messages->GetState()) ids.push_back(message.first);
  EXPECT_EQ(ids.size(), 3U);
  Kill();
  for (const std::string action : {"StartTransaction", "MeterValues", "StopTransaction"}) {
    const auto call = Life().TakeOne();
    EXPECT_EQ(call.action, action);
    EXPECT_NE(std::find(ids.begin(), ids.end(), call.id), ids.end());
    Life().Accept(call, 42);
  }
}

TEST_F(TransactionRoad, SessionThatSurvivesARestartKeepsTransactionAndId)
{
  Life().StartSession(1);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  Kill();
  Life().StartSession(1);
  ExpectAndAccept("MeterValues", 42);
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", 42);
  Life().StartSession(5);
  ExpectAndAccept("StartTransaction", -2, 43);
}

TEST_F(TransactionRoad, GivenUpStartLeavesItsMessagesWithoutAnId)
{
  Life().StartSession(1);
  Life().Refuse(Expect("StartTransaction"));
  ExpectAndAccept("MeterValues");
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", -1);
}

TEST_F(TransactionRoad, GivenUpStartDoesNotInheritTheIdOfASessionWhoseStopWasGivenUp)
{
  LeaveStaleId(41);
  Life().StartSession(3);
  Life().Refuse(Expect("StartTransaction"));
  ExpectAndAccept("MeterValues");
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", -1);
}

TEST_F(TransactionRoad, UnconfirmedStartDoesNotInheritItEitherOverARestart)
{
  LeaveStaleId(41);
  Life().SetOnline(false);
  Life().StartSession(3);
  Life().StopSession(5);
  Kill();
  Life().Refuse(Expect("StartTransaction"));
  ExpectAndAccept("MeterValues");
  ExpectAndAccept("StopTransaction", -1);
}

TEST_F(TransactionRoad, SessionAfterAGivenUpStopGetsItsOwnId)
{
  LeaveStaleId(41);
  Life().SetOnline(false);
  Life().StartSession(3);
  Life().StopSession(5);
  Life().SetOnline(true);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  ExpectAndAccept("StopTransaction", 42);
}

TEST_F(TransactionRoad, StopMadeWhileAnEarlierOneWaitsDoesNotCarryItsId)
{
  Life().StartSession(1);
  ExpectAndAccept("StartTransaction", -2, 41);
  ExpectAndAccept("MeterValues", 41);
  Life().StopSession(2);
  const auto firstStop = Expect("StopTransaction", 41);
  Life().StartSession(3);
  Life().StopSession(5);
  Life().Accept(firstStop);
  Life().Refuse(Expect("StartTransaction"));
  ExpectAndAccept("MeterValues");
  ExpectAndAccept("StopTransaction", -1);
}

TEST_F(TransactionRoad, StopThatWasConfirmedBeforeTheKillIsRepeatedWithItsId)
{
  Life().StartSession(1);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  Life().StopSession(5);
  const auto stop = Expect("StopTransaction", 42);
  // The confirmation has cleared the id, and the message is still stored.
  Life().GetSession().ClearTransactionId();
  Kill();
  EXPECT_EQ(Expect("StopTransaction", 42).id, stop.id);
}

TEST_F(TransactionRoad, StopThatWasOverwrittenInTheStoreIsRepeatedWithTheConfirmedId)
{
  Life().SetOnline(false);
  Life().StartSession(1);
  Life().StopSession(5);
  Life().SetOnline(true);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  Expect("StopTransaction", 42);
  Life().GetSession().ClearTransactionId();
  Kill();
  ExpectAndAccept("StopTransaction", 42);
}

// Messages that were answered and could not be erased from the store: they are sent again after a restart, beside a
// session of their own that they have nothing to do with.
TEST_F(TransactionRoad, AnsweredStopThatComesBackLeavesTheRunningSessionItsId)
{
  const auto stored = StopStored(41);
  Life().StartSession(3);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  Kill();
  PutBack(stored);
  ExpectAndAccept("StopTransaction", 41);
  EXPECT_EQ(Life().GetSession().GetTransactionId(), 42);
  Life().StartSession(3);
  ExpectAndAccept("MeterValues", 42);
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", 42);
  EXPECT_EQ(Life().GetSession().GetTransactionId(), -1);
}

TEST_F(TransactionRoad, AnsweredStopOfAnEarlierVersionLeavesTheRunningSessionItsId)
{
  auto stored = StopStored(41);
  for (auto& entry : stored) entry.second.removeMember("TransactionKey");
  Life().StartSession(3);
  ExpectAndAccept("StartTransaction", -2, 42);
  ExpectAndAccept("MeterValues", 42);
  Kill();
  PutBack(stored);
  ExpectAndAccept("StopTransaction", 41);
  EXPECT_EQ(Life().GetSession().GetTransactionId(), 42);
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", 42);
}

TEST_F(TransactionRoad, AnsweredStartThatComesBackLeavesTheRunningSessionItsId)
{
  for (const bool isRefused : {false, true}) {
    Life().StartSession(1);
    const auto stored = mStation.messages->GetState();
    ExpectAndAccept("StartTransaction", -2, 41);
    ExpectAndAccept("MeterValues", 41);
    Life().StopSession(2);
    ExpectAndAccept("StopTransaction", 41);
    Life().StartSession(3);
    ExpectAndAccept("StartTransaction", -2, 42);
    ExpectAndAccept("MeterValues", 42);
    Kill();
    PutBack(stored);
    const auto again = Expect("StartTransaction");
    isRefused ? Life().Refuse(again) : Life().Accept(again, 41);
    ExpectAndAccept("MeterValues");
    EXPECT_EQ(Life().GetSession().GetTransactionId(), 42);
    Life().StopSession(5);
    ExpectAndAccept("StopTransaction", 42);
    Kill();
  }
}

TEST_F(TransactionRoad, StartThatIsAnsweredAgainUnderAnotherIdGivesItToItsStop)
{
  Life().StartSession(1);
  const auto stored = mStation.messages->GetState();
  ExpectAndAccept("StartTransaction", -2, 41);
  ExpectAndAccept("MeterValues", 41);
  Life().SetOnline(false);
  Life().StopSession(2);
  Kill();
  for (auto [id, record] : mStation.messages->GetState()) {
    record["QueuedCounter"] = 9;
    mStation.messages->Preset(id, record);
  }
  PutBack(stored);
  ExpectAndAccept("StartTransaction", -2, 43);
  ExpectAndAccept("MeterValues", 43);
  ExpectAndAccept("StopTransaction", 43);
}

TEST_F(TransactionRoad, SessionsQueuedOfflineKeepTheirIdsApartOverRestarts)
{
  Life().SetOnline(false);
  for (int i = 0; i < 2; ++i) {
    Life().StartSession(1);
    Life().StopSession(5);
  }
  Kill();
  for (const int64_t id : {42, 43}) {
    ExpectAndAccept("StartTransaction", -2, id);
    Kill();
    ExpectAndAccept("MeterValues", id);
    Kill();
    Expect("StopTransaction", id);
    Kill();
    ExpectAndAccept("StopTransaction", id);
  }
}

TEST_F(TransactionRoad, ClockAlignedValueOutsideOfASessionHasNoIdAfterARestartEither)
{
  mStation.config->SetInt("ClockAlignedDataInterval", 900);
  LeaveStaleId(41);
  Life().StartClockAligned();
  Life().SetOnline(false);
  Life().AdvanceBy(900s);
  EXPECT_EQ(Life().CountStored(), 1U);
  Kill();
  ExpectAndAccept("MeterValues");
}

TEST_F(TransactionRoad, AnswerWithAnUnknownStatusGivesTheIdAllTheSame)
{
  Life().StartSession(1);
  const auto start = Expect("StartTransaction");
  Life().Answer(start, R"({"idTagInfo":{"status":"Maybe"},"transactionId":42})");
  ExpectAndAccept("MeterValues", 42);
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", 42);
}

TEST_F(TransactionRoad, AnswersWithFaultsBesideTheIdGiveAndEndItAllTheSame)
{
  Life().StartSession(1);
  Life().Answer(Expect("StartTransaction"),
                R"({"idTagInfo":{"status":"Accepted","expiryDate":null},"transactionId":42})");
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EError,
                 "[Cpo Backoffice] An exception is thrown. StartTransaction, [json.exception.type_error.302] type "
                 "must be string, but is null"),
      1U);
  ExpectAndAccept("MeterValues", 42);
  Life().StopSession(5);
  Life().Answer(Expect("StopTransaction", 42), R"({"idTagInfo":null})");
  EXPECT_EQ(Life().GetSession().GetTransactionId(), -1);
  EXPECT_EQ(Life().CountStored(), 0U);
}

TEST_F(TransactionRoad, AnswerThatCannotBeReadLeavesNoIdOfAnEarlierSession)
{
  LeaveStaleId(41);
  Life().StartSession(3);
  Life().Answer(Expect("StartTransaction"), R"({"idTagInfo":{}})");
  ExpectAndAccept("MeterValues");
  Life().StopSession(5);
  ExpectAndAccept("StopTransaction", -1);
}

TEST_F(TransactionRoad, TimedOutStartIsRepeatedUntilItIsAnswered)
{
  Life().StartSession(1);
  const auto first = Expect("StartTransaction");
  Life().AdvanceBy(30s);
  const auto second = Expect("StartTransaction");
  EXPECT_EQ(second.id, first.id);
  EXPECT_EQ(second.payload, first.payload);
  Life().Accept(second, 42);
  ExpectAndAccept("MeterValues", 42);
}

TEST_F(TransactionRoad, MeterValuesStoredUnderEarlierSettingsLeaveTheStoreWhenAnswered)
{
  Life().StartSession(1);
  ExpectAndAccept("StartTransaction", -2, 42);
  Expect("MeterValues", 42);
  EXPECT_EQ(Life().CountStored(), 1U);
  Kill();
  mStation.config->SetBool("MeterValuePersistentStorageEnable", false);
  ExpectAndAccept("MeterValues", 42);
  EXPECT_EQ(Life().CountStored(), 0U);
}

TEST_F(TransactionRoad, DenseMeterValuesAreSentAndNotStored)
{
  mStation.config->SetInt("MeterValueSampleInterval", 60);
  Life().StartSession(1);
  ExpectAndAccept("StartTransaction", -2, 42);
  Expect("MeterValues", 42);
  EXPECT_EQ(Life().CountStored(), 0U);
}

TEST_F(TransactionRoad, FirstClockAlignedIntervalIsTheEnergySinceClockAlignedValuesWereStarted)
{
  mStation.config->SetString("MeterValuesAlignedData", "Energy.Active.Import.Interval");
  mStation.config->SetInt("ClockAlignedDataInterval", 900);
  ipc::MMeterData reading;
  for (const int64_t registerMilliWh : {10000000, 10250000, 10310000}) {
    reading.set_energy_register(registerMilliWh);
    mStation.meter->SetMeterData(reading);
    if (registerMilliWh == 10000000) {
      Life().StartClockAligned();
      continue;
    }
    Life().AdvanceBy(900s);
    const auto call = Expect("MeterValues");
    const auto& sample = call.payload["meterValue"][0]["sampledValue"][0];
    EXPECT_EQ(sample["context"], "Sample.Clock");
    EXPECT_EQ(sample["value"], registerMilliWh == 10250000 ? "250" : "60");
    Life().Accept(call);
  }
}

TEST_F(TransactionRoad, AuxiliaryBesideThePrimaryNeitherGivesNorTakesAnId)
{
  CTransactionLife auxiliary(mStation, EBackofficeId::EAuxiliary);
  auxiliary.GetSession().SettleTransaction("start", 42);
  auxiliary.StartSession(1);
  auto start = auxiliary.TakeOne();
  EXPECT_EQ(start.action, "StartTransaction");
  auxiliary.Accept(start, 7);
  EXPECT_EQ(mLog.Count("In result call from Tovira Hub is rejected by filter. Response not handled"), 1U);
  EXPECT_EQ(auxiliary.GetSession().GetTransactionId(), 42);
  auxiliary.StopSession(2);
  auto stop = auxiliary.TakeOne();
  EXPECT_EQ(stop.action, "StopTransaction");
  auxiliary.Fail(stop);
  EXPECT_EQ(auxiliary.GetSession().GetTransactionId(), 42);
}

TEST_F(TransactionRoad, ErrorsOfTheAuxiliaryDoNotTakeThePrimarysId)
{
  CTransactionLife auxiliary(mStation, EBackofficeId::EAuxiliary);
  auxiliary.GetSession().SettleTransaction("start", 42);
  for (int i = 0; i < 3; ++i) {
    auxiliary.StartSession(1);
    auxiliary.Fail(auxiliary.TakeOne());
    auxiliary.StopSession(2);
    auxiliary.Fail(auxiliary.TakeOne());
  }
  EXPECT_EQ(auxiliary.GetSession().GetTransactionId(), 42);
}

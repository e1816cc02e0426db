// Each rule of the account book catches the fault that it is there for.

#include "tests/unit/src/components/ocppcomponent/day/accountbook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using EAnswer = CAccountBook::EAnswer;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr uint32_t kAttempts = 3;

class AccountBook : public testing::Test {
 protected:
  AccountBook()
  {
    mBook.StartSession("TAG1", 100, "T1");
    mBook.StopSession(200, "T2");
    mBook.StartSession("TAG2", 210, "T3");
    mBook.StopSession(300, "T4");
    mEnd.connectorStatus = "Available";
  }

  void Start(const std::string& id, int64_t wh, const std::string& tag, const std::string& time)
  {
    mBook.Receive({id, "StartTransaction", {{"idTag", tag}, {"meterStart", wh}, {"timestamp", time}}});
  }
  void Stop(const std::string& id, int64_t wh, const std::string& time, int64_t transactionId)
  {
    mBook.Receive({id, "StopTransaction", {{"meterStop", wh}, {"timestamp", time}, {"transactionId", transactionId}}});
  }
  void Sample(const std::string& id, int64_t wh, int64_t transactionId, const std::string& context = "Sample.Periodic")
  {
    nlohmann::json payload;
    payload["meterValue"] = {{{"sampledValue", {{{"value", std::to_string(wh)}, {"context", context}}}}}};
    if (transactionId != -1) payload["transactionId"] = transactionId;
    mBook.Receive({id, "MeterValues", payload});
  }
  void Accept(const std::string& id) { mBook.Answer(id, EAnswer::EAccepted); }
  void StartAndAccept(const std::string& id, int64_t wh, const std::string& tag, const std::string& time,
                      int64_t transactionId)
  {
    Start(id, wh, tag, time);
    mBook.AssignTransactionId(id, transactionId);
    Accept(id);
  }
  void Status(const std::string& status)
  {
    mBook.Receive({"status" + status, "StatusNotification", {{"connectorId", 1}, {"status", status}}});
  }
  void FirstSession()
  {
    StartAndAccept("a", 100, "TAG1", "T1", 7);
    Stop("b", 200, "T2", 7);
    Accept("b");
  }
  void SecondSession()
  {
    StartAndAccept("c", 210, "TAG2", "T3", 8);
    Stop("d", 300, "T4", 8);
    Accept("d");
    Status("Available");
  }
  std::vector<std::string> Audit() const { return mBook.Audit(mEnd); }
  void ExpectFault(const std::string& text) const { EXPECT_THAT(Audit(), Contains(HasSubstr(text))); }

  CAccountBook mBook{kAttempts};
  CAccountBook::SEnd mEnd;
};

TEST_F(AccountBook, BalancesWhenEverySessionWasBilledOnceInOrder)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  Sample("m1", 150, 7);
  Accept("m1");
  Sample("m2", 150, 7);
  Stop("b", 200, "T2", 7);
  Accept("b");
  Sample("m3", 205, -1, "Sample.Clock");
  SecondSession();
  EXPECT_THAT(Audit(), IsEmpty());
}

TEST_F(AccountBook, BalancesWhenAMessageComesAgainWithItsIdPutIn)
{
  Start("a", 100, "TAG1", "T1");
  Start("a", 100, "TAG1", "T1");
  mBook.Answer("a", EAnswer::EUnreadable);
  Stop("b", 200, "T2", -1);
  Stop("b", 200, "T2", -1);
  Accept("b");
  SecondSession();
  EXPECT_THAT(Audit(), IsEmpty());
}

TEST_F(AccountBook, BalancesWhenAMessageWasRefusedAsOftenAsAllowed)
{
  Start("a", 100, "TAG1", "T1");
  for (uint32_t i = 0; i < kAttempts; ++i) mBook.Answer("a", EAnswer::EError);
  Stop("b", 200, "T2", -1);
  mBook.Answer("b", EAnswer::ENotImplemented);
  SecondSession();
  EXPECT_THAT(Audit(), IsEmpty());
}

TEST_F(AccountBook, BalancesWhenAnAnsweredMessageComesAgainAfterARestart)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  mBook.Restart();
  Start("a", 100, "TAG1", "T1");
  Accept("a");
  Stop("b", 200, "T2", 7);
  Accept("b");
  SecondSession();
  EXPECT_THAT(Audit(), IsEmpty());
}

TEST_F(AccountBook, CountsRefusalsAnewAfterARestart)
{
  Start("a", 100, "TAG1", "T1");
  mBook.Answer("a", EAnswer::EError);
  mBook.Answer("a", EAnswer::EError);
  mBook.Restart();
  Start("a", 100, "TAG1", "T1");
  mBook.Answer("a", EAnswer::EError);
  ExpectFault("start of session TAG1 was dropped without an answer");
  Start("a", 100, "TAG1", "T1");
  mBook.AssignTransactionId("a", 7);
  Accept("a");
  Stop("b", 200, "T2", 7);
  Accept("b");
  SecondSession();
  EXPECT_THAT(Audit(), IsEmpty());
}

TEST_F(AccountBook, FindsALostStart)
{
  SecondSession();
  ExpectFault("start of session TAG1 is lost");
}

TEST_F(AccountBook, FindsALostStop)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  SecondSession();
  ExpectFault("stop of session TAG1 is lost");
}

TEST_F(AccountBook, FindsASessionUnderTwoMessageIds)
{
  Start("x", 100, "TAG1", "T1");
  FirstSession();
  Stop("y", 200, "T2", 7);
  SecondSession();
  ExpectFault("start of session TAG1 is doubled");
  ExpectFault("stop of session TAG1 is doubled");
}

TEST_F(AccountBook, FindsAMessageDroppedWithoutAnAnswer)
{
  FirstSession();
  Start("c", 210, "TAG2", "T3");
  mBook.Answer("c", EAnswer::EError);
  Stop("d", 300, "T4", -1);
  Accept("d");
  ExpectFault("start of session TAG2 was dropped without an answer");
}

TEST_F(AccountBook, FindsAStopWithoutTheIdThatHadBeenGiven)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  Stop("b", 200, "T2", -1);
  ExpectFault("without the transaction id that had been given: StopTransaction b");
}

TEST_F(AccountBook, FindsMeterValuesWithoutTheIdThatHadBeenGiven)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  Sample("m", 150, -1);
  ExpectFault("without the transaction id that had been given: MeterValues m");
}

TEST_F(AccountBook, FindsTheIdOfAnotherSession)
{
  FirstSession();
  StartAndAccept("c", 210, "TAG2", "T3", 8);
  Sample("m", 250, 7);
  Stop("d", 300, "T4", 7);
  ExpectFault("transaction id of another session: MeterValues m");
  ExpectFault("transaction id of another session: StopTransaction d");
}

TEST_F(AccountBook, FindsAnIdOutsideASession)
{
  FirstSession();
  Sample("m", 205, 7);
  ExpectFault("transaction id outside a session: MeterValues m");
}

TEST_F(AccountBook, FindsTagAndTimeOfAnotherSession)
{
  Start("a", 100, "TAG2", "T3");
  ExpectFault("start with the tag of another session");
  ExpectFault("start with a time that is not the session's");
  mBook.Receive({"b", "StopTransaction", {{"meterStop", 200}, {"idTag", "TAG2"}, {"timestamp", "T4"}}});
  ExpectFault("stop with the tag of another session");
  ExpectFault("stop with a time that is not the session's");
}

TEST_F(AccountBook, FindsSessionsThatNeverWere)
{
  Start("a", 101, "TAG1", "T1");
  Stop("b", 201, "T2", 7);
  ExpectFault("start of a session that never was");
  ExpectFault("stop of a session that never was");
}

TEST_F(AccountBook, FindsAStopAheadOfItsStart)
{
  Stop("b", 200, "T2", -1);
  Start("a", 100, "TAG1", "T1");
  ExpectFault("stop ahead of its start");
  ExpectFault("start behind a stop");
}

TEST_F(AccountBook, FindsMeterValuesOutsideTheirStartAndStop)
{
  Sample("m1", 150, -1);
  FirstSession();
  Sample("m2", 200, 7);
  ExpectFault("meter values ahead of their start");
  ExpectFault("meter values behind their stop");
}

TEST_F(AccountBook, FindsSessionsInTheWrongOrder)
{
  StartAndAccept("c", 210, "TAG2", "T3", 8);
  Start("a", 100, "TAG1", "T1");
  ExpectFault("start ahead of the stop of an earlier session");
  ExpectFault("start behind that of a later session");
}

TEST_F(AccountBook, FindsAMeterThatRunsBackwards)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  Sample("m1", 150, 7);
  Sample("m2", 149, 7);
  ExpectFault("meter runs backwards: MeterValues m2");
}

TEST_F(AccountBook, FindsAnotherPayloadOrActionUnderTheSameMessageId)
{
  Start("a", 100, "TAG1", "T1");
  Start("a", 100, "TAG1", "T9");
  ExpectFault("sent again with another payload");
  Stop("a", 200, "T2", 7);
  ExpectFault("one message id for two actions");
}

TEST_F(AccountBook, FindsAnotherTransactionIdUnderTheSameMessageId)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  Stop("b", 200, "T2", 7);
  Stop("b", 200, "T2", -1);
  ExpectFault("sent again with another transaction id");
}

TEST_F(AccountBook, FindsAMessageThatComesAgainAfterItsAnswer)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  Start("a", 100, "TAG1", "T1");
  ExpectFault("sent again after its answer");
}

TEST_F(AccountBook, FindsAMessageThatComesAgainBehindALaterOne)
{
  StartAndAccept("a", 100, "TAG1", "T1", 7);
  Sample("m1", 150, 7);
  mBook.Restart();
  Start("a", 100, "TAG1", "T1");
  ExpectFault("sent again behind a later message");
}

TEST_F(AccountBook, FindsAConnectorThatIsNotWhatItWasToldToBe)
{
  FirstSession();
  SecondSession();
  mEnd.connectorStatus = "Charging";
  ExpectFault("connector is Charging, told was Available");
}

TEST_F(AccountBook, FindsWhatIsLeftOfAFullStore)
{
  mEnd.storedMessages = 1;
  mEnd.isStorageAvailable = false;
  mEnd.isStorageFullSignal = true;
  ExpectFault("messages are left in the store");
  ExpectFault("the session manager believes that the store is full");
  ExpectFault("diagnostics believes that the store is full");
}

TEST_F(AccountBook, KeepsFaultsThatOthersFound)
{
  mBook.AddFault("two calls in flight");
  ExpectFault("two calls in flight");
}

}  // namespace

// Transaction ids and whose they are, and what is left of a session by a process that is killed at any moment of it.

#include "tests/unit/src/components/sessionclienthandler/sessionclientfixture.h"

namespace {

class SessionTransaction : public CSessionClientTest {};

}  // namespace

TEST_F(SessionTransaction, IdIsMinusOneUntilGivenAndOnceCleared)
{
  EXPECT_EQ(mHandler->GetTransactionId(), -1);
  mHandler->SetTransactionId(int64_t{1} << 40);
  EXPECT_EQ(mHandler->GetTransactionId(), int64_t{1} << 40);
  EXPECT_EQ(mData->GetInt("CurrentTransactionId", -1), int64_t{1} << 40);
  mHandler->ClearTransactionId();
  EXPECT_EQ(mData->GetInt("CurrentTransactionId", 0), -1);
}

// Changes of values that are no objects are reported to the operator as parameters that were reconfigured.
TEST_F(SessionTransaction, WhatIsKeptForARestartIsNoParameterButForTheIdAndTheOpenTransaction)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  mHandler->SettleTransaction("start1", 42);
  mHandler->HandleSessionStopped(Reading(2), 4);
  mHandler->ClearTransactionId();
  std::vector<std::string> parameters;
  for (const auto& key : mData->ListKeys()) {
    if (mData->GetJson(key, Json::Value()).isConvertibleTo(Json::stringValue)) parameters.push_back(key);
  }
  EXPECT_EQ(parameters, (std::vector<std::string>{"CurrentTransactionId", "OpenedTransaction"}));
  EXPECT_EQ(mData->ListKeys().size(), 4U);
}

TEST_F(SessionTransaction, IdSurvivesARestart)
{
  mHandler->SettleTransaction("start", 42);
  Restart();
  EXPECT_EQ(mHandler->GetTransactionId(), 42);
  EXPECT_EQ(mHandler->GetTransactionIdOf("start"), 42);
}

TEST_F(SessionTransaction, IdBelongsToTheStartThatWasGivenIt)
{
  mHandler->SettleTransaction("start1", 42);
  EXPECT_EQ(mHandler->GetTransactionIdOf("start1"), 42);
  EXPECT_EQ(mHandler->GetTransactionIdOf("start2"), -1);
  EXPECT_EQ(mHandler->GetTransactionIdOf(""), -1);
  EXPECT_EQ(mHandler->GetTransactionIdOf(ISessionClientHandler::kAnyTransaction), 42);
}

TEST_F(SessionTransaction, StartThatWasGivenUpLeavesNoIdOfAnEarlierSession)
{
  mHandler->SettleTransaction("start1", 42);
  mHandler->SettleTransaction("start2", -1);
  EXPECT_EQ(mHandler->GetTransactionId(), -1);
  EXPECT_EQ(mHandler->GetTransactionIdOf("start2"), -1);
  EXPECT_EQ(mHandler->GetTransactionIdOf("start1"), -1);
}

TEST_F(SessionTransaction, RunningSessionHasTheKeyOfItsStartUntilItsStopIsPushed)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  EXPECT_EQ(mHandler->GetTransactionKey(), "start1");
  mOcpp->onPush = [this](const CFakeOcpp::SPush&) { EXPECT_EQ(mHandler->GetTransactionKey(), "start1"); };
  mHandler->HandleSessionStopped(Reading(2), 4);
  EXPECT_EQ(mOcpp->pushes.size(), 2U);
  EXPECT_EQ(mHandler->GetTransactionKey(), "");
}

TEST_F(SessionTransaction, KeySurvivesARestartInTheMiddleOfASession)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  Restart();
  mHandler->HandleSessionStarted(Reading(1));
  EXPECT_EQ(mHandler->GetTransactionKey(), "start1");
  EXPECT_EQ(mOcpp->pushes.size(), 1U);
}

TEST_F(SessionTransaction, SessionWhoseStartReachesNoBackofficeHasNoKey)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  mOcpp->onPush = {};
  mData->Preset("OpenedTransaction", false);
  mHandler->HandleSessionStarted(Reading(1));
  EXPECT_EQ(mHandler->GetTransactionKey(), "");
}

TEST_F(SessionTransaction, DataFromBeforeThereWereKeysBelongToTheCurrentTransaction)
{
  mData->Preset("OpenedTransaction", true);
  mData->Preset("CurrentTransactionId", 5);
  Restart();
  EXPECT_EQ(mHandler->GetTransactionKey(), ISessionClientHandler::kAnyTransaction);
  EXPECT_EQ(mHandler->GetTransactionIdOf(mHandler->GetTransactionKey()), 5);
}

TEST_F(SessionTransaction, ProcessKilledBetweenStoredStartAndItsMarkDoesNotStartTheSessionTwice)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  mData->Preset("OpenedTransaction", false);
  Restart();
  EXPECT_TRUE(IsOpened());
  EXPECT_EQ(mLog.Count("[1] The process ended while its session was being started"), 1U);
  mHandler->HandleSessionStarted(Reading(1));
  EXPECT_EQ(mOcpp->pushes.size(), 1U);
}

TEST_F(SessionTransaction, ProcessKilledAfterTheAnswerAndBeforeTheMarkDoesNotStartTheSessionTwice)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  mHandler->SettleTransaction("start1", 42);
  mStorage->Clear("start1");
  mData->Preset("OpenedTransaction", false);
  Restart();
  mHandler->HandleSessionStarted(Reading(1));
  EXPECT_EQ(mOcpp->pushes.size(), 1U);
}

TEST_F(SessionTransaction, ProcessKilledBeforeTheStartWasStoredStartsTheSession)
{
  mHandler->Init();
  mHandler->BeginTransaction("start1");
  Restart();
  EXPECT_FALSE(IsOpened());
  BeginWhenPushed("start2");
  mHandler->HandleSessionStarted(Reading(1));
  EXPECT_EQ(mOcpp->pushes.size(), 1U);
  EXPECT_EQ(mHandler->GetTransactionKey(), "start2");
}

TEST_F(SessionTransaction, ProcessKilledBetweenStoredStopAndItsMarkDoesNotSwallowTheNextSession)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  CFakeConfig::CState atStop;
  mOcpp->onPush = [&](const CFakeOcpp::SPush&) { atStop = mData->GetState(); };
  mHandler->HandleSessionStopped(Reading(2), 4);
  for (const auto& [key, value] : atStop) mData->Preset(key, value);
  ASSERT_TRUE(IsOpened());
  Restart();
  EXPECT_FALSE(IsOpened());
  EXPECT_EQ(mLog.Count("[1] The process ended while its session was being stopped"), 1U);
  BeginWhenPushed("start2");
  mHandler->HandleSessionStarted(Reading(2));
  EXPECT_EQ(mOcpp->pushes.back().operation, EOutOpType::EStartTransaction);
  EXPECT_EQ(mOcpp->pushes.size(), 3U);
}

TEST_F(SessionTransaction, StopThatIsStoredIsKnownByItsTransactionWhereTheReadingTellsNoEnd)
{
  class CStopOfStart1 : public CFakeOutCall {
   public:
    CStopOfStart1() : CFakeOutCall(FakeOutCalls::TransactionOptions("stop1", "StopTransaction", true)) {}
    std::optional<std::string> GetTransactionKey() const override { return "start1"; }
  };
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  auto reading = Reading(2);
  reading.clear_session_end_energy();
  CFakeConfig::CState atStop;
  mOcpp->onPush = [&](const CFakeOcpp::SPush&) {
    mStorage->Store(CStopOfStart1());
    atStop = mData->GetState();
  };
  mHandler->HandleSessionStopped(reading, 4);
  for (const auto& [key, value] : atStop) mData->Preset(key, value);
  Restart();
  mHandler->HandleSessionStopped(reading, 4);
  EXPECT_EQ(mOcpp->pushes.size(), 2U);
}

TEST_F(SessionTransaction, RestartBetweenSessionsFindsNone)
{
  mHandler->Init();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  mHandler->HandleSessionStopped(Reading(2), 4);
  Restart();
  mHandler->HandleSessionStarted(Reading(2));
  EXPECT_EQ(mOcpp->pushes.size(), 3U);
}

TEST_F(SessionTransaction, SessionCostsFourWritesOfTheConnectorsData)
{
  mHandler->Init();
  BeginWhenPushed("start0");
  mHandler->HandleSessionStarted(Reading(1));
  mHandler->HandleSessionStopped(Reading(2), 4);
  const auto before = mData->GetMedium().GetWriteCount();
  BeginWhenPushed("start1");
  mHandler->HandleSessionStarted(Reading(1));
  mHandler->HandleSessionStopped(Reading(2), 4);
  EXPECT_EQ(mData->GetMedium().GetWriteCount() - before, 4U);
}

// A disk that is full or read-only: the process knows its sessions all the same, and writes them when it can.

#include "tests/unit/src/components/sessionclienthandler/sessionclientfixture.h"

namespace {

class SessionDisk : public CSessionClientTest {
 protected:
  void Tell(ipc::EConnectorState value)
  {
    ipc::MConnectorState state;
    state.set_state(value);
    mHandler->HandleStateChanged(state);
  }

  const std::string kFailed =
      "[1] What is known of the session cannot be written, it is held in memory until it can be";
  const std::string kWritten = "[1] What is known of the session is written again";
};

}  // namespace

TEST_F(SessionDisk, SessionsOnADiskThatFailsHaveTheirKeysAndIds)
{
  BeginSessions();
  mData->GetMedium().FailAllWrites(true);
  for (const auto& key : {"start1", "start2"}) {
    const bool isFirst = mKeys == 0;
    mHandler->HandleSessionStarted(isFirst ? mFirst : mSecond);
    EXPECT_EQ(mHandler->GetTransactionKey(), key);
    mHandler->SettleTransaction(key, 42 + mKeys);
    EXPECT_EQ(mHandler->GetTransactionIdOf(key), 42 + mKeys);
    EXPECT_EQ(mHandler->GetTransactionId(), 42 + mKeys);
    const auto begin = std::exchange(mOcpp->onPush, [&](const CFakeOcpp::SPush&) {
      EXPECT_EQ(mHandler->GetTransactionIdOf(mHandler->GetTransactionKey()), 42 + mKeys);
    });
    mHandler->HandleSessionStopped(isFirst ? mFirstEnd : mSecondEnd, 4);
    mOcpp->onPush = begin;
    EXPECT_EQ(mHandler->GetTransactionKey(), "");
    mHandler->ClearTransactionId();
    EXPECT_EQ(mHandler->GetTransactionId(), -1);
  }
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
  EXPECT_GT(mLog.Count(Log::ELogLevel::EError, kFailed), 0U);
}

TEST_F(SessionDisk, EventsToldAgainOnADiskThatFailsAreKnown)
{
  BeginSessions();
  mData->GetMedium().FailAllWrites(true);
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
}

TEST_F(SessionDisk, SessionThatEndedWhileItFailedIsKnownAfterARestartOnceADiskWrites)
{
  BeginSessions();
  mData->GetMedium().FailAllWrites(true);
  mHandler->HandleSessionStarted(mFirst);
  mHandler->SettleTransaction("start1", 42);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  mData->GetMedium().FailAllWrites(false);
  Tell(ipc::EConnectorStateFinishing);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, kWritten), 1U);
  Restart();
  EXPECT_EQ(mHandler->GetTransactionIdOf("start1"), 42);
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
}

TEST_F(SessionDisk, SessionThatBeganWhileItFailedGoesOnAfterARestartOnceADiskWrites)
{
  BeginSessions();
  mData->GetMedium().FailAllWrites(true);
  mHandler->HandleSessionStarted(mFirst);
  mData->GetMedium().FailAllWrites(false);
  mHandler->SettleTransaction("start1", 42);
  Restart();
  EXPECT_TRUE(IsOpened());
  mHandler->HandleSessionStarted(mFirst);
  EXPECT_EQ(Pushed(), (std::vector{kStart}));
  EXPECT_EQ(mHandler->GetTransactionIdOf(mHandler->GetTransactionKey()), 42);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
}

TEST_F(SessionDisk, EachWriteThatFailsIsMadeUpForByTheNextOne)
{
  for (uint64_t n = 1; n <= 4; ++n) {
    mData = std::make_shared<CFakeConfig>();
    mAccess.RegisterHandle(std::shared_ptr<IcConfig::IConfig>(mData), 1);
    mOcpp->pushes.clear();
    mHandler = std::make_unique<CSessionClientHandler>(1, mSessionManager, mAccess);
    BeginSessions();
    mData->GetMedium().FailWrite(n);
    mHandler->HandleSessionStarted(mFirst);
    EXPECT_EQ(mHandler->GetTransactionKey(), fmt::format("start{}", mKeys)) << n;
    mHandler->HandleSessionStopped(mFirstEnd, 4);
    mHandler->SetTransactionId(7);
    EXPECT_FALSE(IsOpened()) << n;
    Restart();
    EXPECT_EQ(mHandler->GetTransactionKey(), "") << n;
    mHandler->HandleSessionStarted(mFirst);
    mHandler->HandleSessionStopped(mFirstEnd, 4);
    EXPECT_EQ(Pushed(), (std::vector{kStart, kStop})) << n;
  }
}

TEST_F(SessionDisk, DiskThatWritesIsNotWrittenToWithoutNews)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  const auto before = mData->GetMedium().GetWriteCount();
  Tell(ipc::EConnectorStateCharging);
  mHandler->HandleSessionStarted(mFirst);
  EXPECT_EQ(mData->GetMedium().GetWriteCount(), before);
  EXPECT_EQ(mLog.Count(kWritten), 0U);
}

TEST_F(SessionDisk, WhoeverHearsOfAWriteMayAsk)
{
  int64_t heard = 0;
  mHandler->Init();
  mData->SetCallbacks({}, [&](const std::string&, const Json::Value&) { heard = mHandler->GetTransactionId(); });
  mHandler->SettleTransaction("start1", 42);
  EXPECT_EQ(heard, 42);
}

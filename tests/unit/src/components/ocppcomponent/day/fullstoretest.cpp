// What the whole component does when the store of messages is full.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/src/components/ocppcomponent/day/daystation.h"

namespace {

using namespace std::chrono_literals;

constexpr uint64_t kFull = 2000001;

class FullStore : public testing::Test {
 protected:
  explicit FullStore(int64_t sampleIntervalS = 900) : mStation(Options(sampleIntervalS))
  {
    mStation.PowerOn();
    mStation.GetClock().AdvanceBy(1min);
  }

  static CDayStation::SOptions Options(int64_t sampleIntervalS)
  {
    CDayStation::SOptions options;
    options.sampleIntervalS = sampleIntervalS;
    return options;
  }
  void SetOnline(bool isOnline)
  {
    mStation.GetNetwork().state = isOnline ? CDayNetwork::EState::EUp : CDayNetwork::EState::EDown;
    mStation.BreakLinks();
    mStation.GetClock().AdvanceBy(2min);
  }
  void Begin()
  {
    mStation.GetSessions().Unplug();
    mStation.GetSessions().Begin();
    mStation.GetClock().AdvanceBy(1s);
  }
  void End()
  {
    mStation.GetSessions().End(ipc::EStopSessionReasonLocal);
    mStation.GetClock().AdvanceBy(1s);
  }
  size_t CountStored(const std::string& action)
  {
    const auto messages = mStation.Config("secc_persistentmessages")->GetState();
    return static_cast<size_t>(std::count_if(messages.begin(), messages.end(), [&](const auto& message) {
      return message.second["OperationType"] == action;
    }));
  }
  std::vector<bool> Told() { return mStation.GetSessions().GetManager()->MessageStorageAvailabilities(); }
  void Restart()
  {
    mStation.PowerOff();
    mStation.PowerOn();
    mStation.GetClock().AdvanceBy(10s);
  }
  // Full, offline, in the middle of a charge.
  void FillDuringACharge()
  {
    SetOnline(false);
    Begin();
    mStation.Inflate(kFull);
    mStation.GetClock().AdvanceBy(15min);
  }
  void ExpectBalance() { EXPECT_EQ(mStation.Audit(), std::vector<std::string>()); }

  CDayStation mStation;
};

TEST_F(FullStore, GivesUpMeterValuesAndKeepsStartsAndStops)
{
  FillDuringACharge();
  EXPECT_EQ(CountStored("MeterValues"), 1U);
  End();
  EXPECT_EQ(CountStored("StopTransaction"), 1U);
  EXPECT_EQ(CountStored("StartTransaction"), 1U);
  ExpectBalance();
}

TEST_F(FullStore, KeepsTheStartOfASessionThatCouldNotBeRefusedAnyMore)
{
  SetOnline(false);
  Begin();
  mStation.Inflate(kFull);
  End();
  // The session manager was told; one that was approved before may still begin.
  mStation.GetSessions().GetManager()->SetMessageStorageAvailable(true);
  Begin();
  EXPECT_EQ(CountStored("StartTransaction"), 2U);
  mStation.Inflate(0);
  ExpectBalance();
}

TEST_F(FullStore, IsToldOnceWhenItBeginsAndOnceWhenAllMessagesHaveGone)
{
  EXPECT_NE(mStation.IsStorageFullSignal(), true);
  FillDuringACharge();
  EXPECT_EQ(mStation.IsStorageFullSignal(), true);
  ASSERT_FALSE(Told().empty());
  EXPECT_FALSE(Told().back());
  const auto toldFull = Told().size();
  mStation.GetClock().AdvanceBy(1h);
  EXPECT_EQ(Told().size(), toldFull);
  // Below the limit is not enough.
  mStation.Inflate(0);
  End();
  EXPECT_EQ(mStation.IsStorageFullSignal(), true);
  SetOnline(true);
  EXPECT_EQ(mStation.CountStored(), 0U);
  EXPECT_EQ(mStation.IsStorageFullSignal(), false);
  EXPECT_EQ(Told().size(), toldFull + 1);
  EXPECT_TRUE(Told().back());
  ExpectBalance();
}

TEST_F(FullStore, EndsAlsoForAProcessThatWasStartedAfterItsBeginning)
{
  FillDuringACharge();
  mStation.Inflate(0);
  Restart();
  End();
  SetOnline(true);
  mStation.GetClock().AdvanceBy(10min);
  EXPECT_EQ(mStation.CountStored(), 0U);
  EXPECT_TRUE(Told().back());
  EXPECT_EQ(mStation.IsStorageFullSignal(), false);
  ExpectBalance();
}

TEST_F(FullStore, IsToldByAProcessThatFindsItFull)
{
  FillDuringACharge();
  mStation.GetSessions().GetManager()->SetMessageStorageAvailable(true);
  Restart();
  EXPECT_FALSE(Told().back());
  EXPECT_EQ(mStation.IsStorageFullSignal(), true);
  SetOnline(true);
  mStation.Inflate(0);
  ExpectBalance();
}

}  // namespace

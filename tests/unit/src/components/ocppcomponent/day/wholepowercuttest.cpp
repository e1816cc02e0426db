// A charge of the whole component whose power is cut at every write in turn, and what the operator's book says in the
// end.

#include <gtest/gtest.h>

#include "tests/unit/src/components/ocppcomponent/day/daystation.h"

namespace {

using namespace std::chrono_literals;

constexpr uint64_t kMaxWrites = 100;

enum class ELink {
  EOnline,
  EOfflineFromThePlug,  // until the charge is over
  EOfflineThenRestart,  // the process is started again in the middle as well
};

CDayStation::SOptions Options()
{
  CDayStation::SOptions options;
  options.sampleIntervalS = 900;
  return options;
}

// Whoever has lost its power gets it back, and goes on.
void Pass(CDayStation& station, std::chrono::nanoseconds duration)
{
  station.Pass(duration);
  if (!station.IsPowerCut()) return;
  station.PowerOff();
  station.GetClock().AdvanceBy(10s);
  station.PowerOn();
  station.GetClock().AdvanceBy(duration);
}

void SetOnline(CDayStation& station, bool isOnline)
{
  station.GetNetwork().state = isOnline ? CDayNetwork::EState::EUp : CDayNetwork::EState::EDown;
  station.BreakLinks();
}

void PlayCharge(CDayStation& station, ELink link)
{
  auto& sessions = station.GetSessions();
  if (link != ELink::EOnline) SetOnline(station, false);
  sessions.Begin();
  Pass(station, 40min);
  if (link == ELink::EOfflineThenRestart && station.IsOn()) {
    station.PowerOff();
    station.PowerOn();
    Pass(station, 5min);
  }
  sessions.End(ipc::EStopSessionReasonLocal);
  sessions.Unplug();
  Pass(station, 5min);
  if (link != ELink::EOnline) SetOnline(station, true);
  Pass(station, 10min);
}

// True when the power was cut before the charge was over and answered.
bool RunCharge(uint64_t writes, CDayStation::ECut cut, ELink link)
{
  CDayStation station(Options());
  station.PowerOn();
  station.GetClock().AdvanceBy(1min);
  const auto& sessions = station.GetSessions();
  station.CutPowerAfter(writes, cut);
  uint64_t lives = 0;
  station.GetCentral().WithBook([&](CAccountBook& book) { lives = book.CountLives(); });
  PlayCharge(station, link);
  const uint64_t restarts = link == ELink::EOfflineThenRestart ? 1 : 0;
  bool isCut = false;
  station.GetCentral().WithBook([&](CAccountBook& book) { isCut = book.CountLives() > lives + restarts; });
  // The next charge is one of its own.
  if (!sessions.IsRunning()) station.GetSessions().Begin();
  station.GetClock().AdvanceBy(1min);
  const auto faults = station.Audit();
  for (const auto& fault : faults) ADD_FAILURE() << "cut at write " << writes << ": " << fault;
  station.GetCentral().WithBook([&](CAccountBook& book) { EXPECT_EQ(book.CountSessions(), 2U); });
  return isCut;
}

void CutAtEveryWrite(CDayStation::ECut cut, ELink link)
{
  uint64_t writes = cut == CDayStation::ECut::EBehindWrite ? 1 : 0;
  uint64_t cuts = 0;
  for (; writes < kMaxWrites && RunCharge(writes, cut, link); ++writes) ++cuts;
  EXPECT_GE(cuts, 7U);
  EXPECT_LT(writes, kMaxWrites);
}

TEST(WholeComponent, BillsASessionThatIsToldOfRightAfterItsStart)
{
  CDayStation station(Options());
  station.PowerOn();
  station.GetClock().AdvanceBy(1min);
  station.PowerOff();
  station.GetSessions().Begin();
  station.GetClock().AdvanceBy(1min);
  station.PowerOn();
  EXPECT_EQ(station.CountStored(), 0U);
  station.GetClock().WaitIdle();
  EXPECT_EQ(station.CountStored(), 1U);
  EXPECT_EQ(station.Audit(), std::vector<std::string>());
}

// The id that is missing then does not say that the stop was answered.
TEST(WholePowerCut, AtAnyWriteOfTheStopOfASessionWhoseStartWasGivenUpLosesNoStop)
{
  for (uint64_t writes = 0; writes < 6; ++writes) {
    CDayStation station(Options());
    station.PowerOn();
    station.GetClock().AdvanceBy(1min);
    CDayCentral::SMood refusing;
    refusing.notImplemented = 100;
    station.GetCentral().SetMood(refusing);
    station.GetSessions().Begin();
    station.GetClock().AdvanceBy(20min);
    station.GetCentral().SetMood(CDayCentral::kKind);
    station.CutPowerAfter(writes, CDayStation::ECut::EBeforeNextWrite);
    station.GetSessions().End(ipc::EStopSessionReasonLocal);
    station.GetSessions().Unplug();
    Pass(station, 5min);
    EXPECT_EQ(station.Audit(), std::vector<std::string>()) << "cut at write " << writes;
  }
}

TEST(WholePowerCut, BehindAnyWriteOfAChargeOnlineLeavesTheBooksRight)
{
  CutAtEveryWrite(CDayStation::ECut::EBehindWrite, ELink::EOnline);
}

TEST(WholePowerCut, InAnyWriteOfAChargeOnlineLeavesTheBooksRight)
{
  CutAtEveryWrite(CDayStation::ECut::EBeforeNextWrite, ELink::EOnline);
}

TEST(WholePowerCut, BehindAnyWriteOfAChargeOfflineLeavesTheBooksRight)
{
  CutAtEveryWrite(CDayStation::ECut::EBehindWrite, ELink::EOfflineFromThePlug);
}

TEST(WholePowerCut, InAnyWriteOfAChargeOfflineLeavesTheBooksRight)
{
  CutAtEveryWrite(CDayStation::ECut::EBeforeNextWrite, ELink::EOfflineFromThePlug);
}

TEST(WholePowerCut, BehindAnyWriteOfAChargeOfflineThatSeesARestartLeavesTheBooksRight)
{
  CutAtEveryWrite(CDayStation::ECut::EBehindWrite, ELink::EOfflineThenRestart);
}

TEST(WholePowerCut, InAnyWriteOfAChargeOfflineThatSeesARestartLeavesTheBooksRight)
{
  CutAtEveryWrite(CDayStation::ECut::EBeforeNextWrite, ELink::EOfflineThenRestart);
}

}  // namespace

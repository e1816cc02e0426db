#include "tests/unit/src/components/ocppcomponent/day/dayactor.h"

#include <algorithm>
#include <array>

#include "platform/iclogger/log.h"

using namespace std::chrono_literals;

namespace {

constexpr uint64_t kMoreThanTheStoreTakes = 2000001;

}  // namespace

CDayStation::SOptions CDayActor::DrawOptions(uint32_t seed)
{
  CDayChance chance(seed);
  const std::array<const char*, 3> policies{"never", "acceptedOnce", "always"};
  const std::array<int64_t, 5> sampleIntervals{0, 60, 300, 900, 1800};
  const std::array<int64_t, 4> clockAlignedIntervals{0, 0, 900, 7000};
  CDayStation::SOptions options;
  options.seed = seed;
  options.hasAuxiliary = chance.Percent(30);
  options.chargeBeforeAcceptedPolicy = policies.at(static_cast<size_t>(chance.Below(policies.size())));
  options.sampleIntervalS = sampleIntervals.at(static_cast<size_t>(chance.Below(sampleIntervals.size())));
  options.clockAlignedIntervalS =
      clockAlignedIntervals.at(static_cast<size_t>(chance.Below(clockAlignedIntervals.size())));
  options.storesMeterValues = chance.Percent(60);
  options.preAuthorizes = chance.Percent(40);
  options.asksStoresOffline = chance.Percent(60);
  options.allowsUnknownTagsOffline = chance.Percent(40);
  return options;
}

void CDayActor::Play(std::chrono::nanoseconds duration)
{
  auto& clock = mStation.GetClock();
  const auto end = clock.SteadyNow() + duration;
  mStation.PowerOn();
  while (clock.SteadyNow() < end) {
    // Now and then things come thick and fast.
    mStation.Pass(mChance.Percent(25) ? mChance.Between(0ms, 2s) : mChance.Between(1s, 15min));
    if (mStation.IsPowerCut()) {
      LOG_INFO("--- the power is cut");
      mStation.PowerOff();
      RepairIn(1s, 10min, [this] { mStation.PowerOn(); });
    }
    RepairWhatIsDue();
    mStation.HearDrivers();
    PlayNext();
  }
}

void CDayActor::RepairIn(std::chrono::milliseconds from, std::chrono::milliseconds to, std::function<void()> repair)
{
  mRepairs.push_back({mStation.GetClock().SteadyNow() + mChance.Between(from, to), std::move(repair)});
}

void CDayActor::RepairWhatIsDue()
{
  const auto now = mStation.GetClock().SteadyNow();
  const auto due =
      std::stable_partition(mRepairs.begin(), mRepairs.end(), [&](const SRepair& repair) { return repair.due > now; });
  std::vector<SRepair> repairs(due, mRepairs.end());
  mRepairs.erase(due, mRepairs.end());
  for (const auto& repair : repairs) repair.repair();
}

void CDayActor::PlayNext()
{
  static constexpr std::array<SDeed, 14> kDeeds{{
      {40, &CDayActor::BeginOrEndSession},
      {5, &CDayActor::SuspendSession},
      {8, &CDayActor::BreakConnection},
      {6, &CDayActor::LoseNetwork},
      {10, &CDayActor::ChangeMood},
      {4, &CDayActor::StepClock},
      {5, &CDayActor::Kill},
      {6, &CDayActor::CutPowerSoon},
      {3, &CDayActor::DisableForAWhile},
      {5, &CDayActor::LoseSibling},
      {3, &CDayActor::FillStore},
      {3, &CDayActor::ChangeSampleInterval},
      {3, &CDayActor::SpeakUnasked},
      {20, &CDayActor::PresentTag},
  }};
  int64_t sum = 0;
  for (const auto& deed : kDeeds) sum += deed.weight;
  int64_t dice = mChance.Below(sum);
  for (const auto& deed : kDeeds) {
    dice -= deed.weight;
    if (dice >= 0) continue;
    (this->*deed.play)();
    return;
  }
}

void CDayActor::BeginOrEndSession()
{
  auto& sessions = mStation.GetSessions();
  if (sessions.IsRunning()) {
    LOG_INFO("--- a session ends");
    sessions.End(static_cast<ipc::EStopSessionReason>(mChance.Below(11)));
    if (mChance.Percent(60)) sessions.Unplug();
  } else {
    LOG_INFO("--- a session begins");
    sessions.Unplug();
    sessions.Begin();
  }
  // Most of what can go wrong goes wrong right behind it.
  if (mChance.Percent(15)) CutPowerSoon();
}

void CDayActor::SuspendSession()
{
  mStation.GetSessions().Suspend(mStation.GetSessions().GetState() == ipc::EConnectorStateCharging);
}

void CDayActor::BreakConnection()
{
  LOG_INFO("--- connections break");
  mStation.BreakLinks();
}

void CDayActor::LoseNetwork()
{
  auto& network = mStation.GetNetwork();
  if (network.state != CDayNetwork::EState::EUp) return;
  const bool isSwallowing = mChance.Percent(40);
  LOG_INFO("--- the network is {}", isSwallowing ? "swallowing" : "down");
  network.state = isSwallowing ? CDayNetwork::EState::ESwallowing : CDayNetwork::EState::EDown;
  if (!isSwallowing) mStation.BreakLinks();
  // A ping finds out.
  if (isSwallowing) {
    RepairIn(40s, 60s, [this] {
      if (mStation.GetNetwork().state == CDayNetwork::EState::ESwallowing) mStation.BreakLinks();
    });
  }
  RepairIn(1s, 90min, [this] {
    LOG_INFO("--- the network is up");
    mStation.GetNetwork().state = CDayNetwork::EState::EUp;
  });
}

void CDayActor::ChangeMood()
{
  static constexpr std::array<CDayCentral::SMood, 6> kMoods{{
      CDayCentral::kKind,
      // error, notImplemented, silence, malformed, late, twice, wrongId, close, notAccepted, badTag
      {5, 1, 5, 3, 5, 5, 5, 5, 20, 10},
      {60, 5, 0, 0, 0, 0, 0, 0, 0, 0},
      {0, 0, 70, 0, 20, 0, 0, 0, 0, 0},
      {0, 0, 0, 0, 10, 10, 10, 30, 50, 50},
      {0, 0, 0, 40, 0, 10, 10, 0, 0, 0},
  }};
  const auto mood = static_cast<size_t>(mChance.Below(kMoods.size()));
  LOG_INFO("--- the central system is in mood {}", mood);
  mStation.GetCentral().SetMood(kMoods.at(mood));
}

void CDayActor::StepClock()
{
  const auto step = mChance.Between(0ms, mChance.Percent(70) ? 5s : 3h);
  const bool isBack = mChance.Percent(50);
  LOG_INFO("--- the clock steps by {} s",
           std::chrono::duration_cast<std::chrono::seconds>(isBack ? -step : step).count());
  mStation.GetClock().StepSystemTime(isBack ? -step : step);
}

void CDayActor::Kill()
{
  if (!mStation.IsOn()) return;
  LOG_INFO("--- the process is killed");
  mStation.PowerOff();
  if (mChance.Percent(50)) {
    mStation.PowerOn();
  } else {
    RepairIn(1s, 10min, [this] { mStation.PowerOn(); });
  }
}

void CDayActor::CutPowerSoon()
{
  if (!mStation.IsOn()) return;
  mStation.CutPowerAfter(static_cast<uint64_t>(mChance.Below(12)),
                         mChance.Percent(50) ? CDayStation::ECut::EBehindWrite : CDayStation::ECut::EBeforeNextWrite);
}

void CDayActor::DisableForAWhile()
{
  if (!mStation.IsOn() || !mStation.IsEnabled()) return;
  LOG_INFO("--- disabled");
  mStation.Disable();
  RepairIn(0ms, 5min, [this] {
    if (mStation.IsOn()) mStation.Enable();
  });
}

void CDayActor::LoseSibling()
{
  const std::array<CFakeSibling*, 4> siblings{mStation.GetSessions().GetManager().get(),
                                              mStation.GetSessions().GetMeter().get(), &mStation.GetDiagnostics(),
                                              &mStation.GetCurrentControl()};
  const auto which = static_cast<size_t>(mChance.Below(siblings.size()));
  auto* const sibling = siblings.at(which);
  if (which == 0) {
    // Its own events do not come while it is away: it is back before anybody does anything.
    mStation.GetClock().WaitIdle();
    LOG_INFO("--- the session manager is away");
    sibling->SetUnreachable();
    mStation.GetReader().GetClient()->SetUnreachable();
    mStation.Pass(mChance.Between(0ms, 5min));
    mStation.GetReader().Excuse();
    sibling->SetReachable();
    mStation.GetReader().GetClient()->SetReachable();
    mStation.GetSessions().Announce();
    return;
  }
  LOG_INFO("--- sibling {} is away", which);
  sibling->SetUnreachable();
  RepairIn(1s, 30min, [sibling] { sibling->SetReachable(); });
}

void CDayActor::FillStore()
{
  LOG_INFO("--- the store is full");
  mStation.Inflate(kMoreThanTheStoreTakes);
  RepairIn(1s, 60min, [this] {
    LOG_INFO("--- the store has room");
    mStation.Inflate(0);
  });
}

void CDayActor::ChangeSampleInterval()
{
  if (!mStation.IsOn()) return;
  const std::array<int64_t, 5> intervals{0, 60, 300, 900, 1800};
  mStation.Config("ocpp")->SetInt("MeterValueSampleInterval",
                                  intervals.at(static_cast<size_t>(mChance.Below(intervals.size()))));
}

// Often right before or behind something that goes wrong.
void CDayActor::PresentTag()
{
  mStation.PresentTag();
  if (mChance.Percent(20)) mStation.BreakLinks();
}

void CDayActor::SpeakUnasked()
{
  const std::array<const char*, 5> frames{
      R"([2,"in1","FooBar",{}])",
      R"([2,"in2","CancelReservation",{"reservationId":1}])",
      R"([3,"nobody-asked",{}])",
      R"({"what":"is this"})",
      R"([2,"in3","GetLocalListVersion",{}])",
  };
  mStation.PlayMessage(frames.at(static_cast<size_t>(mChance.Below(frames.size()))));
}

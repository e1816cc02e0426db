#include "tests/unit/src/components/ocppcomponent/day/daysessions.h"

#include <fmt/format.h>

#include "platform/clock/timetext.h"
#include "src/components/energyunits.h"

using namespace std::chrono_literals;

namespace {

// After which a session manager may take it that an event has arrived.
constexpr auto kSurelyTaken = 5s;
constexpr int64_t kMilliJoulePerMilliWh = 3600;

}  // namespace

ipc::MMeterData CDayMeter::GetMeterData()
{
  Enter("GetMeterData");
  return mSessions.ReadMeter();
}

void CDaySessionManager::DeauthorizeSession(uint32_t connector, ipc::EDeauthorizeReason reason)
{
  CFakeSessionManager::DeauthorizeSession(connector, reason);
  mSessions.Deauthorize(reason);
}

CDaySessions::CDaySessions(IClock& clock, std::shared_ptr<CDayCentral> central, uint32_t seed)
    : mClock(clock),
      mCentral(std::move(central)),
      mManager(std::make_shared<CDaySessionManager>(*this)),
      mMeter(std::make_shared<CDayMeter>(*this)),
      mChance(seed),
      mWorker(clock, "notifications")
{
  mManager->SetConnectorState(ipc::EConnectorStateAvailable);
  mWorker.Start();
}

void CDaySessions::Begin()
{
  mWorker.NonBlockingCall([this] { RunBegin(); });
}

void CDaySessions::End(ipc::EStopSessionReason reason)
{
  mWorker.NonBlockingCall([this, reason] { RunEnd(reason); });
}

void CDaySessions::Suspend(bool isSuspended)
{
  mWorker.NonBlockingCall([this, isSuspended] {
    if (!IsRunning()) return;
    SetPower(isSuspended ? 0 : 1000 + mChance.Below(10000));
    ChangeState(isSuspended ? ipc::EConnectorStateSuspendedByEv : ipc::EConnectorStateCharging);
  });
}

void CDaySessions::Unplug()
{
  mWorker.NonBlockingCall([this] {
    if (GetState() == ipc::EConnectorStateFinishing) ChangeState(ipc::EConnectorStateAvailable);
  });
}

void CDaySessions::Announce()
{
  mWorker.NonBlockingCall([this] { EmitState(); });
}

void CDaySessions::Notify(std::function<void()> call)
{
  mWorker.NonBlockingCall([this, call = std::move(call)] {
    if (mIsListening) call();
  });
}

void CDaySessions::Listen(bool isNew)
{
  mWorker.NonBlockingCall([this, isNew] { RunListen(isNew); });
}

void CDaySessions::Silence()
{
  mWorker.BlockingCall([this] {
    ForgetTaken();
    mIsListening = false;
    for (auto& event : mKept) event.isTold = false;
  });
}

// The stop of the driver comes a moment behind the request.
void CDaySessions::Deauthorize(ipc::EDeauthorizeReason reason)
{
  mWorker.AddCall(
      [this, reason] {
        if (reason != ipc::EDeauthorizeReasonStopEnergy) {
          RunEnd(ipc::EStopSessionReasonDeAuthorized);
        } else if (IsRunning()) {
          SetPower(0);
          ChangeState(ipc::EConnectorStateSuspendedByEvse);
        }
      },
      mClock.SteadyNow() + 300ms, 0ns);
}

void CDaySessions::RunBegin()
{
  const auto approvals = mManager->ExternalChargeApprovals();
  if (IsRunning() || approvals.empty() || !approvals.back() || !IsStorageAvailable()) return;
  mIdTag = fmt::format("TAG{:05}", ++mTags);
  SEvent event;
  event.idTag = mIdTag;
  {
    CLock lock(mMutex);
    mIsRunning = true;
    mBaseMilliWh = (mBaseMilliWh / kMilliWhPerWh + 2) * kMilliWhPerWh;
    mSession = ipc::MMeterData();
    mSession.set_session_start_energy(mBaseMilliWh);
    mSession.set_session_start_time(ToTimeText(mClock.SystemNow()));
    event.reading = mSession;
    event.reading.set_energy_register(mBaseMilliWh);
  }
  mCentral->WithBook([&](CAccountBook& book) {
    book.StartSession(mIdTag, event.reading.session_start_energy() / kMilliWhPerWh, event.reading.session_start_time());
  });
  ChangeState(ipc::EConnectorStateStarting);
  mKept.push_back(event);
  TellKept();
  SetPower(1000 + mChance.Below(10000));
  ChangeState(ipc::EConnectorStateCharging);
}

void CDaySessions::RunEnd(ipc::EStopSessionReason reason)
{
  if (!IsRunning()) return;
  SetPower(0);
  ChangeState(ipc::EConnectorStateStopping);
  SEvent event;
  event.isStop = true;
  event.reason = reason;
  event.idTag = mIdTag;
  {
    CLock lock(mMutex);
    mIsRunning = false;
    mBaseMilliWh += kMilliWhPerWh;
    mSession.set_session_end_energy(mBaseMilliWh);
    mSession.set_session_end_time(ToTimeText(mClock.SystemNow()));
    event.reading = mSession;
    event.reading.set_energy_register(mBaseMilliWh);
  }
  mCentral->WithBook([&](CAccountBook& book) {
    book.StopSession(event.reading.session_end_energy() / kMilliWhPerWh, event.reading.session_end_time());
  });
  mKept.push_back(event);
  TellKept();
  ChangeState(ipc::EConnectorStateFinishing);
}

void CDaySessions::RunListen(bool isNew)
{
  mIsListening = true;
  SEvent start;
  const bool isStartKept = !mKept.empty() && !mKept.back().isStop;
  TellKept();
  if (isNew && IsRunning() && !isStartKept) {
    CLock lock(mMutex);
    start.reading = mSession;
    start.reading.set_energy_register(mSession.session_start_energy());
    lock.Unlock();
    start.idTag = mIdTag;
    Tell(start);
  }
  EmitState();
}

void CDaySessions::TellKept()
{
  ForgetTaken();
  if (!mIsListening) return;
  for (auto& event : mKept) {
    if (!event.isTold) Tell(event);
  }
}

// While an event is told late the identification is that of its session.
void CDaySessions::Tell(SEvent& event)
{
  ipc::MConnectorInfo info;
  info.set_state(event.isStop ? ipc::EConnectorStateStopping : ipc::EConnectorStateStarting);
  info.set_id_tag(event.idTag);
  mManager->SetConnectorInfo(info);
  event.isTold = true;
  event.toldAt = mClock.SteadyNow();
  if (event.isStop) {
    mManager->EmitSessionStopped(event.reading, event.reason);
  } else {
    mManager->EmitSessionStarted(event.reading);
  }
}

void CDaySessions::ForgetTaken()
{
  while (!mKept.empty() && mKept.front().isTold && mClock.SteadyNow() - mKept.front().toldAt > kSurelyTaken) {
    mKept.pop_front();
  }
}

void CDaySessions::SetPower(int64_t watt)
{
  CLock lock(mMutex);
  mBaseMilliWh = RegisterMilliWh();
  mSince = mClock.SteadyNow();
  mWatt = watt;
}

void CDaySessions::ChangeState(ipc::EConnectorState state)
{
  {
    CLock lock(mMutex);
    mState = state;
  }
  EmitState();
}

void CDaySessions::EmitState()
{
  const auto state = GetState();
  ipc::MConnectorInfo info;
  info.set_state(state);
  const bool hasUser = state != ipc::EConnectorStateAvailable && !mIdTag.empty();
  if (hasUser) info.set_id_tag(mIdTag);
  mManager->SetConnectorInfo(info);
  if (mIsListening) mManager->EmitStateChanged(state);
}

int64_t CDaySessions::RegisterMilliWh() const
{
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(mClock.SteadyNow() - mSince).count();
  return mBaseMilliWh + milliseconds * mWatt / kMilliJoulePerMilliWh;
}

ipc::MMeterData CDaySessions::ReadMeter() const
{
  CLock lock(mMutex);
  auto reading = mSession;
  reading.set_energy_register(RegisterMilliWh());
  return reading;
}

bool CDaySessions::IsRunning() const
{
  CLock lock(mMutex);
  return mIsRunning;
}

ipc::EConnectorState CDaySessions::GetState() const
{
  CLock lock(mMutex);
  return mState;
}

bool CDaySessions::IsStorageAvailable() const
{
  const auto told = mManager->MessageStorageAvailabilities();
  return told.empty() || told.back();
}

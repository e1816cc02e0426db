#include "tests/unit/src/components/ocppcomponent/day/daylink.h"

#include <algorithm>
#include <utility>

#include "platform/iclogger/log.h"

using namespace std::chrono_literals;

void CWireLog::Add(IClock::SteadyTime time, const std::string& direction, const std::string& text)
{
  // Type, message id, the rest.
  const auto begin = text.find(",\"");
  const auto end = begin == std::string::npos ? begin : text.find('"', begin + 2);
  CLock lock(mMutex);
  std::string line = std::to_string(time.time_since_epoch().count()) + " " + direction + " ";
  if (end == std::string::npos) {
    line += text.empty() ? "" : text.substr(0, begin);
  } else {
    const auto id = mIds.emplace(text.substr(begin + 2, end - begin - 2), mIds.size()).first->second;
    line += text.substr(0, begin) + " #" + std::to_string(id) + text.substr(end + 1);
  }
  mLines.push_back(std::move(line));
}

std::vector<std::string> CWireLog::GetLines() const
{
  CLock lock(mMutex);
  return mLines;
}

bool CInFlight::Send(const std::string& id, IClock::SteadyTime now)
{
  const bool isFree = mId.empty() || now >= mEnd;
  mId = id;
  mEnd = now + kMessageTimeout;
  return isFree;
}

bool CInFlight::Take(const CDayCentral::SReply& reply, IClock::SteadyTime now)
{
  if (mId.empty() || now >= mEnd || reply.effect == CDayCentral::EEffect::ENone) return false;
  const bool isError =
      reply.effect == CDayCentral::EEffect::EError || reply.effect == CDayCentral::EEffect::ENotImplemented;
  const bool isIt = reply.id == mId;
  if (isIt || isError) mId.clear();
  return isIt;
}

CDayLink::CDayLink(IClock& clock, SParts parts)
    : mClock(clock), mParts(std::move(parts)), mChance(mParts.seed), mWorker(clock, "websocket")
{
  mWorker.Start();
}

std::chrono::nanoseconds CDayLink::Draw(std::chrono::milliseconds from, std::chrono::milliseconds to)
{
  CLock lock(mMutex);
  return mChance.Between(from, to);
}

void CDayLink::Schedule(std::chrono::nanoseconds delay, std::function<void()> function)
{
  mWorker.AddCall(std::move(function), mClock.SteadyNow() + delay, 0ns);
}

CDayLink::SCallbacks CDayLink::GetCallbacks() const
{
  CLock lock(mMutex);
  return mCallbacks;
}

bool CDayLink::Connect()
{
  Close(1000, "");
  {
    CLock lock(mMutex);
    mStatus = EWebsocketStatus::EConnecting;
  }
  ScheduleAttempt(Draw(50ms, 1s));
  return true;
}

void CDayLink::ScheduleAttempt(std::chrono::nanoseconds delay)
{
  uint64_t epoch = 0;
  {
    CLock lock(mMutex);
    if (mStatus != EWebsocketStatus::EConnecting) return;
    epoch = ++mEpoch;
  }
  Schedule(delay, [this, epoch] { Attempt(epoch); });
}

void CDayLink::Attempt(uint64_t epoch)
{
  if (IsPowerCut()) return;
  const bool isUp = mParts.network->state == CDayNetwork::EState::EUp;
  auto connection = std::make_shared<int>(0);
  {
    CLock lock(mMutex);
    if (mEpoch != epoch || mStatus != EWebsocketStatus::EConnecting) return;
    mStatus = isUp ? EWebsocketStatus::EOpen : EWebsocketStatus::EFailed;
    if (isUp) mConnection = connection;
  }
  const auto callbacks = GetCallbacks();
  if (isUp) {
    mParts.log->Add(mClock.SteadyNow(), "open", "");
    if (callbacks.onOpen) callbacks.onOpen(connection);
    return;
  }
  if (callbacks.onFail) callbacks.onFail({}, false);
  {
    CLock lock(mMutex);
    if (mEpoch != epoch || mStatus != EWebsocketStatus::EFailed) return;
    mStatus = EWebsocketStatus::EConnecting;
  }
  ScheduleAttempt(Draw(5s, 60s));
}

void CDayLink::Break()
{
  CLock lock(mMutex);
  const uint64_t epoch = mEpoch;
  lock.Unlock();
  mWorker.NonBlockingCall([this, epoch] { Lose(epoch); });
}

void CDayLink::Lose(uint64_t epoch)
{
  if (IsPowerCut()) return;
  std::shared_ptr<int> connection;
  {
    CLock lock(mMutex);
    if (mEpoch != epoch || mStatus != EWebsocketStatus::EOpen) return;
    mStatus = EWebsocketStatus::EClosed;
    ++mEpoch;
    connection = std::move(mConnection);
  }
  mParts.log->Add(mClock.SteadyNow(), "lost", "");
  const auto callbacks = GetCallbacks();
  if (callbacks.onClose) callbacks.onClose(connection, true);
  {
    CLock lock(mMutex);
    if (mStatus != EWebsocketStatus::EClosed || mEpoch != epoch + 1) return;
    mStatus = EWebsocketStatus::EConnecting;
  }
  ScheduleAttempt(Draw(100ms, 30s));
}

void CDayLink::Close(uint16_t /*code*/, const std::string& /*reason*/)
{
  std::shared_ptr<int> connection;
  {
    CLock lock(mMutex);
    ++mEpoch;
    mStatus = EWebsocketStatus::EClosed;
    connection = std::move(mConnection);
  }
  const auto tell = [&] {
    const auto callbacks = GetCallbacks();
    if (connection && callbacks.onClose) callbacks.onClose(connection, false);
  };
  if (connection) mParts.log->Add(mClock.SteadyNow(), "closed", "");
  mWorker.BlockingCall(tell);
}

bool CDayLink::Send(const std::string& text)
{
  if (IsPowerCut()) return false;
  const auto json = nlohmann::json::parse(text, nullptr, false);
  const auto now = mClock.SteadyNow();
  uint64_t epoch = 0;
  IClock::SteadyTime arrival;
  bool overlaps = false;
  {
    CLock lock(mMutex);
    if (mStatus != EWebsocketStatus::EOpen) return false;
    epoch = mEpoch;
    // One behind the other, as on any connection.
    arrival = std::max(now + mChance.Between(1ms, 50ms), mLastArrival + 1ns);
    mLastArrival = arrival;
    if (json.is_array() && json.size() == 4 && json[0] == 2) overlaps = !mInFlight.Send(json[1], now);
  }
  if (overlaps) mParts.central->ReportOverlap(text);
  mParts.log->Add(now, "->", text);
  mWorker.AddCall([this, epoch, text, now] { Arrive(epoch, text, now); }, arrival, 0ns);
  return true;
}

bool CDayLink::Carries(uint64_t epoch) const
{
  if (IsPowerCut() || mParts.network->state != CDayNetwork::EState::EUp) return false;
  CLock lock(mMutex);
  return mEpoch == epoch && mStatus == EWebsocketStatus::EOpen;
}

void CDayLink::Arrive(uint64_t epoch, const std::string& text, IClock::SteadyTime sentAt)
{
  if (!Carries(epoch)) return;
  for (const auto& reply : mParts.central->Receive(text, sentAt.time_since_epoch())) {
    Schedule(reply.delay, [this, epoch, reply] { Deliver(epoch, reply); });
  }
}

void CDayLink::Deliver(uint64_t epoch, const CDayCentral::SReply& reply)
{
  if (!Carries(epoch)) return;
  if (reply.text.empty()) {
    Lose(epoch);
    return;
  }
  bool isTaken = false;
  {
    CLock lock(mMutex);
    isTaken = mInFlight.Take(reply, mClock.SteadyNow());
  }
  mParts.log->Add(mClock.SteadyNow(), "<-", reply.text);
  const auto callbacks = GetCallbacks();
  if (callbacks.onMessage) callbacks.onMessage(reply.text);
  // A process that lost its power over it begins anew, unless it had come to the end.
  if (isTaken && (!IsPowerCut() || !mParts.isKept(reply.id)))
    mParts.central->ReportTaken(reply, mClock.SteadyNow().time_since_epoch());
}

void CDayLink::PlayMessage(const std::string& text)
{
  CLock lock(mMutex);
  const uint64_t epoch = mEpoch;
  lock.Unlock();
  Schedule(0ns, [this, epoch, text] { Deliver(epoch, {{}, text, "", CDayCentral::EEffect::ENone}); });
}

void CDayLink::SetOnOpenCallback(COnOpen callback)
{
  CLock lock(mMutex);
  mCallbacks.onOpen = std::move(callback);
}

void CDayLink::SetOnFailCallback(COnFail callback)
{
  CLock lock(mMutex);
  mCallbacks.onFail = std::move(callback);
}

void CDayLink::SetOnCloseCallback(COnClose callback)
{
  CLock lock(mMutex);
  mCallbacks.onClose = std::move(callback);
}

void CDayLink::SetOnMessageCallback(COnMessage callback)
{
  CLock lock(mMutex);
  mCallbacks.onMessage = std::move(callback);
}

EWebsocketStatus CDayLink::GetStatus() const
{
  CLock lock(mMutex);
  return mStatus;
}

void CDayLink::SetStatus(EWebsocketStatus status)
{
  CLock lock(mMutex);
  mStatus = status;
}

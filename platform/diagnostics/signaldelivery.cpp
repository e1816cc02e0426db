#include "platform/diagnostics/signaldelivery.h"

#include <algorithm>
#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/timestamp.h"

namespace {

constexpr std::chrono::seconds kRetryDelay{1};
constexpr std::chrono::milliseconds kStopGrace{500};

}  // namespace

CSignalDelivery::CSignalDelivery(std::shared_ptr<IDiagnostics> diagnostics, IClock& clock)
    : mClock(clock), mDiagnostics(std::move(diagnostics))
{}

std::shared_ptr<CSignalDelivery> CSignalDelivery::Start(std::shared_ptr<IDiagnostics> diagnostics, IClock& clock)
{
  std::shared_ptr<CSignalDelivery> delivery(new CSignalDelivery(std::move(diagnostics), clock));
  delivery->mThread = std::make_unique<CThread>(clock, "diagnostics", [delivery] { delivery->Run(); });
  return delivery;
}

void CSignalDelivery::Send(ipc::MDiagnosticsSignal signal) { Enqueue(std::move(signal), EFormerValue::EKeep); }

void CSignalDelivery::SendLatest(ipc::MDiagnosticsSignal signal) { Enqueue(std::move(signal), EFormerValue::EReplace); }

void CSignalDelivery::Enqueue(ipc::MDiagnosticsSignal signal, EFormerValue formerValue)
{
  if (!signal.has_timestamp()) *signal.mutable_timestamp() = ToTimestamp(mClock.SystemNow());
  bool isFirstLoss = false;
  {
    CLock lock(mMutex);
    if (mIsStopped) return;
    if (formerValue == EFormerValue::EReplace && ReplaceFormer(signal)) return;
    if (mWaiting.size() == kMaxWaiting) {
      mWaiting.pop_front();
      isFirstLoss = !std::exchange(mIsLosing, true);
    }
    mWaiting.push_back(std::move(signal));
    mClock.NotifyAll(mChanged);
  }
  if (isFirstLoss) LogLoss();
}

bool CSignalDelivery::ReplaceFormer(ipc::MDiagnosticsSignal& signal)
{
  const auto former = std::find_if(mWaiting.begin(), mWaiting.end(), [&](const ipc::MDiagnosticsSignal& waiting) {
    return waiting.identifier() == signal.identifier() && waiting.connector() == signal.connector();
  });
  if (former == mWaiting.end()) return false;
  *former = std::move(signal);
  return true;
}

void CSignalDelivery::Stop()
{
  bool hasEnded = false;
  {
    const auto deadline = mClock.SteadyNow() + kStopGrace;
    CLock lock(mMutex);
    mIsStopped = true;
    mClock.NotifyAll(mChanged);
    while (!mIsEnded && mClock.WaitUntil(lock, mChanged, deadline)) {
    }
    hasEnded = mIsEnded;
    mWaiting.clear();
  }
  if (hasEnded) {
    mThread->Join();
  } else {
    mThread->Detach();
  }
}

void CSignalDelivery::Run()
{
  while (auto signal = Next()) {
    if (!Deliver(*signal)) PutBack(std::move(*signal));
  }
  CLock lock(mMutex);
  mIsEnded = true;
  mClock.NotifyAll(mChanged);
}

std::optional<ipc::MDiagnosticsSignal> CSignalDelivery::Next()
{
  CLock lock(mMutex);
  while (true) {
    if (mWaiting.empty()) mIsLosing = false;
    if (mIsStopped && (mWaiting.empty() || mRetryAt)) return std::nullopt;
    if (mWaiting.empty()) {
      mClock.Wait(lock, mChanged);
    } else if (mRetryAt && mClock.SteadyNow() < *mRetryAt) {
      mClock.WaitUntil(lock, mChanged, *mRetryAt);
    } else {
      break;
    }
  }
  std::optional<ipc::MDiagnosticsSignal> signal(std::move(mWaiting.front()));
  mWaiting.pop_front();
  return signal;
}

bool CSignalDelivery::Deliver(const ipc::MDiagnosticsSignal& signal)
{
  try {
    mDiagnostics->SendSignal(signal);
  } catch (const Rpc::CommunicationException& error) {
    if (!std::exchange(mIsFailureLogged, true)) {
      LOG_ERROR("Cannot communicate with Diagnostics, error: {}", error.what());
    }
    return false;
  }
  mIsFailureLogged = false;
  CLock lock(mMutex);
  mRetryAt.reset();
  return true;
}

void CSignalDelivery::PutBack(ipc::MDiagnosticsSignal signal)
{
  bool isFirstLoss = false;
  {
    CLock lock(mMutex);
    mRetryAt = mClock.SteadyNow() + kRetryDelay;
    if (mWaiting.size() < kMaxWaiting) {
      mWaiting.push_front(std::move(signal));
    } else {
      isFirstLoss = !std::exchange(mIsLosing, true);
    }
  }
  if (isFirstLoss) LogLoss();
}

void CSignalDelivery::LogLoss() const
{
  LOG_WARNING("Diagnostics cannot be reached, the oldest of {} waiting signals are lost", kMaxWaiting);
}

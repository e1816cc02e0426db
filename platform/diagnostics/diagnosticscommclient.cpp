#include "platform/diagnostics/diagnosticscommclient.h"

#include <deque>
#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/timestamp.h"
#include "platform/worker/worker.h"

namespace {

// Some minutes of a talkative station; a signal is a few hundred bytes.
constexpr size_t kMaxWaiting = 500;
constexpr std::chrono::seconds kRetryDelay{1};

// Delivers signals in order. Lock order: mMutex is a leaf.
class CDelivery : public std::enable_shared_from_this<CDelivery> {
 public:
  CDelivery(std::shared_ptr<IDiagnostics> diagnostics, IClock& clock)
      : mDiagnostics(std::move(diagnostics)), mWorker(clock, "diagnostics")
  {
    mWorker.Start();
  }

  void Stop()
  {
    {
      CLock lock(mMutex);
      mWaiting.clear();
      mIsStopped = true;
    }
    mWorker.Stop();
  }

  void Send(ipc::MDiagnosticsSignal signal)
  {
    if (!signal.has_timestamp()) *signal.mutable_timestamp() = ToTimestamp(mWorker.GetClock().SystemNow());
    bool isDropping = false;
    {
      CLock lock(mMutex);
      if (mIsStopped) return;
      if (mWaiting.size() == kMaxWaiting) {
        mWaiting.pop_front();
        isDropping = !std::exchange(mIsDropping, true);
      }
      mWaiting.push_back(std::move(signal));
      if (!std::exchange(mIsScheduled, true)) Schedule(std::chrono::seconds(0));
    }
    if (isDropping)
      LOG_WARNING("Diagnostics cannot be reached, the oldest of {} waiting signals are lost", kMaxWaiting);
  }

  IDiagnostics& GetDiagnostics() { return *mDiagnostics; }

 private:
  void Schedule(std::chrono::seconds delay) REQUIRES(mMutex)
  {
    mWorker.AddCall([this] { Deliver(); }, mWorker.GetClock().SteadyNow() + delay, std::chrono::nanoseconds(0));
  }

  // On the worker, one pass at a time.
  void Deliver()
  {
    while (const auto signal = Next()) {
      try {
        mDiagnostics->SendSignal(*signal);
        mIsFailureLogged = false;
      } catch (const Rpc::CommunicationException& error) {
        if (!std::exchange(mIsFailureLogged, true)) {
          LOG_ERROR("Cannot communicate with Diagnostics, error: {}", error.what());
        }
        CLock lock(mMutex);
        if (mIsStopped) return;
        if (mWaiting.size() < kMaxWaiting) mWaiting.push_front(*signal);
        Schedule(kRetryDelay);
        return;
      }
    }
  }

  std::optional<ipc::MDiagnosticsSignal> Next()
  {
    CLock lock(mMutex);
    if (mWaiting.empty()) {
      mIsScheduled = false;
      mIsDropping = false;
      return std::nullopt;
    }
    std::optional<ipc::MDiagnosticsSignal> signal(std::move(mWaiting.front()));
    mWaiting.pop_front();
    return signal;
  }

  const std::shared_ptr<IDiagnostics> mDiagnostics;

  // Owned by the worker.
  bool mIsFailureLogged = false;

  CMutex mMutex;
  std::deque<ipc::MDiagnosticsSignal> mWaiting GUARDED_BY(mMutex);
  bool mIsScheduled GUARDED_BY(mMutex) = false;
  bool mIsDropping GUARDED_BY(mMutex) = false;
  bool mIsStopped GUARDED_BY(mMutex) = false;

  CWorker mWorker;
};

// The one object of the process, which signals of any component find.
struct SCurrent {
  CMutex mutex;
  std::shared_ptr<CDelivery> delivery GUARDED_BY(mutex);
};

SCurrent& Current()
{
  static SCurrent current;
  return current;
}

std::shared_ptr<CDelivery> GetDelivery()
{
  auto& current = Current();
  CLock lock(current.mutex);
  return current.delivery;
}

void Replace(std::shared_ptr<CDelivery> delivery)
{
  auto& current = Current();
  {
    CLock lock(current.mutex);
    std::swap(current.delivery, delivery);
  }
  if (delivery) delivery->Stop();
}

}  // namespace

void CDiagnosticsCommClient::Initialize(std::shared_ptr<IDiagnostics> diagnostics, IClock& clock)
{
  Replace(std::make_shared<CDelivery>(std::move(diagnostics), clock));
}

bool CDiagnosticsCommClient::IsInitialized() { return GetDelivery() != nullptr; }

void CDiagnosticsCommClient::Terminate() { Replace(nullptr); }

void CDiagnosticsCommClient::Send(ipc::MDiagnosticsSignal signal)
{
  if (const auto delivery = GetDelivery()) delivery->Send(std::move(signal));
}

std::optional<ipc::MDiagnosticsSignal> CDiagnosticsCommClient::Receive(ipc::ESignalIdentifier identifier,
                                                                       uint32_t connector)
{
  const auto delivery = GetDelivery();
  if (!delivery) return std::nullopt;
  try {
    return delivery->GetDiagnostics().GetSignal(identifier, connector);
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Diagnostics, error: {}", error.what());
    return std::nullopt;
  }
}

#include "platform/diagnostics/diagnosticscommclient.h"

#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/diagnostics/signaldelivery.h"
#include "platform/iclogger/log.h"

namespace {

// The one object of the process, which signals of any component find.
struct SCurrent {
  CMutex mutex;
  std::shared_ptr<CSignalDelivery> delivery GUARDED_BY(mutex);
};

SCurrent& Current()
{
  static SCurrent current;
  return current;
}

std::shared_ptr<CSignalDelivery> GetDelivery()
{
  auto& current = Current();
  CLock lock(current.mutex);
  return current.delivery;
}

void Replace(std::shared_ptr<CSignalDelivery> delivery)
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
  Replace(CSignalDelivery::Start(std::move(diagnostics), clock));
}

bool CDiagnosticsCommClient::IsInitialized() { return GetDelivery() != nullptr; }

void CDiagnosticsCommClient::Terminate() { Replace(nullptr); }

void CDiagnosticsCommClient::Send(ipc::MDiagnosticsSignal signal)
{
  if (const auto delivery = GetDelivery()) delivery->Send(std::move(signal));
}

void CDiagnosticsCommClient::SendLatest(ipc::MDiagnosticsSignal signal)
{
  if (const auto delivery = GetDelivery()) delivery->SendLatest(std::move(signal));
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

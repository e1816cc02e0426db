#pragma once

#include <functional>
#include <memory>

#include "platform/iclogger/log.h"
#include "platform/iipc/igenericcontrol.h"
#include "statemachines/secchsm.h"

// What the process reports to its supervisor.
class IProcessControl {
 public:
  virtual ~IProcessControl() = default;

  virtual void ReportState(const ipc::MState& state) = 0;
  virtual void SendAlive() = 0;
};

// Server of the process control interface ("SeccGenCtrl"). It holds no logic: ConnectIProcessControl binds it to the
// lifecycle machine. An empty callable or notifier throws std::bad_function_call.
class CProcessControlService : public IGenericControl, public IProcessControl {
 public:
  ipc::MResult Enable() override { return mEnableCall(); }
  ipc::MResult Disable() override { return mDisableCall(); }
  void ReportState(const ipc::MState& state) override { mStateNotifierCB(state); }
  void SendAlive() override { mAliveNotifierCB(); }

  // Set before the service is offered. They block until the machine has taken the request.
  std::function<ipc::MResult()> mEnableCall;
  std::function<ipc::MResult()> mDisableCall;
};

// Posts the event and waits until the machine has taken it: success if it was handled, illegal if not. A machine that
// has gone, or stops first, breaks the promise, and std::future_error reaches the caller.
template <int N>
ipc::MResult PostAndWait(const std::weak_ptr<IHsmInterface>& machine)
{
  auto event = std::make_shared<CSeccHsmEvent<N>>();
  auto handled = event->GetFuture();
  // The machine is not kept while its answer is waited for: it must not go on the thread of a request.
  if (const auto hsm = machine.lock()) hsm->Post(event);
  event.reset();
  ipc::MResult result;
  result.set_result(handled.get() ? ipc::EResultSuccess : ipc::EResultIllegal);
  return result;
}

// Binds requests to events of the machine, and the machine's responses to notifications. The callables share what they
// use, the machine aside: it shares the handler, which shares the service, and a closed ring would never go.
template <typename THandler, typename TService>
void ConnectIProcessControl(const std::shared_ptr<THandler>& handler, const std::shared_ptr<TService>& service,
                            const std::shared_ptr<IHsmInterface>& hsm)
{
  service->mEnableCall = [machine = std::weak_ptr<IHsmInterface>(hsm)] {
    LOG_TRACE("IEnableCall");
    return PostAndWait<EExtEnableReq>(machine);
  };
  service->mDisableCall = [machine = std::weak_ptr<IHsmInterface>(hsm)] {
    LOG_TRACE("IDisableCall");
    return PostAndWait<EExtDisableReq>(machine);
  };
  const auto reportState = [service](const char* name, ipc::EState value) {
    return [service, name, value] {
      LOG_TRACE("{}", name);
      ipc::MState state;
      state.set_state(value);
      service->ReportState(state);
    };
  };
  handler->ExtUninitializedRsp = reportState("ExtUninitializedRsp", ipc::EStateUninitialized);
  handler->ExtDisabledRsp = reportState("ExtDisabledRsp", ipc::EStateDisabled);
  handler->ExtEnabledRsp = reportState("ExtEnabledRsp", ipc::EStateEnabled);
  handler->ExtErrorRsp = reportState("ExtErrorRsp", ipc::EStateError);
  handler->ExtFatalErrorRsp = reportState("ExtFatalErrorRsp", ipc::EStateFatalError);
  handler->ExtSendAlive = [service] {
    LOG_TRACE("ExtSendAlive");
    service->SendAlive();
  };
}

#include "statemachines/secchsm.h"

#include <array>

namespace {

using CHandler = CSeccHsmActionHandlerBase;
using CRule = SHsmRule<CHandler>;

void Respond(const std::function<void()>& response)
{
  if (response) response();
}

template <int N>
void PostEvent(CHandler& handler)
{
  handler.PostInternal(std::make_shared<CSeccHsmEvent<N>>());
}

void RespondDisabled(CHandler& handler) { Respond(handler.ExtDisabledRsp); }
void RespondEnabled(CHandler& handler) { Respond(handler.ExtEnabledRsp); }
void RespondFatalError(CHandler& handler) { Respond(handler.ExtFatalErrorRsp); }

template <int N>
std::type_index Event()
{
  return typeid(CSeccHsmEvent<N>);
}

// Every pair that is not in this table is unhandled. The composite's rules hold in every leaf that has none of its own.
// clang-format off
const std::array kRules{
    CRule{EUninitialized, Event<EExtDisableReq>(),       EInitializing, nullptr},
    CRule{EInitializing,  Event<EIntInitializingDone>(), EDisabled,     nullptr},
    CRule{EDisabled,      Event<EExtEnableReq>(),        EEnabling,     nullptr},
    CRule{EDisabled,      Event<EExtDisableReq>(),       kHsmNoTarget,  RespondDisabled},
    CRule{EEnabling,      Event<EIntEnablingDone>(),     EEnabled,      nullptr},
    CRule{EEnabled,       Event<EExtDisableReq>(),       EDisabling,    nullptr},
    CRule{EEnabled,       Event<EExtEnableReq>(),        kHsmNoTarget,  RespondEnabled},
    CRule{EDisabling,     Event<EIntDisablingDone>(),    EDisabled,     nullptr},
    CRule{EError,         Event<EIntRecover>(),          ERecovering,   nullptr},
    CRule{ERecovering,    Event<EIntRecoveringDone>(),   EDisabled,     nullptr},
    CRule{EFatalError,    Event<EIntError>(),            kHsmNoTarget,  RespondFatalError},
    CRule{EFatalError,    Event<EExtDisableReq>(),       kHsmNoTarget,  RespondFatalError},
    CRule{EFatalError,    Event<EExtEnableReq>(),        kHsmNoTarget,  RespondFatalError},
    CRule{ETerminating,   Event<EIntTerminatingDone>(),  EFinal,        nullptr},
    CRule{EStatemachine,  Event<EIntError>(),            EError,        nullptr},
    CRule{EStatemachine,  Event<EIntFatalError>(),       EFatalError,   nullptr},
    CRule{EStatemachine,  Event<EIntTerminate>(),        ETerminating,  nullptr},
    CRule{EStatemachine,  Event<EExtError>(),            kHsmNoTarget,  PostEvent<EIntError>},
};
// clang-format on

}  // namespace

const char* CSeccHsmTag::EventName(int event)
{
  switch (static_cast<ESeccEvent>(event)) {
    case EExtDisableReq:
      return "ExtDisableReq";
    case EExtEnableReq:
      return "ExtEnableReq";
    case EExtError:
      return "ExtError";
    case EIntDisablingDone:
      return "IntDisablingDone";
    case EIntEnablingDone:
      return "IntEnablingDone";
    case EIntError:
      return "IntError";
    case EIntFatalError:
      return "IntFatalError";
    case EIntInitializingDone:
      return "IntInitializingDone";
    case EIntRecover:
      return "IntRecover";
    case EIntRecoveringDone:
      return "IntRecoveringDone";
    case EIntTerminate:
      return "IntTerminate";
    case EIntTerminatingDone:
      return "IntTerminatingDone";
  }
  return "";
}

const char* SHsmTraits<CHandler>::StateName(int state)
{
  switch (static_cast<ESeccState>(state)) {
    case EStatemachine:
      return "Statemachine";
    case EDisabled:
      return "Disabled";
    case EDisabling:
      return "Disabling";
    case EEnabled:
      return "Enabled";
    case EEnabling:
      return "Enabling";
    case EError:
      return "Error";
    case EFatalError:
      return "FatalError";
    case EInitializing:
      return "Initializing";
    case ERecovering:
      return "Recovering";
    case ETerminating:
      return "Terminating";
    case EUninitialized:
      return "Uninitialized";
    case EFinal:
      return "_Final_Statemachine";
  }
  return "";
}

const CRule* SHsmTraits<CHandler>::FindRule(int state, std::type_index event)
{
  for (const CRule& rule : kRules) {
    if (rule.state == state && rule.event == event) return &rule;
  }
  return nullptr;
}

void SHsmTraits<CHandler>::Enter(int state, CHandler& handler, IHsmInterface& hsm)
{
  switch (static_cast<ESeccState>(state)) {
    case EStatemachine:
      break;
    case EDisabled:
      Respond(handler.ExtDisabledRsp);
      break;
    case EDisabling:
      PostEvent<EIntDisablingDone>(handler);
      break;
    case EEnabled:
      handler.OnEntryEnabled();
      Respond(handler.ExtEnabledRsp);
      handler.IntStartAliveTimer();
      break;
    case EEnabling:
      PostEvent<EIntEnablingDone>(handler);
      break;
    case EError:
      Respond(handler.ExtErrorRsp);
      PostEvent<EIntRecover>(handler);
      break;
    case EFatalError:
      Respond(handler.ExtFatalErrorRsp);
      break;
    case EInitializing:
      PostEvent<EIntInitializingDone>(handler);
      break;
    case ERecovering:
      PostEvent<EIntRecoveringDone>(handler);
      break;
    case ETerminating:
      PostEvent<EIntTerminatingDone>(handler);
      break;
    case EUninitialized:
      Respond(handler.ExtUninitializedRsp);
      break;
    case EFinal:
      hsm.Stop();
      break;
  }
}

void SHsmTraits<CHandler>::Exit(int state, CHandler& handler)
{
  if (state != EEnabled) return;
  handler.OnExitEnabled();
  handler.IntStopAliveTimer();
}

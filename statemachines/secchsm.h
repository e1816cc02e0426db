#pragma once

#include <functional>

#include "statemachines/hsm.h"

// The lifecycle machine of this process, which a supervising process drives.

enum ESeccState : int {
  EStatemachine = kHsmComposite,
  EDisabled = 1,
  EDisabling = 2,
  EEnabled = 3,
  EEnabling = 4,
  EError = 5,
  EFatalError = 6,
  EInitializing = 7,
  ERecovering = 8,
  ETerminating = 9,
  EUninitialized = 10,
  EFinal = 11,
};

enum ESeccEvent : int {
  EExtDisableReq = 0,
  EExtEnableReq = 1,
  EExtError = 2,  // a sibling's report; nothing in this process posts it
  EIntDisablingDone = 3,
  EIntEnablingDone = 4,
  EIntError = 5,
  EIntFatalError = 6,
  EIntInitializingDone = 7,
  EIntRecover = 8,
  EIntRecoveringDone = 9,
  EIntTerminate = 10,
  EIntTerminatingDone = 11,
};

struct CSeccHsmTag {
  static const char* EventName(int event);
};

template <int N>
using CSeccHsmEvent = CHsmEvent<CSeccHsmTag, N>;

// The machine's actions. The response callbacks report a state to the supervisor; an unset one is skipped.
class CSeccHsmActionHandlerBase : public CHsmActionHandlerBase {
 public:
  std::function<void()> ExtDisabledRsp;
  std::function<void()> ExtEnabledRsp;
  std::function<void()> ExtErrorRsp;
  std::function<void()> ExtFatalErrorRsp;
  std::function<void()> ExtUninitializedRsp;

  virtual void OnExitEnabled() = 0;
  virtual void OnEntryEnabled() = 0;
  virtual void IntStopAliveTimer() = 0;
  virtual void IntStartAliveTimer() = 0;
};

using CSeccHsm = CHsm<CSeccHsmActionHandlerBase>;

template <>
struct SHsmTraits<CSeccHsmActionHandlerBase> {
  static constexpr int kInitialState = EUninitialized;

  static const char* StateName(int state);
  static const SHsmRule<CSeccHsmActionHandlerBase>* FindRule(int state, std::type_index event);
  static void Enter(int state, CSeccHsmActionHandlerBase& handler, IHsmInterface& hsm);
  static void Exit(int state, CSeccHsmActionHandlerBase& handler);

  // The static instance of leaf `state`.
  template <typename THsm>
  static const TopState<THsm>& Leaf(int state)
  {
    using CParent = typename THsm::CParent;
    switch (state) {
      case EDisabled:
        return LeafState<THsm, EDisabled, CParent>::Instance();
      case EDisabling:
        return LeafState<THsm, EDisabling, CParent>::Instance();
      case EEnabled:
        return LeafState<THsm, EEnabled, CParent>::Instance();
      case EEnabling:
        return LeafState<THsm, EEnabling, CParent>::Instance();
      case EError:
        return LeafState<THsm, EError, CParent>::Instance();
      case EFatalError:
        return LeafState<THsm, EFatalError, CParent>::Instance();
      case EInitializing:
        return LeafState<THsm, EInitializing, CParent>::Instance();
      case ERecovering:
        return LeafState<THsm, ERecovering, CParent>::Instance();
      case ETerminating:
        return LeafState<THsm, ETerminating, CParent>::Instance();
      case EUninitialized:
        return LeafState<THsm, EUninitialized, CParent>::Instance();
      case EFinal:
        return LeafState<THsm, EFinal, CParent>::Instance();
    }
    throw std::logic_error("unknown state of the lifecycle machine");
  }
};

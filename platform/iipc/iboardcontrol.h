#pragma once

#include <functional>
#include <string>

#include "platform/iipc/messages.h"

// Board control: resets, firmware installation, mains supervision.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class IBoardControl {
 public:
  enum class EResetKind { ESoft, EHard };

  using FwUpdateStatusHandler = std::function<void(ipc::MFwUpdateStatus)>;
  using MainsLostHandler = std::function<void()>;
  using StateChangedHandler = std::function<void(ipc::MState)>;

  virtual ~IBoardControl() = default;

  // Success: the restart has begun or is about to.
  virtual ipc::MResult Reset(EResetKind kind) = 0;
  // `initiator` is "OCPP" for a package that a central system sent. Success: the installation has begun.
  virtual ipc::MResult InstallFirmware(const std::string& initiator) = 0;

  virtual void SetFwUpdateStatusHandler(FwUpdateStatusHandler handler) = 0;
  virtual void SetMainsLostHandler(MainsLostHandler handler) = 0;
  virtual void SetStateChangedHandler(StateChangedHandler handler) = 0;
};

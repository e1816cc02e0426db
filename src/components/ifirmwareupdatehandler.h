#pragma once

#include <cstdint>

#include "platform/iipc/messages.h"

// Carries one firmware update from request to report.
class IFirmwareUpdateHandler {
 public:
  virtual ~IFirmwareUpdateHandler() = default;

  virtual void Init() = 0;
  // Number of the persistent update state.
  virtual int32_t GetState() = 0;
  virtual void HandleFwUpdateStatus(const ipc::MFwUpdateStatus& status) = 0;
};

#pragma once

#include <cstdint>

#include "platform/iipc/messages.h"

// An error or a warning that was raised or cleared.
inline ipc::MDiagnosticsSignal MakeSignal(int32_t identifier, uint32_t connector, bool raised)
{
  ipc::MDiagnosticsSignal signal;
  signal.set_identifier(static_cast<ipc::ESignalIdentifier>(identifier));
  signal.set_connector(connector);
  signal.add_bool_values(raised);
  return signal;
}

inline ipc::MDiagnosticsNotificationType MakeType(int type)
{
  ipc::MDiagnosticsNotificationType message;
  message.set_type(static_cast<ipc::EDiagnosticsNotificationType>(type));
  return message;
}

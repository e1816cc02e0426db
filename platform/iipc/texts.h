#pragma once

#include "platform/iipc/messages.h"
#include "platform/iipc/persistentid.h"

// Texts of the IPC enumerations for log lines and reports. They never fail: a number that is not listed has a text too.

// "Invalid", "Uninitialized", ...; otherwise "unknown state".
const char* StateToString(ipc::EState state);
// Empty for success, "Illegal", otherwise "unknown result".
const char* ResultToString(ipc::EResult result);
// "State A" to "State F"; otherwise "State Invalid".
const char* CpStateToString(ipc::ECpState state);
// "Disconnect", "13A", ...; otherwise "Invalid".
const char* PpStateToString(ipc::EPpState state);
// "Boot", "Disabled", ...; otherwise "Unknown".
const char* McuStatusToString(ipc::EMcuControlState state);
// "Disabled" (open) or "Enabled" (closed); otherwise "Unknown".
const char* RelayStatusToString(ipc::ERelayState state);
// Short name of an error that a connector or the station can report, as "LockErr"; otherwise "Unknown".
const char* ErrorToString(ipc::ESignalIdentifier error);
// "Available", "Preparing (plugged in)", ...; otherwise "Unknown".
const char* ConnectorStateToString(ipc::EConnectorState state);
// "Success", "Error: ..."; otherwise "Unknown status".
const char* FwUpdateStatusToString(ipc::EFwUpdateStatus status);
// Name of the configuration domain, without connector prefix; otherwise "Unknown".
const char* PersistentIdToString(EPersistentId id);
// Type of a security event, as OCPP 1.6 security reports it; otherwise "UnknownStatus".
const char* EventToString(ipc::ESignalIdentifier event);
// "AuthSuccess", ...; otherwise "Unknown".
const char* FbEventTypeToString(ipc::EFbEventType type);

#pragma once

#include <cstdint>
#include <string>

#include "src/components/operation/ocpp_common/record.h"

// StatusNotification (OCPP 1.6 section 4.9), sent by the station: state and error of a connector, or of the station as
// connector 0.
namespace Ocpp16::StatusNotification {

using OcppRecord::Text;

#define VALUES(VALUE)                                     \
  VALUE(0, EConnectorLockFailure, "ConnectorLockFailure") \
  VALUE(1, EEVCommunicationError, "EVCommunicationError") \
  VALUE(2, EGroundFailure, "GroundFailure")               \
  VALUE(3, EHighTemperature, "HighTemperature")           \
  VALUE(4, EInternalError, "InternalError")               \
  VALUE(5, ELocalListConflict, "LocalListConflict")       \
  VALUE(6, ENoError, "NoError")                           \
  VALUE(7, EOtherError, "OtherError")                     \
  VALUE(8, EOverCurrentFailure, "OverCurrentFailure")     \
  VALUE(9, EOverVoltage, "OverVoltage")                   \
  VALUE(10, EPowerMeterFailure, "PowerMeterFailure")      \
  VALUE(11, EPowerSwitchFailure, "PowerSwitchFailure")    \
  VALUE(12, EReaderFailure, "ReaderFailure")              \
  VALUE(13, EResetFailure, "ResetFailure")                \
  VALUE(14, EUnderVoltage, "UnderVoltage")                \
  VALUE(15, EWeakSignal, "WeakSignal")
OCPP_ENUMERATION(EChargePointErrorCode, VALUES)
#undef VALUES

#define VALUES(VALUE)                       \
  VALUE(0, EAvailable, "Available")         \
  VALUE(1, ECharging, "Charging")           \
  VALUE(2, EFaulted, "Faulted")             \
  VALUE(3, EFinishing, "Finishing")         \
  VALUE(4, EPreparing, "Preparing")         \
  VALUE(5, EReserved, "Reserved")           \
  VALUE(6, ESuspendedEV, "SuspendedEV")     \
  VALUE(7, ESuspendedEVSE, "SuspendedEVSE") \
  VALUE(8, EUnavailable, "Unavailable")
OCPP_ENUMERATION(EChargePointStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)          \
  REQUIRED(int64_t, connectorId)             \
  REQUIRED(EChargePointErrorCode, errorCode) \
  OPTIONAL(Text<50>, info)                   \
  REQUIRED(EChargePointStatus, status)       \
  OPTIONAL(std::string, timestamp)           \
  OPTIONAL(Text<255>, vendorId)              \
  OPTIONAL(Text<50>, vendorErrorCode)
OCPP_RECORD(statusNotificationRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(statusNotificationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::StatusNotification

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"
#include "src/components/operation/ocpp16/messages/metervalues.h"
#include "src/components/operation/ocpp_common/record.h"

// StopTransaction (OCPP 1.6 section 4.10), sent by the station: a charge has ended.
namespace Ocpp16::StopTransaction {

using OcppRecord::Text;

#define VALUES(VALUE)                         \
  VALUE(0, EDeAuthorized, "DeAuthorized")     \
  VALUE(1, EEmergencyStop, "EmergencyStop")   \
  VALUE(2, EEVDisconnected, "EVDisconnected") \
  VALUE(3, EHardReset, "HardReset")           \
  VALUE(4, ELocal, "Local")                   \
  VALUE(5, EOther, "Other")                   \
  VALUE(6, EPowerLoss, "PowerLoss")           \
  VALUE(7, EReboot, "Reboot")                 \
  VALUE(8, ERemote, "Remote")                 \
  VALUE(9, ESoftReset, "SoftReset")           \
  VALUE(10, EUnlockCommand, "UnlockCommand")
OCPP_ENUMERATION(EReason, VALUES)
#undef VALUES

#define VALUES(VALUE)                 \
  VALUE(0, EA, "A")                   \
  VALUE(1, ECelcius, "Celcius")       \
  VALUE(2, EFahrenheit, "Fahrenheit") \
  VALUE(3, EK, "K")                   \
  VALUE(4, EKVA, "kVA")               \
  VALUE(5, EKvar, "kvar")             \
  VALUE(6, EKvarh, "kvarh")           \
  VALUE(7, EKW, "kW")                 \
  VALUE(8, EKWh, "kWh")               \
  VALUE(9, EPercent, "Percent")       \
  VALUE(10, EV, "V")                  \
  VALUE(11, EVA, "VA")                \
  VALUE(12, EVar, "var")              \
  VALUE(13, EVarh, "varh")            \
  VALUE(14, EW, "W")                  \
  VALUE(15, EWh, "Wh")
OCPP_ENUMERATION(EUnitOfMeasure, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)               \
  REQUIRED(std::string, value)                    \
  OPTIONAL(MeterValues::EReadingContext, context) \
  OPTIONAL(MeterValues::EValueFormat, format)     \
  OPTIONAL(MeterValues::EMeasurand, measurand)    \
  OPTIONAL(MeterValues::EPhase, phase)            \
  OPTIONAL(MeterValues::ELocation, location)      \
  OPTIONAL(EUnitOfMeasure, unit)
OCPP_RECORD(sampledValue, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(std::string, timestamp)  \
  REQUIRED(std::vector<StopTransaction::sampledValue>, sampledValue)
OCPP_RECORD(transactionData, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) \
  OPTIONAL(Text<20>, idTag)         \
  REQUIRED(int64_t, meterStop)      \
  REQUIRED(std::string, timestamp)  \
  REQUIRED(int64_t, transactionId)  \
  OPTIONAL(EReason, reason)         \
  OPTIONAL(std::vector<StopTransaction::transactionData>, transactionData)
OCPP_RECORD(stopTransactionRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) OPTIONAL(IdTagInfoCommon::idTagInfo, idTagInfo)
OCPP_RECORD(stopTransactionResponse, MEMBERS)
#undef MEMBERS

// The response with a status of whatever text.
#define MEMBERS(REQUIRED, OPTIONAL) OPTIONAL(IdTagInfoCommon::foreignIdTagInfo, idTagInfo)
OCPP_RECORD(foreignStopTransactionResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::StopTransaction

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/components/operation/ocpp_common/record.h"

// MeterValues (OCPP 1.6 section 4.7), sent by the station: readings of the meter.
namespace Ocpp16::MeterValues {

#define VALUES(VALUE)                                \
  VALUE(0, EInterruptionBegin, "Interruption.Begin") \
  VALUE(1, EInterruptionEnd, "Interruption.End")     \
  VALUE(2, EOther, "Other")                          \
  VALUE(3, ESampleClock, "Sample.Clock")             \
  VALUE(4, ESamplePeriodic, "Sample.Periodic")       \
  VALUE(5, ETransactionBegin, "Transaction.Begin")   \
  VALUE(6, ETransactionEnd, "Transaction.End")       \
  VALUE(7, ETrigger, "Trigger")
OCPP_ENUMERATION(EReadingContext, VALUES)
#undef VALUES

#define VALUES(VALUE)   \
  VALUE(0, ERaw, "Raw") \
  VALUE(1, ESignedData, "SignedData")
OCPP_ENUMERATION(EValueFormat, VALUES)
#undef VALUES

#define VALUES(VALUE)                                                         \
  VALUE(0, ECurrentExport, "Current.Export")                                  \
  VALUE(1, ECurrentImport, "Current.Import")                                  \
  VALUE(2, ECurrentOffered, "Current.Offered")                                \
  VALUE(3, EEnergyActiveExportInterval, "Energy.Active.Export.Interval")      \
  VALUE(4, EEnergyActiveExportRegister, "Energy.Active.Export.Register")      \
  VALUE(5, EEnergyActiveImportInterval, "Energy.Active.Import.Interval")      \
  VALUE(6, EEnergyActiveImportRegister, "Energy.Active.Import.Register")      \
  VALUE(7, EEnergyReactiveExportInterval, "Energy.Reactive.Export.Interval")  \
  VALUE(8, EEnergyReactiveExportRegister, "Energy.Reactive.Export.Register")  \
  VALUE(9, EEnergyReactiveImportInterval, "Energy.Reactive.Import.Interval")  \
  VALUE(10, EEnergyReactiveImportRegister, "Energy.Reactive.Import.Register") \
  VALUE(11, EFrequency, "Frequency")                                          \
  VALUE(12, EPowerActiveExport, "Power.Active.Export")                        \
  VALUE(13, EPowerActiveImport, "Power.Active.Import")                        \
  VALUE(14, EPowerFactor, "Power.Factor")                                     \
  VALUE(15, EPowerOffered, "Power.Offered")                                   \
  VALUE(16, EPowerReactiveExport, "Power.Reactive.Export")                    \
  VALUE(17, EPowerReactiveImport, "Power.Reactive.Import")                    \
  VALUE(18, ERPM, "RPM")                                                      \
  VALUE(19, ESoC, "SoC")                                                      \
  VALUE(20, ETemperature, "Temperature")                                      \
  VALUE(21, EVoltage, "Voltage")
OCPP_ENUMERATION(EMeasurand, VALUES)
#undef VALUES

#define VALUES(VALUE)      \
  VALUE(0, EL1, "L1")      \
  VALUE(1, EL1L2, "L1-L2") \
  VALUE(2, EL1N, "L1-N")   \
  VALUE(3, EL2, "L2")      \
  VALUE(4, EL2L3, "L2-L3") \
  VALUE(5, EL2N, "L2-N")   \
  VALUE(6, EL3, "L3")      \
  VALUE(7, EL3L1, "L3-L1") \
  VALUE(8, EL3N, "L3-N")   \
  VALUE(9, EN, "N")
OCPP_ENUMERATION(EPhase, VALUES)
#undef VALUES

#define VALUES(VALUE)       \
  VALUE(0, EBody, "Body")   \
  VALUE(1, ECable, "Cable") \
  VALUE(2, EEV, "EV")       \
  VALUE(3, EInlet, "Inlet") \
  VALUE(4, EOutlet, "Outlet")
OCPP_ENUMERATION(ELocation, VALUES)
#undef VALUES

#define VALUES(VALUE)                 \
  VALUE(0, EA, "A")                   \
  VALUE(1, ECelcius, "Celcius")       \
  VALUE(2, ECelsius, "Celsius")       \
  VALUE(3, EFahrenheit, "Fahrenheit") \
  VALUE(4, EK, "K")                   \
  VALUE(5, EKVA, "kVA")               \
  VALUE(6, EKvar, "kvar")             \
  VALUE(7, EKvarh, "kvarh")           \
  VALUE(8, EKW, "kW")                 \
  VALUE(9, EKWh, "kWh")               \
  VALUE(10, EPercent, "Percent")      \
  VALUE(11, EV, "V")                  \
  VALUE(12, EVA, "VA")                \
  VALUE(13, EVar, "var")              \
  VALUE(14, EVarh, "varh")            \
  VALUE(15, EW, "W")                  \
  VALUE(16, EWh, "Wh")
OCPP_ENUMERATION(EUnitOfMeasure, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)  \
  REQUIRED(std::string, value)       \
  OPTIONAL(EReadingContext, context) \
  OPTIONAL(EValueFormat, format)     \
  OPTIONAL(EMeasurand, measurand)    \
  OPTIONAL(EPhase, phase)            \
  OPTIONAL(ELocation, location)      \
  OPTIONAL(EUnitOfMeasure, unit)
OCPP_RECORD(sampledValue, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(std::string, timestamp)  \
  REQUIRED(std::vector<MeterValues::sampledValue>, sampledValue)
OCPP_RECORD(meterValue, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(int64_t, connectorId)    \
  OPTIONAL(int64_t, transactionId)  \
  REQUIRED(std::vector<MeterValues::meterValue>, meterValue)
OCPP_RECORD(meterValuesRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(meterValuesResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::MeterValues

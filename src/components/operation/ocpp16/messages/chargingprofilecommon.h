#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/components/operation/ocpp_common/record.h"

// The charging profile (OCPP 1.6 section 7.8), which several messages carry and the station stores.
namespace Ocpp16::ChargingProfileCommon {

#define VALUES(VALUE)                                       \
  VALUE(0, EChargePointMaxProfile, "ChargePointMaxProfile") \
  VALUE(1, ETxDefaultProfile, "TxDefaultProfile")           \
  VALUE(2, ETxProfile, "TxProfile")
OCPP_ENUMERATION(EChargingProfilePurpose, VALUES)
#undef VALUES

#define VALUES(VALUE)               \
  VALUE(0, EAbsolute, "Absolute")   \
  VALUE(1, ERecurring, "Recurring") \
  VALUE(2, ERelative, "Relative")
OCPP_ENUMERATION(EChargingProfileKind, VALUES)
#undef VALUES

#define VALUES(VALUE)       \
  VALUE(0, EDaily, "Daily") \
  VALUE(1, EWeekly, "Weekly")
OCPP_ENUMERATION(ERecurrencyKind, VALUES)
#undef VALUES

#define VALUES(VALUE) \
  VALUE(0, EA, "A")   \
  VALUE(1, EW, "W")
OCPP_ENUMERATION(EChargingRateUnit, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(int64_t, startPeriod)    \
  REQUIRED(double, limit)           \
  OPTIONAL(int64_t, numberPhases)
OCPP_RECORD(chargingSchedulePeriod, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)                                                            \
  OPTIONAL(int64_t, duration)                                                                  \
  OPTIONAL(std::string, startSchedule)                                                         \
  REQUIRED(EChargingRateUnit, chargingRateUnit)                                                \
  REQUIRED(std::vector<ChargingProfileCommon::chargingSchedulePeriod>, chargingSchedulePeriod) \
  OPTIONAL(double, minChargingRate)
OCPP_RECORD(chargingSchedule, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)                         \
  REQUIRED(int64_t, chargingProfileId)                      \
  OPTIONAL(int64_t, transactionId)                          \
  REQUIRED(int64_t, stackLevel)                             \
  REQUIRED(EChargingProfilePurpose, chargingProfilePurpose) \
  REQUIRED(EChargingProfileKind, chargingProfileKind)       \
  OPTIONAL(ERecurrencyKind, recurrencyKind)                 \
  OPTIONAL(std::string, validFrom)                          \
  OPTIONAL(std::string, validTo)                            \
  REQUIRED(ChargingProfileCommon::chargingSchedule, chargingSchedule)
OCPP_RECORD(csChargingProfiles, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::ChargingProfileCommon

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/operation/ocpp16/messages/metervalues.h"
#include "src/components/operation/ocpp16/messages/stoptransaction.h"

// Numbers of the meter as the sampledValue of a message. MeterValues and StopTransaction have a sampledValue each,
// whose units differ; so each has its own family of classes, and both are made from the templates here. Every class
// only fills its base: it is kept as the base.
namespace Operation {

using Ocpp16::MeterValues::ELocation;
using Ocpp16::MeterValues::EMeasurand;
using Ocpp16::MeterValues::EPhase;
using Ocpp16::MeterValues::EReadingContext;
using Ocpp16::MeterValues::EValueFormat;

// The phases by their index in a list of the meter. Voltages stand under them too, not under "L1-N".
constexpr std::array<EPhase, 3> kPhases = {EPhase::EL1, EPhase::EL2, EPhase::EL3};

inline std::string ToDecimalText(double value) { return fmt::format("{:.3f}", value); }
inline std::string MilliToDecimalText(int64_t milli) { return ToDecimalText(static_cast<double>(milli) / 1000.0); }

// What all classes of a family share. TBase is the message's sampledValue.
template <typename TBase>
class CSampledBase : public TBase {
 public:
  using EUnit = typename TBase::unitMemberType;

 protected:
  CSampledBase(EReadingContext readingContext, EMeasurand kind, std::optional<EUnit> itsUnit, const std::string& text,
               std::optional<EPhase> itsPhase = std::nullopt, ELocation place = ELocation::EOutlet)
  {
    TBase::value = text;
    TBase::context = readingContext;
    TBase::format = EValueFormat::ERaw;
    TBase::measurand = kind;
    TBase::phase = itsPhase;
    TBase::location = place;
    TBase::unit = itsUnit;
  }
};

// mA of one phase, by its index.
template <typename TBase>
class CSampledCurrentImport : public CSampledBase<TBase> {
 public:
  CSampledCurrentImport(EReadingContext readingContext, int32_t currentMa, size_t phaseIndex)
      : CSampledBase<TBase>(readingContext, EMeasurand::ECurrentImport, CSampledBase<TBase>::EUnit::EA,
                            MilliToDecimalText(currentMa), kPhases.at(phaseIndex))
  {}
};

// W of one phase, by its index; without one the sum of all.
template <typename TBase>
class CSampledPowerActiveImport : public CSampledBase<TBase> {
 public:
  CSampledPowerActiveImport(EReadingContext readingContext, int64_t powerW, std::optional<size_t> phaseIndex)
      : CSampledBase<TBase>(readingContext, EMeasurand::EPowerActiveImport, CSampledBase<TBase>::EUnit::EW,
                            std::to_string(powerW), phaseIndex ? std::optional(kPhases.at(*phaseIndex)) : std::nullopt)
  {}
};

template <typename TBase>
class CSampledPowerFactor : public CSampledBase<TBase> {
 public:
  CSampledPowerFactor(EReadingContext readingContext, float factor, size_t phaseIndex)
      : CSampledBase<TBase>(readingContext, EMeasurand::EPowerFactor, std::nullopt, ToDecimalText(factor),
                            kPhases.at(phaseIndex))
  {}
};

// W of one phase, by its index; without one the sum of all.
template <typename TBase>
class CSampledPowerOffered : public CSampledBase<TBase> {
 public:
  CSampledPowerOffered(EReadingContext readingContext, float powerW, std::optional<size_t> phaseIndex)
      : CSampledBase<TBase>(readingContext, EMeasurand::EPowerOffered, CSampledBase<TBase>::EUnit::EW,
                            ToDecimalText(powerW), phaseIndex ? std::optional(kPhases.at(*phaseIndex)) : std::nullopt)
  {}
};

// mV of one phase, by its index.
template <typename TBase>
class CSampledVoltage : public CSampledBase<TBase> {
 public:
  CSampledVoltage(EReadingContext readingContext, int32_t voltageMv, size_t phaseIndex)
      : CSampledBase<TBase>(readingContext, EMeasurand::EVoltage, CSampledBase<TBase>::EUnit::EV,
                            MilliToDecimalText(voltageMv), kPhases.at(phaseIndex))
  {}
};

template <typename TBase>
class CSampledCurrentOffered : public CSampledBase<TBase> {
 public:
  CSampledCurrentOffered(EReadingContext readingContext, float currentA)
      : CSampledBase<TBase>(readingContext, EMeasurand::ECurrentOffered, CSampledBase<TBase>::EUnit::EA,
                            ToDecimalText(currentA))
  {}
};

template <typename TBase>
class CSampledEnergyActiveImportRegister : public CSampledBase<TBase> {
 public:
  CSampledEnergyActiveImportRegister(EReadingContext readingContext, int64_t energyWh)
      : CSampledBase<TBase>(readingContext, EMeasurand::EEnergyActiveImportRegister, CSampledBase<TBase>::EUnit::EWh,
                            std::to_string(energyWh))
  {}
};

template <typename TBase>
class CSampledFrequency : public CSampledBase<TBase> {
 public:
  CSampledFrequency(EReadingContext readingContext, float frequencyHz)
      : CSampledBase<TBase>(readingContext, EMeasurand::EFrequency, std::nullopt, ToDecimalText(frequencyHz))
  {}
};

namespace MeterValues {

using sampledValue = Ocpp16::MeterValues::sampledValue;

using CSampledCurrentImport = Operation::CSampledCurrentImport<sampledValue>;
using CSampledPowerActiveImport = Operation::CSampledPowerActiveImport<sampledValue>;
using CSampledPowerFactor = Operation::CSampledPowerFactor<sampledValue>;
using CSampledPowerOffered = Operation::CSampledPowerOffered<sampledValue>;
using CSampledVoltage = Operation::CSampledVoltage<sampledValue>;
using CSampledCurrentOffered = Operation::CSampledCurrentOffered<sampledValue>;
using CSampledEnergyActiveImportRegister = Operation::CSampledEnergyActiveImportRegister<sampledValue>;
using CSampledFrequency = Operation::CSampledFrequency<sampledValue>;

// Of the station's inside, in degrees Celsius.
class CSampledTemperature : public CSampledBase<sampledValue> {
 public:
  CSampledTemperature(EReadingContext readingContext, float temperatureCelsius)
      : CSampledBase(readingContext, EMeasurand::ETemperature, EUnit::ECelsius, ToDecimalText(temperatureCelsius),
                     std::nullopt, ELocation::EBody)
  {}
};

class CSampledEnergyActiveImportInterval : public CSampledBase<sampledValue> {
 public:
  CSampledEnergyActiveImportInterval(EReadingContext readingContext, int64_t energyWh)
      : CSampledBase(readingContext, EMeasurand::EEnergyActiveImportInterval, EUnit::EWh, std::to_string(energyWh))
  {}
};

}  // namespace MeterValues

// Only the energy register is ever sent in a StopTransaction.
namespace StopTransaction {

using sampledValue = Ocpp16::StopTransaction::sampledValue;

using CSampleValuesCreator = CSampledBase<sampledValue>;
using CSampledCurrentImport = Operation::CSampledCurrentImport<sampledValue>;
using CSampledCurrentOffered = Operation::CSampledCurrentOffered<sampledValue>;
using CSampledEnergyActiveImportRegister = Operation::CSampledEnergyActiveImportRegister<sampledValue>;
using CSampledFrequency = Operation::CSampledFrequency<sampledValue>;
using CSampledPowerActiveImport = Operation::CSampledPowerActiveImport<sampledValue>;
using CSampledPowerFactor = Operation::CSampledPowerFactor<sampledValue>;
using CSampledPowerOffered = Operation::CSampledPowerOffered<sampledValue>;
using CSampledVoltage = Operation::CSampledVoltage<sampledValue>;

}  // namespace StopTransaction

}  // namespace Operation

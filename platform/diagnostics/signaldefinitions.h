#pragma once

#include "platform/diagnostics/signaldefinition.h"

// The signals that this process sends or reads.
namespace SignalDefinitions {

using CTextList = std::vector<std::string>;
using CFloatList = std::vector<float>;

// Sent.
extern const CSignalDefinition<std::string> ChargeProfileUpdateTrace;
extern const CSignalDefinition<int64_t> ActiveChargeProfile;
extern const CSignalDefinition<std::string> InstalledChargeProfiles;
extern const CSignalDefinition<std::string> ChargeProfileFailure;
extern const CSignalDefinition<CTextList> WebsocketStatus;
extern const CSignalDefinition<uint32_t> TransactionQueueSize;
extern const CSignalDefinition<CTextList> AuxiliaryBackofficeOnline;
extern const CSignalDefinition<bool> InvalidConfigValueError;
extern const CSignalDefinition<bool> BackofficeCommunicationLost;
extern const CSignalDefinition<bool> MessageStorageFull;
extern const CSignalDefinition<bool> BackofficeDnsFailed;
extern const CSignalDefinition<std::string> SecurityParameterReconfigured;
extern const CSignalDefinition<std::string> InvalidMessage;
extern const CSignalDefinition<std::string> InvalidCentralSystemCertificate;
extern const CSignalDefinition<std::string> ParameterReconfigured;
extern const CSignalDefinition<std::string> ConnectivityChanged;

// Read.
extern const CSignalDefinition<std::string> CpState;
extern const CSignalDefinition<float> CurrentSetpoint;
extern const CSignalDefinition<int64_t> LifetimeEnergy;
extern const CSignalDefinition<int64_t> SessionEnergy;
extern const CSignalDefinition<float> Relay1Temperature;
extern const CSignalDefinition<int32_t> LteSignalStrength;
extern const CSignalDefinition<int32_t> WlanSignalStrength;
extern const CSignalDefinition<std::string> LteIccid;
extern const CSignalDefinition<std::string> LteImsi;
extern const CSignalDefinition<CFloatList> BopCurrent;
extern const CSignalDefinition<std::string> LimitingCurrentSource;
extern const CSignalDefinition<std::string> BopConstraint;
extern const CSignalDefinition<int32_t> SolarPower;

}  // namespace SignalDefinitions

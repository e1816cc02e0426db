#include "platform/diagnostics/signaldefinitions.h"

namespace SignalDefinitions {

const CSignalDefinition<std::string> ChargeProfileUpdateTrace(GetSignalInfo(200));
const CSignalDefinition<int64_t> ActiveChargeProfile(GetSignalInfo(201));
const CSignalDefinition<std::string> InstalledChargeProfiles(GetSignalInfo(202));
const CSignalDefinition<std::string> ChargeProfileFailure(GetSignalInfo(203));
const CSignalDefinition<CTextList> WebsocketStatus(GetSignalInfo(204));
const CSignalDefinition<uint32_t> TransactionQueueSize(GetSignalInfo(205));
const CSignalDefinition<CTextList> AuxiliaryBackofficeOnline(GetSignalInfo(206));
const CSignalDefinition<bool> InvalidConfigValueError(GetSignalInfo(1105));
const CSignalDefinition<bool> BackofficeCommunicationLost(GetSignalInfo(10000));
const CSignalDefinition<bool> MessageStorageFull(GetSignalInfo(10001));
const CSignalDefinition<bool> BackofficeDnsFailed(GetSignalInfo(10002));
const CSignalDefinition<std::string> SecurityParameterReconfigured(GetSignalInfo(20301));
const CSignalDefinition<std::string> InvalidMessage(GetSignalInfo(20302));
const CSignalDefinition<std::string> InvalidCentralSystemCertificate(GetSignalInfo(20303));
const CSignalDefinition<std::string> ParameterReconfigured(GetSignalInfo(20500));
const CSignalDefinition<std::string> ConnectivityChanged(GetSignalInfo(20503));

const CSignalDefinition<std::string> CpState(GetSignalInfo(10));
const CSignalDefinition<float> CurrentSetpoint(GetSignalInfo(31));
const CSignalDefinition<int64_t> LifetimeEnergy(GetSignalInfo(50));
const CSignalDefinition<int64_t> SessionEnergy(GetSignalInfo(51));
const CSignalDefinition<float> Relay1Temperature(GetSignalInfo(73));
const CSignalDefinition<int32_t> LteSignalStrength(GetSignalInfo(127));
const CSignalDefinition<int32_t> WlanSignalStrength(GetSignalInfo(128));
const CSignalDefinition<std::string> LteIccid(GetSignalInfo(130));
const CSignalDefinition<std::string> LteImsi(GetSignalInfo(131));
const CSignalDefinition<CFloatList> BopCurrent(GetSignalInfo(140));
const CSignalDefinition<std::string> LimitingCurrentSource(GetSignalInfo(142));
const CSignalDefinition<std::string> BopConstraint(GetSignalInfo(149));
const CSignalDefinition<int32_t> SolarPower(GetSignalInfo(155));

}  // namespace SignalDefinitions

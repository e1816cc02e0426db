#include "platform/iipc/texts.h"

namespace {

// Enumerations of the contract are open: a newer sibling may send a number that is not in the table.
template <typename TEnum>
struct SText {
  TEnum value;
  const char* text;
};

template <typename TEnum, size_t size>
constexpr const char* Find(const SText<TEnum> (&table)[size], TEnum value, const char* otherwise)
{
  for (const auto& entry : table) {
    if (entry.value == value) return entry.text;
  }
  return otherwise;
}

constexpr SText<ipc::EState> stateTexts[] = {
    {ipc::EStateInvalid, "Invalid"},       {ipc::EStateUninitialized, "Uninitialized"},
    {ipc::EStateDisabled, "Disabled"},     {ipc::EStateEnabled, "Enabled"},
    {ipc::EStateError, "Error"},           {ipc::EStateFatalError, "FatalError"},
    {ipc::EStateCommission, "Commission"},
};

constexpr SText<ipc::EResult> resultTexts[] = {
    {ipc::EResultSuccess, ""},
    {ipc::EResultIllegal, "Illegal"},
};

constexpr SText<ipc::ECpState> cpStateTexts[] = {
    {ipc::ECpStateA, "State A"},
    {ipc::ECpStateB, "State B"},
    {ipc::ECpStateC, "State C"},
    {ipc::ECpStateD, "State D"},
    {ipc::ECpStateE, "State E"},
    {ipc::ECpStateF, "State F"},
    {ipc::ECpStateInvalid, "State Invalid"},
};

constexpr SText<ipc::EPpState> ppStateTexts[] = {
    {ipc::EPpStateDisconnect, "Disconnect"},
    {ipc::EPpState13A, "13A"},
    {ipc::EPpState20A, "20A"},
    {ipc::EPpState32A, "32A"},
    {ipc::EPpState63A, "63/70A"},
    {ipc::EPpStateError, "Error"},
    {ipc::EPpStateInvalid, "Invalid"},
};

constexpr SText<ipc::EMcuControlState> mcuStatusTexts[] = {
    {ipc::EMcuControlStateBoot, "Boot"},           {ipc::EMcuControlStateDisabled, "Disabled"},
    {ipc::EMcuControlStateEnabling, "Enabling"},   {ipc::EMcuControlStateEnabled, "Enabled"},
    {ipc::EMcuControlStateDisabling, "Disabling"}, {ipc::EMcuControlStateError, "Error"},
};

constexpr SText<ipc::ERelayState> relayStatusTexts[] = {
    {ipc::ERelayStateDisabled, "Disabled"},
    {ipc::ERelayStateEnabled, "Enabled"},
};

constexpr SText<ipc::ESignalIdentifier> errorTexts[] = {
    {ipc::ESignalChargeControlSocketError, "LockErr"},
    {ipc::ESignalChargeControlRelayError, "RelayOpErr"},
    {ipc::ESignalChargeControlCpShort, "StateE"},
    {ipc::ESignalChargeControlPpError, "PpErr"},
    {ipc::ESignalChargeControlCpLowError, "CpLowErr"},
    {ipc::ESignalChargeControlEvTimeoutError, "EvCd1Timeout"},
    {ipc::ESignalSafetyMcuCommFastReadStartError, "FastReadStartErr"},
    {ipc::ESignalSafetyMcuCommSlowReadStartError, "SlowReadStartErr"},
    {ipc::ESignalSafetyMcuCommRelayCloseError, "RelayCloseErr"},
    {ipc::ESignalSafetyMcuCommRelayOpenError, "RelayOpenErr"},
    {ipc::ESignalSafetyMcuCommModbusInitializationError, "SmcuCommInitErr"},
    {ipc::ESignalSafetyMcuCommModbusTerminationError, "SmcuCommTermErr"},
    {ipc::ESignalSafetyMcuCommIdReadError, "CommIDErr"},
    {ipc::ESignalTheEldComponentInSafetyMcuDetectedAnError, "EldErr"},
    {ipc::ESignalTheRelayComponentInSafetyMcuDetectedAnError, "RelayErr"},
    {ipc::ESignalSafetyMcuHasDetectedOverUnderTemperature, "HighTemp"},
    {ipc::ESignalTheInternalWatchdogHasResettedTheSafetyMcu, "SmcuWdg"},
    {ipc::ESignalTheGroundMonitorComponentInSafetyMcuDetectedAnError, "GndErr"},
    {ipc::ESignalATimeoutWasReachedInTheInternalStateMachineInSafetyMcu, "SmcuTimeout"},
    {ipc::ESignalTheActiveCommunicationLinkDetectionInSafetyMcuHasTimedOut, "SmcuLinkTimeout"},
    {ipc::ESignalSafetyMcuCommCannotReachSmcu, "SmcuLostComm"},
    {ipc::ESignalThePfdComponentInSafetyMcuDetectedAnError, "PfdErr"},
    {ipc::ESignalBoardControlInitializationFaultError, "ProcInitFail"},
    {ipc::ESignalBoardControlDetectedProcessEsCrashed, "ProcCrash"},
    {ipc::ESignalBoardControlFailedToEnableChargeFacilityGroup, "ChargeGroupEnFail"},
    {ipc::ESignalBoardControlEntersFatalErrorState, "SysFatalErr"},
    {ipc::ESignalInvalidConfigValueError, "SysConfValueErr"},
    {ipc::ESignalCurrentControlCableRatingExceeded, "CableRatingExceeded"},
    {ipc::ESignalCurrentControlInstallationLimitExceeded, "InstallLimExceeded"},
    {ipc::ESignalCurrentControlPhysicalCurrentLimitExceeded, "PhysLimExceeded"},
    {ipc::ESignalCurrentControlVdeARn4100PhaseImbalanceExceeded, "VDEARN4100LimExceeded"},
};

constexpr SText<ipc::EConnectorState> connectorStateTexts[] = {
    {ipc::EConnectorStateAvailable, "Available"},
    {ipc::EConnectorStateUnavailable, "Unavailable"},
    {ipc::EConnectorStateReserved, "Reserved"},
    {ipc::EConnectorStatePreparingPluggedIn, "Preparing (plugged in)"},
    {ipc::EConnectorStatePreparingAuthorized, "Preparing (authorized)"},
    {ipc::EConnectorStateCharging, "Charging"},
    {ipc::EConnectorStateSuspendedByEv, "Suspended by EV"},
    {ipc::EConnectorStateSuspendedByEvse, "Suspended by EVSE"},
    {ipc::EConnectorStateFinishing, "Finishing"},
    {ipc::EConnectorStateFaulted, "Faulted"},
    {ipc::EConnectorStateStarting, "Starting"},
    {ipc::EConnectorStateStopping, "Stopping"},
};

constexpr SText<ipc::EFwUpdateStatus> fwUpdateStatusTexts[] = {
    {ipc::EFwUpdateStatusSuccess, "Success"},
    {ipc::EFwUpdateStatusNoPackage, "Error: Firmware package file does not exist"},
    {ipc::EFwUpdateStatusNotIdle, "Error: System is not idle"},
    {ipc::EFwUpdateStatusInvalidFirmwareInfo, "Error: Firmware info file is invalid"},
    {ipc::EFwUpdateStatusInvalidHardwareInfo, "Error: Hardware info file is invalid"},
    {ipc::EFwUpdateStatusSaveFailed, "Error: Unable to save persistent setting"},
    {ipc::EFwUpdateStatusLoadFailed, "Error: Unable to load persistent setting"},
    {ipc::EFwUpdateStatusNoSpace, "Error: No space available for needed files"},
    {ipc::EFwUpdateStatusProgrammingFailed, "Error: Firmware package checks or programming failed"},
    {ipc::EFwUpdateStatusNotLoaded, "Error: Firmware image not loaded after programming"},
    {ipc::EFwUpdateStatusInternalError, "Error: Internal error"},
};

constexpr SText<EPersistentId> persistentIdTexts[] = {
    {EPersistentId::ESeccPersistentData, "secc_persistentdata"},
    {EPersistentId::ESeccPersistentMessages, "secc_persistentmessages"},
    {EPersistentId::ESeccChargeProfiles, "secc_chargeprofiles"},
    {EPersistentId::ESessionManagerPersistentData, "sessionmanager_persistentdata"},
};

constexpr SText<ipc::ESignalIdentifier> eventTexts[] = {
    {ipc::ESignalFirmwareHasBeenUpdated, "FirmwareUpdated"},
    {ipc::ESignalSystemTimeIsChanged, "SettingSystemTime"},
    {ipc::ESignalDeviceIsStartedStarting, "StartupOfTheDevice"},
    {ipc::ESignalDeviceWasResetOrRebooted, "ResetOrReboot"},
    {ipc::ESignalSecurityLogWasCleared, "SecurityLogWasCleared"},
    {ipc::ESignalDeviceMemoryIsRunningLow, "MemoryExhaustion"},
    {ipc::ESignalTamperDetectionIsTriggered, "TamperDetectionActivated"},
    {ipc::ESignalDeviceIsRecommissioned, "Recommissioned"},
    {ipc::ESignalSystemFailedToAuthenticate, "CentralSystemFailedToAuthenticate"},
    {ipc::ESignalWebbackendOrSeccChangedTheSecurityParameters, "ReconfigurationOfSecurityParameters"},
    {ipc::ESignalSeccReceivedNonValidOcppMessages, "InvalidMessages"},
    {ipc::ESignalSeccDetectedAnInvalidCentralSystemCertificate, "InvalidCentralSystemCertificate"},
    {ipc::ESignalSeccDetectedAnInvalidTlsVersion, "InvalidTLSVersion"},
    {ipc::ESignalWebbackendInitiatesFactoryReset, "FactoryReset"},
    {ipc::ESignalParametersHaveBeenReconfigured, "ReconfigurationOfParameter"},
    {ipc::ESignalSessionStatusChanged, "SessionStatusChanged"},
    {ipc::ESignalUserHasInteractedWithZorn, "UserActionPerformed"},
    {ipc::ESignalConnectivityStatusHasChanged, "ConnectivityChanged"},
};

constexpr SText<ipc::EFbEventType> fbEventTypeTexts[] = {
    {ipc::EFbEventTypeAuthSuccess, "AuthSuccess"},
    {ipc::EFbEventTypeAuthFailure, "AuthFailure"},
    {ipc::EFbEventTypeTagSwipeSuccess, "TagSwipeSuccess"},
    {ipc::EFbEventTypeIdentify, "Identify"},
    {ipc::EFbEventTypeTagSwipeFailureInvalidTag, "TagSwipeFailureInvalidTag"},
    {ipc::EFbEventTypeTagSwipeFailureMultipleTags, "TagSwipeFailureMultipleTags"},
};

}  // namespace

const char* StateToString(ipc::EState state) { return Find(stateTexts, state, "unknown state"); }

const char* ResultToString(ipc::EResult result) { return Find(resultTexts, result, "unknown result"); }

const char* CpStateToString(ipc::ECpState state) { return Find(cpStateTexts, state, "State Invalid"); }

const char* PpStateToString(ipc::EPpState state) { return Find(ppStateTexts, state, "Invalid"); }

const char* McuStatusToString(ipc::EMcuControlState state) { return Find(mcuStatusTexts, state, "Unknown"); }

const char* RelayStatusToString(ipc::ERelayState state) { return Find(relayStatusTexts, state, "Unknown"); }

const char* ErrorToString(ipc::ESignalIdentifier error) { return Find(errorTexts, error, "Unknown"); }

const char* ConnectorStateToString(ipc::EConnectorState state) { return Find(connectorStateTexts, state, "Unknown"); }

const char* FwUpdateStatusToString(ipc::EFwUpdateStatus status)
{
  return Find(fwUpdateStatusTexts, status, "Unknown status");
}

const char* PersistentIdToString(EPersistentId id) { return Find(persistentIdTexts, id, "Unknown"); }

const char* EventToString(ipc::ESignalIdentifier event) { return Find(eventTexts, event, "UnknownStatus"); }

const char* FbEventTypeToString(ipc::EFbEventType type) { return Find(fbEventTypeTexts, type, "Unknown"); }

// The texts of the IPC enumerations, row by row, and what a number that is not listed gives.

#include "platform/iipc/texts.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

// All rows of a text function, and that every other number up to the last of the enumeration has `otherwise`.
template <typename TEnum>
void ExpectTexts(const char* (*function)(TEnum), const std::map<int, std::string>& rows, const std::string& otherwise,
                 int last)
{
  for (int number = -1; number <= last; ++number) {
    const auto row = rows.find(number);
    EXPECT_EQ(function(static_cast<TEnum>(number)), row != rows.end() ? row->second : otherwise) << number;
  }
}

TEST(IpcTexts, StateHasAText)
{
  ExpectTexts(StateToString,
              {{0, "Invalid"},
               {1, "Uninitialized"},
               {2, "Disabled"},
               {3, "Enabled"},
               {4, "Error"},
               {5, "FatalError"},
               {6, "Commission"}},
              "unknown state", 8);
}

TEST(IpcTexts, SuccessHasAnEmptyTextAndFailuresHaveOne)
{
  ExpectTexts(ResultToString, {{0, ""}, {1, "Illegal"}}, "unknown result", 4);
}

TEST(IpcTexts, PilotStatesHaveTexts)
{
  ExpectTexts(CpStateToString,
              {{0, "State A"}, {1, "State B"}, {2, "State C"}, {3, "State D"}, {4, "State E"}, {5, "State F"}},
              "State Invalid", 8);
  ExpectTexts(PpStateToString, {{0, "Disconnect"}, {1, "13A"}, {2, "20A"}, {3, "32A"}, {4, "63/70A"}, {5, "Error"}},
              "Invalid", 8);
}

TEST(IpcTexts, SafetyControllerAndRelayHaveTexts)
{
  ExpectTexts(McuStatusToString,
              {{0, "Boot"}, {1, "Disabled"}, {2, "Enabling"}, {3, "Enabled"}, {4, "Disabling"}, {15, "Error"}},
              "Unknown", 17);
  ExpectTexts(RelayStatusToString, {{0, "Disabled"}, {1, "Enabled"}}, "Unknown", 3);
}

TEST(IpcTexts, ConnectorStateHasAText)
{
  ExpectTexts(ConnectorStateToString,
              {{1, "Available"},
               {2, "Unavailable"},
               {3, "Reserved"},
               {4, "Preparing (plugged in)"},
               {5, "Preparing (authorized)"},
               {6, "Charging"},
               {7, "Suspended by EV"},
               {8, "Suspended by EVSE"},
               {9, "Finishing"},
               {10, "Faulted"},
               {11, "Starting"},
               {12, "Stopping"}},
              "Unknown", 14);
}

TEST(IpcTexts, FirmwareUpdateStatusHasAText)
{
  ExpectTexts(FwUpdateStatusToString,
              {{0, "Success"},
               {1, "Error: Firmware package file does not exist"},
               {2, "Error: System is not idle"},
               {3, "Error: Firmware info file is invalid"},
               {4, "Error: Hardware info file is invalid"},
               {5, "Error: Unable to save persistent setting"},
               {6, "Error: Unable to load persistent setting"},
               {7, "Error: No space available for needed files"},
               {8, "Error: Firmware package checks or programming failed"},
               {9, "Error: Firmware image not loaded after programming"},
               {10, "Error: Internal error"}},
              "Unknown status", 12);
}

TEST(IpcTexts, FeedbackEventHasAText)
{
  ExpectTexts(FbEventTypeToString,
              {{0, "AuthSuccess"},
               {1, "AuthFailure"},
               {2, "TagSwipeSuccess"},
               {3, "Identify"},
               {4, "TagSwipeFailureInvalidTag"},
               {5, "TagSwipeFailureMultipleTags"}},
              "Unknown", 7);
}

TEST(IpcTexts, SecurityEventHasATextAndEveryOtherSignalIsAnUnknownStatus)
{
  ExpectTexts(EventToString,
              {{20000, "FirmwareUpdated"},
               {20001, "SettingSystemTime"},
               {20002, "StartupOfTheDevice"},
               {20003, "ResetOrReboot"},
               {20004, "SecurityLogWasCleared"},
               {20005, "MemoryExhaustion"},
               {20006, "TamperDetectionActivated"},
               {20007, "Recommissioned"},
               {20300, "CentralSystemFailedToAuthenticate"},
               {20301, "ReconfigurationOfSecurityParameters"},
               {20302, "InvalidMessages"},
               {20303, "InvalidCentralSystemCertificate"},
               {20304, "InvalidTLSVersion"},
               {20305, "FactoryReset"},
               {20500, "ReconfigurationOfParameter"},
               {20501, "SessionStatusChanged"},
               {20502, "UserActionPerformed"},
               {20503, "ConnectivityChanged"}},
              "UnknownStatus", 20600);
}

TEST(IpcTexts, ErrorHasAShortNameAndEveryOtherSignalIsUnknown)
{
  ExpectTexts(ErrorToString,
              {{1000, "LockErr"},
               {1001, "RelayOpErr"},
               {1002, "StateE"},
               {1003, "PpErr"},
               {1004, "CpLowErr"},
               {1005, "EvCd1Timeout"},
               {1050, "FastReadStartErr"},
               {1051, "SlowReadStartErr"},
               {1052, "RelayCloseErr"},
               {1053, "RelayOpenErr"},
               {1054, "SmcuCommInitErr"},
               {1055, "SmcuCommTermErr"},
               {1056, "CommIDErr"},
               {1057, "EldErr"},
               {1058, "RelayErr"},
               {1059, "HighTemp"},
               {1060, "SmcuWdg"},
               {1061, "GndErr"},
               {1062, "SmcuTimeout"},
               {1063, "SmcuLinkTimeout"},
               {1064, "SmcuLostComm"},
               {1065, "PfdErr"},
               {1100, "ProcInitFail"},
               {1102, "ProcCrash"},
               {1103, "ChargeGroupEnFail"},
               {1104, "SysFatalErr"},
               {1105, "SysConfValueErr"},
               {1252, "CableRatingExceeded"},
               {1254, "InstallLimExceeded"},
               {1255, "PhysLimExceeded"},
               {1256, "VDEARN4100LimExceeded"}},
              "Unknown", 1300);
}

TEST(IpcTexts, PersistentStoreHasTheNameOfItsDomain)
{
  ExpectTexts(PersistentIdToString,
              {{0, "secc_persistentdata"},
               {1, "secc_persistentmessages"},
               {2, "secc_chargeprofiles"},
               {3, "sessionmanager_persistentdata"}},
              "Unknown", 5);
}

}  // namespace

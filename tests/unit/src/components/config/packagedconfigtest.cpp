// The packaged metadata and defaults below data/config.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "src/components/configmetadata.h"
#include "src/components/ocppconfigmanager.h"
#include "tests/unit/src/components/config/datafiles.h"
#include "tests/unit/support/fakeconfig.h"

namespace {

// Each store with a packaged default, by its name in the metadata.
const std::set<std::string> kStores = {"ocpp",
                                       "settings",
                                       "secrets",
                                       "network",
                                       "fwinfo",
                                       "hwinfo",
                                       "secc_persistentdata",
                                       "connector1/secc_persistentdata",
                                       "connector1/sessionmanager_persistentdata"};
// Answered by a file of the station, so there is nothing to package.
const std::string kPublicKey = "Meter1EichrechtPublicKey";

class PackagedConfig : public testing::Test {
 protected:
  PackagedConfig()
  {
    for (const std::string& key : mMetadata.getMemberNames()) mInfos[key] = ParseConfigKeyInfo(key, mMetadata[key]);
    for (const std::string& store : kStores) mDefaults[store] = ReadConfigDocument(store + ".json");
  }

  Json::Value GetDefault(const SConfigKeyInfo& info) { return mDefaults[info.mFile][info.mKeyName]; }

  const Json::Value mMetadata = ReadConfigDocument("ocpp_meta.json");
  std::map<std::string, SConfigKeyInfo> mInfos;
  std::map<std::string, Json::Value> mDefaults;
};

bool Contains(const std::vector<std::string>& list, const std::string& item)
{
  return std::find(list.begin(), list.end(), item) != list.end();
}

}  // namespace

TEST_F(PackagedConfig, EveryKeyLiesInAStoreOfTheStation)
{
  for (const auto& [key, info] : mInfos) EXPECT_EQ(kStores.count(info.mFile), 1U) << key << ": " << info.mFile;
}

TEST_F(PackagedConfig, EveryKeyHasADefaultOfItsTypeAndWithinItsLimits)
{
  for (const auto& [key, info] : mInfos) {
    if (key == kPublicKey) continue;
    const Json::Value value = GetDefault(info);
    switch (info.mType) {
      case EConfigType::EBoolean:
        EXPECT_TRUE(value.isBool()) << key;
        break;
      case EConfigType::EInteger:
        ASSERT_TRUE(value.isInt64() && !value.isBool()) << key;
        EXPECT_GE(value.asInt64(), info.mMin) << key;
        EXPECT_LE(value.asInt64(), info.mMax) << key;
        break;
      case EConfigType::EString:
        ASSERT_TRUE(value.isString()) << key;
        EXPECT_TRUE(info.mAllowedList.empty() || Contains(info.mAllowedList, value.asString())) << key;
        EXPECT_FALSE(Contains(info.mDeniedList, value.asString())) << key;
        break;
      case EConfigType::ECsl:
        ASSERT_TRUE(value.isString()) << key;
        for (const std::string& item : SplitCsl(value.asString()))
          EXPECT_TRUE(Contains(info.mSupportedItems, item)) << key;
        break;
      case EConfigType::EUnknown:
        ADD_FAILURE() << key;
    }
  }
}

TEST_F(PackagedConfig, EveryDefaultBelongsToAKey)
{
  std::set<std::pair<std::string, std::string>> places;
  for (const auto& [key, info] : mInfos) places.emplace(info.mFile, info.mKeyName);
  for (const auto& [store, document] : mDefaults) {
    for (const std::string& name : document.getMemberNames()) {
      EXPECT_EQ(places.count({store, name}), 1U) << store << ": " << name;
    }
  }
}

TEST_F(PackagedConfig, EveryKeySaysWhatItIsFor)
{
  for (const std::string& key : mMetadata.getMemberNames()) {
    EXPECT_FALSE(mMetadata[key]["description"].asString().empty()) << key;
    EXPECT_FALSE(mMetadata[key]["group"].asString().empty()) << key;
  }
}

TEST_F(PackagedConfig, SecretsAndNothingElseAreWriteOnly)
{
  for (const auto& [key, info] : mInfos) {
    EXPECT_EQ(info.mFile == "secrets", info.mAccess == EConfigAccess::EWriteOnly) << key;
    const bool soundsSecret = key.find("Password") != std::string::npos || key.find("Secret") != std::string::npos ||
                              key.find("AuthorizationKey") != std::string::npos;
    EXPECT_TRUE(!soundsSecret || info.mAccess == EConfigAccess::EWriteOnly) << key;
  }
}

// The log of configuration changes masks values by the name that they have in their store.
TEST_F(PackagedConfig, SecretsLieUnderNamesThatTheLogMasks)
{
  EXPECT_EQ(mInfos["AuthorizationKey"].mKeyName, "AuthorizationKey");
  EXPECT_EQ(mInfos["SboAuthorizationKey"].mKeyName, "SboOcppBasicAuthPassword");
  EXPECT_EQ(mInfos["SboOcppBasicAuthPassword"].mKeyName, "SboOcppBasicAuthPassword");
  EXPECT_EQ(mInfos["SmsPassword"].mKeyName, "NetMSmsPassword");
  EXPECT_EQ(mInfos["FwUpdateAuthPassword"].mKeyName, "FwUpdateAuthPassword");
}

TEST_F(PackagedConfig, EveryWritableListSaysHowLongItMayBe)
{
  for (const auto& [key, info] : mInfos) {
    if (info.mType != EConfigType::ECsl || info.mAccess == EConfigAccess::EReadOnly) continue;
    ASSERT_EQ(mInfos.count(key + "MaxLength"), 1U) << key;
    const SConfigKeyInfo& limit = mInfos[key + "MaxLength"];
    EXPECT_EQ(limit.mType, EConfigType::EInteger) << key;
    EXPECT_EQ(limit.mAccess, EConfigAccess::EReadOnly) << key;
    EXPECT_LE(SplitCsl(GetDefault(info).asString()).size(), GetDefault(limit).asUInt()) << key;
  }
}

TEST_F(PackagedConfig, LimitsStandOnlyWhereTheyCount)
{
  for (const std::string& key : mMetadata.getMemberNames()) {
    const Json::Value& metadata = mMetadata[key];
    const SConfigKeyInfo& info = mInfos[key];
    EXPECT_LE(info.mMin, info.mMax) << key;
    if (info.mType != EConfigType::EInteger) {
      EXPECT_FALSE(metadata.isMember("min") || metadata.isMember("max")) << key;
    }
    if (info.mType != EConfigType::ECsl) {
      EXPECT_FALSE(metadata.isMember("supportedItems")) << key;
    }
    if (info.mType != EConfigType::EString) {
      EXPECT_FALSE(metadata.isMember("allowedStringList") || metadata.isMember("deniedStringList")) << key;
    }
  }
}

// OCPP 1.6 edition 2, chapter 9: what a station must have for the profiles that this one supports.
TEST_F(PackagedConfig, KeysThatTheStandardRequiresAreThere)
{
  constexpr auto kBool = EConfigType::EBoolean;
  constexpr auto kInt = EConfigType::EInteger;
  constexpr auto kCsl = EConfigType::ECsl;
  constexpr auto kRead = EConfigAccess::EReadOnly;
  constexpr auto kWrite = EConfigAccess::EReadWrite;
  struct SRow {
    const char* key;
    EConfigType type;
    EConfigAccess access;
  };
  constexpr SRow kRows[] = {
      {"AuthorizeRemoteTxRequests", kBool, kRead},
      {"ClockAlignedDataInterval", kInt, kWrite},
      {"ConnectionTimeOut", kInt, kWrite},
      {"ConnectorPhaseRotation", kCsl, kWrite},
      {"GetConfigurationMaxKeys", kInt, kRead},
      {"HeartbeatInterval", kInt, kWrite},
      {"LocalAuthorizeOffline", kBool, kWrite},
      {"LocalPreAuthorize", kBool, kWrite},
      {"MeterValuesAlignedData", kCsl, kWrite},
      {"MeterValuesSampledData", kCsl, kWrite},
      {"MeterValueSampleInterval", kInt, kWrite},
      {"NumberOfConnectors", kInt, kRead},
      {"ResetRetries", kInt, kWrite},
      {"StopTransactionOnEVSideDisconnect", kBool, kWrite},
      {"StopTransactionOnInvalidId", kBool, kWrite},
      {"StopTxnAlignedData", kCsl, kWrite},
      {"StopTxnSampledData", kCsl, kWrite},
      {"SupportedFeatureProfiles", kCsl, kRead},
      {"TransactionMessageAttempts", kInt, kWrite},
      {"TransactionMessageRetryInterval", kInt, kWrite},
      {"UnlockConnectorOnEVSideDisconnect", kBool, kWrite},
      {"LocalAuthListEnabled", kBool, kWrite},
      {"LocalAuthListMaxLength", kInt, kRead},
      {"SendLocalListMaxLength", kInt, kRead},
      {"ChargeProfileMaxStackLevel", kInt, kRead},
      {"ChargingScheduleAllowedChargingRateUnit", kCsl, kRead},
      {"ChargingScheduleMaxPeriods", kInt, kRead},
      {"MaxChargingProfilesInstalled", kInt, kRead},
  };
  for (const SRow& row : kRows) {
    ASSERT_EQ(mInfos.count(row.key), 1U) << row.key;
    EXPECT_EQ(mInfos[row.key].mType, row.type) << row.key;
    EXPECT_EQ(mInfos[row.key].mAccess, row.access) << row.key;
  }
  EXPECT_EQ(GetDefault(mInfos["SupportedFeatureProfiles"]).asString(),
            "Core,FirmwareManagement,LocalAuthListManagement,SmartCharging,RemoteTrigger");
}

TEST_F(PackagedConfig, KeysThatTheSystemUsesAreThere)
{
  constexpr const char* kKeys[] = {"ProductSn",
                                   "ProductPn",
                                   "CustomerId",
                                   "CustomCustomerId",
                                   "OcppBackendUri",
                                   "SeccOcppUri",
                                   "SeccOcppActive",
                                   "SboEnabled",
                                   "SboAllowed",
                                   "SboOcppBasicAuthPassword",
                                   "AuthorizationKey",
                                   "ProductModelName",
                                   "ProductVendorName",
                                   "HeartbeatInterval",
                                   "SboHeartbeatInterval",
                                   "WebSocketPingInterval",
                                   "WebSocketPongTimeout",
                                   "TransactionMessageAttempts",
                                   "TransactionMessageRetryInterval",
                                   "MessageTimeout",
                                   "ChargeBeforeAcceptedPolicy",
                                   "AllowChargeWithoutValidTime",
                                   "GetConfigurationMaxKeys",
                                   "HwOneOrThreePhase",
                                   "HwHasSocket",
                                   "HwHasLte",
                                   "HwHasRs485",
                                   "HwHasEthernet",
                                   "HwHasPlc",
                                   "HwHasBop",
                                   "HwHasTpm",
                                   "HwHasEichrechtLaserMarking",
                                   "HwMaxCurrent",
                                   "FwIdent",
                                   "FwMeterVersion",
                                   "NumberOfConnectors",
                                   "Meter1EichrechtPublicKey",
                                   "CurrentTransactionId",
                                   "OpenedTransaction",
                                   "WasAccepted",
                                   "SessionId",
                                   "ParentId",
                                   "Socket1Availability",
                                   "ResumeTxAfterPowerLoss",
                                   "MeterValuePersistentStorageEnable",
                                   "FwUpdateState",
                                   "FwUpdateRetrieveDate",
                                   "FwUpdateUri",
                                   "FwUpdateAuthUsername",
                                   "FwUpdateAuthPassword",
                                   "FwUpdateRetries",
                                   "FwUpdateRetryInterval",
                                   "FwUpdateDownloadAttempts",
                                   "DiagUploadRetries",
                                   "DiagUploadRetryInterval",
                                   "NtpServer1",
                                   "NtpServer2",
                                   "MobileNetworkEnabled",
                                   "SmsPassword",
                                   "TOTPSharedSecret",
                                   "IgnoredWarnings",
                                   "UnlockConnectorTimeout",
                                   "Iso15118EvseId",
                                   "Iso15118CommunicationEnable",
                                   "MaxChargingProfilesInstalled",
                                   "ChargeProfileMaxStackLevel",
                                   "ChargingScheduleAllowedChargingRateUnit",
                                   "ChargingScheduleMaxPeriods",
                                   "ChargePointMaxCurrent",
                                   "BopGridConnectionCurrent",
                                   "BopFallbackCurrent",
                                   "BopSource",
                                   "BopSourceParameters",
                                   "GroupLoadBalancingEnable",
                                   "GroupLoadBalancingInterface",
                                   "GroupLoadBalancingFallbackCurrent",
                                   "SolarChargingEnable",
                                   "SolarChargingSource",
                                   "SolarChargingSourceParameters",
                                   "UserDefinedHouseholdPowerLimitEnable",
                                   "UserDefinedHouseholdPowerLimitSource",
                                   "UserDefinedHouseholdPowerLimitSourceParameters",
                                   "ClockAlignedDataInterval",
                                   "MeterValueSampleInterval",
                                   "SboAuthorizationKey",
                                   "SboSeccOcppUri",
                                   "SboWebSocketPingInterval",
                                   "SboWebSocketPongTimeout",
                                   "AllowOfflineTxForUnknownId",
                                   "AuthorizationCacheEnabled",
                                   "EichrechtSupportEnabled",
                                   "HardResetFallbackTimeout",
                                   "MinimumStatusDuration",
                                   "ConnectorSwitch3to1PhaseSupported"};
  for (const char* key : kKeys) EXPECT_EQ(mInfos.count(key), 1U) << key;
}

TEST_F(PackagedConfig, ManagerReadsEveryDefault)
{
  std::map<std::string, std::shared_ptr<CFakeConfig>> stores;
  for (const auto& [name, document] : mDefaults) {
    stores[name] = std::make_shared<CFakeConfig>();
    for (const std::string& key : document.getMemberNames()) stores[name]->PresetDefault(key, document[key]);
  }
  const auto metadata = std::make_shared<CFakeConfig>();
  for (const std::string& key : mMetadata.getMemberNames()) metadata->PresetDefault(key, mMetadata[key]);
  COcppConfigManager manager(
      metadata,
      {stores["ocpp"], stores["settings"], stores["secrets"], stores["network"], stores["fwinfo"], stores["hwinfo"]},
      std::make_shared<CPhaseConfig>(stores["hwinfo"], stores["ocpp"]),
      std::make_shared<COcppConfigExtension>(stores["ocpp"], stores["hwinfo"]));
  manager.Init();
  for (const auto& [name, store] : stores) manager.AddReadOnlyStore(name, store);
  EXPECT_EQ(manager.GetAllKeys().size(), mInfos.size());
  for (const auto& [key, type] : manager.GetAllKeys()) {
    if (key == kPublicKey) continue;
    const Json::Value expected = GetDefault(mInfos[key]);
    switch (type) {
      case EConfigType::EBoolean:
        EXPECT_EQ(manager.ReadBool(key), expected.asBool()) << key;
        break;
      case EConfigType::EInteger:
        EXPECT_EQ(manager.ReadInt(key), expected.asInt64()) << key;
        break;
      case EConfigType::EString:
      case EConfigType::ECsl:
        EXPECT_EQ(manager.ReadString(key), expected.asString()) << key;
        break;
      case EConfigType::EUnknown:
        ADD_FAILURE() << key;
    }
  }
}

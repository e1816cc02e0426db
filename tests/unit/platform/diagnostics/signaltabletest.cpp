#include "platform/diagnostics/signaltable.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>

#include "platform/diagnostics/signaldefinitions.h"
#include "platform/iipc/texts.h"

namespace {

// Descriptions of the published contract, by identifier, without "no signal".
std::map<int32_t, std::string> ReadPublishedSignals()
{
  std::ifstream file(SECC_SIGNALS_PROTO);
  std::ostringstream content;
  content << file.rdbuf();
  const std::string text = content.str();
  const std::regex entry(R"(// ([^\n]*)\n  ESignal\w+ = (\d+);)");
  std::map<int32_t, std::string> signals;
  for (std::sregex_iterator it(text.begin(), text.end(), entry), last; it != last; ++it) {
    if (const auto identifier = std::stoi((*it)[2].str()); identifier != 0) signals[identifier] = (*it)[1].str();
  }
  return signals;
}

TEST(SignalTable, HasEverySignalOnceInAscendingOrder)
{
  int32_t last = 0;
  size_t count = 0;
  for (const SSignalInfo& info : SSignalTable()) {
    EXPECT_GT(info.identifier, last);
    last = info.identifier;
    ++count;
  }
  EXPECT_EQ(count, 237U);
}

TEST(SignalTable, DescriptionsAreThoseOfThePublishedContract)
{
  std::map<int32_t, std::string> table;
  for (const SSignalInfo& info : SSignalTable()) table[info.identifier] = info.description;
  const auto published = ReadPublishedSignals();
  EXPECT_EQ(published.size(), 237U);
  EXPECT_EQ(table, published);
}

TEST(SignalTable, ErrorsAndWarningsAreBooleansAndEventsAreTexts)
{
  for (const SSignalInfo& info : SSignalTable()) {
    if (info.identifier < 1000) {
      EXPECT_NE(info.signalClass, 1) << info.identifier;
    } else {
      EXPECT_EQ(info.type, info.identifier < 20000 ? ESignalType::EBool : ESignalType::EText) << info.identifier;
      EXPECT_EQ(info.signalClass, 1) << info.identifier;
    }
  }
}

TEST(SignalTable, ClassTwoHoldsTheTwoSignalsOfWhatLimitsTheCurrent)
{
  std::vector<int32_t> identifiers;
  for (const SSignalInfo& info : SSignalTable()) {
    if (info.signalClass == 2) identifiers.push_back(info.identifier);
  }
  EXPECT_EQ(identifiers, (std::vector<int32_t>{142, 148}));
}

TEST(SignalTable, EveryEventButTheLastHasASecurityEventName)
{
  for (const SSignalInfo& info : SSignalTable()) {
    if (info.identifier < 20000) continue;
    const bool isNamed =
        std::string(EventToString(static_cast<ipc::ESignalIdentifier>(info.identifier))) != "UnknownStatus";
    EXPECT_EQ(isNamed, info.identifier != 20504) << info.identifier;
  }
}

TEST(SignalTable, EverySignalIsFoundByItsIdentifier)
{
  for (const SSignalInfo& info : SSignalTable()) EXPECT_EQ(&GetSignalInfo(info.identifier), &info);
}

TEST(SignalTable, IdentifierWithoutASignalIsOutOfRange)
{
  for (const int32_t identifier : {-1, 0, 2, 58, 1101, 20505}) {
    EXPECT_THROW(GetSignalInfo(identifier), std::out_of_range) << identifier;
  }
}

constexpr ESignalType TypeOf(const bool&) { return ESignalType::EBool; }
constexpr ESignalType TypeOf(const int32_t&) { return ESignalType::EInt; }
constexpr ESignalType TypeOf(const uint32_t&) { return ESignalType::EUnsigned; }
constexpr ESignalType TypeOf(const int64_t&) { return ESignalType::ELong; }
constexpr ESignalType TypeOf(const float&) { return ESignalType::EFloat; }
ESignalType TypeOf(const std::string&) { return ESignalType::EText; }
ESignalType TypeOf(const std::vector<float>&) { return ESignalType::EFloatList; }
ESignalType TypeOf(const std::vector<std::string>&) { return ESignalType::ETextList; }

template <typename T>
void ExpectDefinition(const CSignalDefinition<T>& definition, int32_t identifier, const std::string& description)
{
  EXPECT_EQ(definition.GetIdentifier(), identifier);
  EXPECT_EQ(definition.GetDescription(), description);
  const SSignalInfo& info = GetSignalInfo(identifier);
  EXPECT_EQ(info.description, description);
  EXPECT_EQ(TypeOf(definition.GetDefault()), info.type) << identifier;
  EXPECT_EQ(definition.GetDefault(), T()) << identifier;
  EXPECT_STREQ(definition.GetUnit(), info.unit);
  EXPECT_EQ(definition.GetClass(), info.signalClass);
}

TEST(SignalDefinitions, SentSignalsHaveTheirIdentifiersAndTypes)
{
  using namespace SignalDefinitions;
  ExpectDefinition<std::string>(ChargeProfileUpdateTrace, 200, "ChargeProfile update trace");
  ExpectDefinition<int64_t>(ActiveChargeProfile, 201, "Current active ChargeProfile");
  ExpectDefinition<std::string>(InstalledChargeProfiles, 202, "Installed charge profile IDs");
  ExpectDefinition<std::string>(ChargeProfileFailure, 203, "ChargeProfile installation failed reason");
  ExpectDefinition<CTextList>(WebsocketStatus, 204, "Websocket status");
  ExpectDefinition<uint32_t>(TransactionQueueSize, 205, "Ocpp transaction messages queue size");
  ExpectDefinition<CTextList>(AuxiliaryBackofficeOnline, 206, "Auxiliary Backoffice Communication Established");
  ExpectDefinition<bool>(InvalidConfigValueError, 1105, "Invalid Config Value Error");
  ExpectDefinition<bool>(BackofficeCommunicationLost, 10000, "SECC Backoffice Communication Lost");
  ExpectDefinition<bool>(MessageStorageFull, 10001, "SECC message storage full");
  ExpectDefinition<bool>(BackofficeDnsFailed, 10002, "SECC Backoffice DNS query failed");
  ExpectDefinition<std::string>(SecurityParameterReconfigured, 20301,
                                "Webbackend or SECC changed the security parameters.");
  ExpectDefinition<std::string>(InvalidMessage, 20302, "SECC received non valid OCPP messages");
  ExpectDefinition<std::string>(InvalidCentralSystemCertificate, 20303,
                                "SECC detected an invalid central system certificate");
  ExpectDefinition<std::string>(ParameterReconfigured, 20500, "Parameters have been reconfigured");
  ExpectDefinition<std::string>(ConnectivityChanged, 20503, "Connectivity status has changed");
}

TEST(SignalDefinitions, ReadSignalsHaveTheirIdentifiersAndTypes)
{
  using namespace SignalDefinitions;
  ExpectDefinition<std::string>(CpState, 10, "ADAC CP state");
  ExpectDefinition<float>(CurrentSetpoint, 31, "Charge Control current setpoint");
  ExpectDefinition<int64_t>(LifetimeEnergy, 50, "Power usage of the product lifetime.");
  ExpectDefinition<int64_t>(SessionEnergy, 51, "Power usage of the latest/active session.");
  ExpectDefinition<float>(Relay1Temperature, 73, "SafetyMCU relay1 NTC temperature");
  ExpectDefinition<int32_t>(LteSignalStrength, 127, "LTE signal strength (Rssi)");
  ExpectDefinition<int32_t>(WlanSignalStrength, 128, "WLAN signal strength");
  ExpectDefinition<std::string>(LteIccid, 130, "LTE ICCID");
  ExpectDefinition<std::string>(LteImsi, 131, "LTE IMSI");
  ExpectDefinition<CFloatList>(BopCurrent, 140, "Bop current (phase 1, 2, 3)");
  ExpectDefinition<std::string>(LimitingCurrentSource, 142, "CurrentControl limiting current source");
  ExpectDefinition<std::string>(BopConstraint, 149, "Constraint of the Bop component");
  ExpectDefinition<int32_t>(SolarPower, 155, "Active power value measured by the solar measurement source");
}

}  // namespace

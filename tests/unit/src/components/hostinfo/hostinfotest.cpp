#include "src/components/hostinfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "src/components/iwebsocketclient.h"
#include "tests/unit/support/fakewebsocketclient.h"
#include "tests/unit/support/logcapture.h"

namespace {

using testing::ElementsAre;

SHostSettings At(const std::string& uri, const std::string& id = "CP1")
{
  SHostSettings settings;
  settings.chargePointId = id;
  settings.basicAuthPassword = "00ff";
  settings.uri = uri;
  return settings;
}

// The local network: answers with `devices` and keeps what it was asked.
struct SNetwork {
  std::vector<Toolbox::SMdnsDevice> devices;
  std::vector<std::string> services;
  std::vector<std::vector<std::string>> names;
  std::tuple<unsigned, unsigned, unsigned, size_t> arguments;
  std::function<void()> onQuery;
  bool aborted = false;

  CHostInfo::CMdnsQuery Query()
  {
    return [this](const std::string& service, const std::vector<std::string>& queried, unsigned sends,
                  unsigned interfaceIndex, unsigned deadlineSeconds, size_t maxDevices,
                  const Toolbox::SMdnsTransport& transport) {
      services.push_back(service);
      names.push_back(queried);
      arguments = {sends, interfaceIndex, deadlineSeconds, maxDevices};
      if (onQuery) onQuery();
      aborted = transport.isAborted && transport.isAborted();
      return aborted ? std::vector<Toolbox::SMdnsDevice>() : devices;
    };
  }
};

Toolbox::SMdnsDevice Device(const std::string& address) { return {"gateway", "gateway.local", address, 443}; }

TEST(HostInfo, UriWithPortAndPathGivesTheHostAndAUrlThatEndsInPortPathAndId)
{
  const CHostInfo info(At("cs.example.com:8443/ocpp"), {});
  EXPECT_EQ(info.GetHostname(), "cs.example.com");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://cs.example.com:8443/ocpp/CP1");
}

TEST(HostInfo, UriWithoutPortAndPathGivesSchemeHostSlashAndId)
{
  const CHostInfo info(At("cs.example.com"), {});
  EXPECT_EQ(info.GetHostname(), "cs.example.com");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://cs.example.com/CP1");
}

TEST(HostInfo, UriWithAPathAloneEndsTheHostAtTheSlash)
{
  const CHostInfo info(At("cs.example.com/a:b/c"), {});
  EXPECT_EQ(info.GetHostname(), "cs.example.com");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://cs.example.com/a:b/c/CP1");
}

TEST(HostInfo, EmptyUriGivesAnEmptyHost)
{
  const CHostInfo info(At(""), {});
  EXPECT_EQ(info.GetHostname(), "");
  EXPECT_EQ(info.GetConnectionUrl(), "wss:///CP1");
}

TEST(HostInfo, OnlyANameThatEndsInLocalIsLocal)
{
  EXPECT_TRUE(CHostInfo(At("gateway.local:443/ocpp"), {}).IsLocalHostname());
  EXPECT_FALSE(CHostInfo(At("gateway.local.example.com"), {}).IsLocalHostname());
  EXPECT_FALSE(CHostInfo(At("gatewaylocal"), {}).IsLocalHostname());
  EXPECT_FALSE(CHostInfo(At("cs.example.com/path.local"), {}).IsLocalHostname());
}

TEST(HostInfo, LocalHostIsAskedForWithoutItsEnding)
{
  const CLogCapture log;
  SNetwork network;
  network.devices = {Device("192.168.1.7")};
  CHostInfo info(At("gateway.local:8443/ocpp"), network.Query());

  EXPECT_EQ(info.ResolveAddress({}), "192.168.1.7");

  EXPECT_THAT(network.services, ElementsAre("_ocpp._tcp"));
  EXPECT_THAT(network.names, ElementsAre(ElementsAre("gateway")));
  EXPECT_EQ(network.arguments, std::make_tuple(2u, 0u, 5u, size_t(1)));
  EXPECT_EQ(log.Count("Performing mDnsQuery on hostname gateway..."), 1u);
  EXPECT_EQ(log.Count("Local hostname found via mDNS with ip address: 192.168.1.7"), 1u);
}

TEST(HostInfo, OnlyTheFirstEndingIsTakenAway)
{
  SNetwork network;
  CHostInfo info(At("a.local.local"), network.Query());
  info.ResolveAddress({});
  EXPECT_THAT(network.names, ElementsAre(ElementsAre("a.local")));
}

TEST(HostInfo, ResolvedAddressTakesTheHostsPlaceInTheUrlOnly)
{
  SNetwork network;
  network.devices = {Device("192.168.1.7"), Device("192.168.1.8")};
  CHostInfo info(At("gateway.local:8443/ocpp"), network.Query());
  info.ResolveAddress({});
  EXPECT_EQ(info.GetResolvedAddress(), "192.168.1.7") << "the first device counts";
  EXPECT_EQ(info.GetConnectionUrl(), "wss://192.168.1.7:8443/ocpp/CP1");
  EXPECT_EQ(info.GetHostname(), "gateway.local");
  EXPECT_TRUE(info.IsLocalHostname());
}

TEST(HostInfo, NobodyAnswersAndTheAddressStaysEmpty)
{
  const CLogCapture log;
  SNetwork network;
  CHostInfo info(At("gateway.local"), network.Query());
  EXPECT_EQ(info.ResolveAddress({}), "");
  EXPECT_EQ(info.GetResolvedAddress(), "");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://gateway.local/CP1");
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "No local hostname with gateway found via mDNS"), 1u);
}

TEST(HostInfo, AbortReachesTheQuery)
{
  SNetwork network;
  network.devices = {Device("192.168.1.7")};
  CHostInfo info(At("gateway.local"), network.Query());
  EXPECT_EQ(info.ResolveAddress([] { return true; }), "");
  EXPECT_TRUE(network.aborted);
  EXPECT_EQ(info.GetResolvedAddress(), "");
}

TEST(HostInfo, AddressFoundForAHostThatWasReplacedMeanwhileIsNotTaken)
{
  SNetwork network;
  network.devices = {Device("192.168.1.7")};
  CHostInfo info(At("gateway.local"), network.Query());
  network.onQuery = [&] { info.SetHostname("cs.example.com"); };
  EXPECT_EQ(info.ResolveAddress({}), "");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://cs.example.com/CP1");
}

TEST(HostInfo, ClearingTheResolvedAddressLeavesTheUrl)
{
  CHostInfo info(At("gateway.local"), {});
  info.SetResolvedAddress("192.168.1.7");
  info.ClearResolvedAddress();
  EXPECT_EQ(info.GetResolvedAddress(), "");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://192.168.1.7/CP1");
}

TEST(HostInfo, NewIdIsInTheUrlAndTheSettings)
{
  CHostInfo info(At("cs.example.com/ocpp"), {});
  info.SetChargePointId("CP2");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://cs.example.com/ocpp/CP2");
  EXPECT_EQ(info.GetSettings().chargePointId, "CP2");
}

TEST(HostInfo, NewPasswordIsInTheSettings)
{
  CHostInfo info(At("cs.example.com"), {});
  info.SetPassword("abcd");
  EXPECT_EQ(info.GetSettings().basicAuthPassword, "abcd");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://cs.example.com/CP1");
}

TEST(HostInfo, NewLocationReplacesHostPortAndPathAndForgetsTheAddress)
{
  CHostInfo info(At("gateway.local:8443/ocpp"), {});
  info.SetResolvedAddress("192.168.1.7");
  info.SetHostname("cs.example.com/other");
  EXPECT_EQ(info.GetHostname(), "cs.example.com");
  EXPECT_EQ(info.GetResolvedAddress(), "");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://cs.example.com/other/CP1");
  EXPECT_EQ(info.GetSettings().uri, "cs.example.com/other");
}

TEST(HostInfo, NewPathOnTheSameHostKeepsTheAddress)
{
  CHostInfo info(At("gateway.local:8443/ocpp"), {});
  info.SetResolvedAddress("192.168.1.7");
  info.SetHostname("gateway.local:9000");
  EXPECT_EQ(info.GetConnectionUrl(), "wss://192.168.1.7:9000/CP1");
}

TEST(FakeWebsocketClient, OpensDeliversAndCloses)
{
  CFakeWebsocketClient client;
  std::vector<std::string> seen;
  client.SetOnOpenCallback([&](const IWebsocketClient::CConnectionHandle&) { client.Send("hello"); });
  client.SetOnMessageCallback([&](std::string_view text) { seen.emplace_back(text); });
  client.SetOnCloseCallback([&](const IWebsocketClient::CConnectionHandle&, bool) { seen.emplace_back("closed"); });
  EXPECT_FALSE(client.Send("too early"));
  EXPECT_TRUE(client.Connect());
  client.PlayOpen();
  client.PlayMessage("welcome");
  client.Close(1000, "bye");
  EXPECT_THAT(client.TakeSent(), ElementsAre("hello"));
  EXPECT_THAT(seen, ElementsAre("welcome", "closed"));
  EXPECT_EQ(client.GetStatus(), EWebsocketStatus::EClosed);
}

}  // namespace

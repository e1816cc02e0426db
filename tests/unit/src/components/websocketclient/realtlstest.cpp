// The client and the real library against a real TLS server: who is accepted, and that nothing is said to who is not.

#include <filesystem>

#include "tests/unit/src/components/websocketclient/reallinkfixture.h"

namespace {

using testing::Contains;
using testing::HasSubstr;

struct SAccepted {
  const char* title;
  const char* certificate;
  const char* host;
  const char* members;
  const char* secure;  // what the server saw
};

class RealTlsAccepts : public CRealLinkTest, public testing::WithParamInterface<SAccepted> {};

TEST_P(RealTlsAccepts, AndSpeaksHttpWithCredentials)
{
  const SAccepted& example = GetParam();
  CRealLink::SHost host;
  host.name = example.host;
  Listen(example.certificate, example.members, host);
  mLink->client->Connect();
  ASSERT_TRUE(mLink->Await("open"));
  EXPECT_THAT(Server().Await(mId, "secure "), HasSubstr(example.secure));
  const std::string request = Server().Await(mId, "request ");
  EXPECT_THAT(request, HasSubstr("GET /ocpp/CP1 HTTP/1.1|"));
  EXPECT_THAT(request, HasSubstr("|Authorization: Basic Q1AxOgD/"));
  EXPECT_THAT(request, HasSubstr("|Sec-WebSocket-Protocol: ocpp1.6"));
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] TLS certificate and hostname(CN) verification passed."), 1u);
  EXPECT_TRUE(mLink->diagnostics->GetReports("security").empty());
  EXPECT_EQ(mLink->client->GetStatus(), EWebsocketStatus::EOpen);
  EXPECT_FALSE(mLog.ContainsPart("Q1AxOgD/")) << "the credentials";
}

INSTANTIATE_TEST_SUITE_P(
    Link, RealTlsAccepts,
    testing::Values(SAccepted{"RightHost", "good", "cs.example.com", "", "TLSv1.3"},
                    SAccepted{"RightHostInOtherCase", "good", "CS.Example.COM", "", "TLSv1.3"},
                    SAccepted{"HostThatIsAnAddress", "good", "127.0.0.1", "", "TLSv1.3"},
                    SAccepted{"Wildcard", "wildcard", "cs.example.com", "", "TLSv1.3"},
                    SAccepted{"CommonNameWithoutAlternatives", "commonname", "cs.example.com", "", "TLSv1.3"},
                    SAccepted{"ChainWithItsIntermediate", "chain", "cs.example.com", "", "TLSv1.3"},
                    SAccepted{"EcdsaOverTls12", "good", "cs.example.com", ",\"max\":\"TLSv1.2\"",
                              "TLSv1.2 ECDHE-ECDSA-"},
                    SAccepted{"RsaOverTls12", "rsa", "cs.example.com", ",\"max\":\"TLSv1.2\"", "TLSv1.2 ECDHE-RSA-"},
                    SAccepted{"RsaOverTls13", "rsa", "cs.example.com", ",\"min\":\"TLSv1.3\"", "TLSv1.3 TLS_"},
                    SAccepted{"EcdsaOverTls13", "good", "cs.example.com", ",\"min\":\"TLSv1.3\"", "TLSv1.3 TLS_"}),
    [](const auto& example) { return example.param.title; });

struct SRefused {
  const char* title;
  const char* certificate;
  const char* host;
  const char* members;
  const char* status;  // what is reported; empty when the handshake fails before there is a certificate
};

constexpr const char* kWrongHost = "TLS verification failed for hostname";

class RealTlsRefuses : public CRealLinkTest, public testing::WithParamInterface<SRefused> {};

TEST_P(RealTlsRefuses, WithoutAByteOfHttp)
{
  const SRefused& example = GetParam();
  CRealLink::SHost host;
  host.name = example.host;
  Listen(example.certificate, example.members, host);
  mLink->client->Connect();
  // The second failure comes after the first connection has ended for good.
  ASSERT_TRUE(mLink->Await("fail"));
  ASSERT_TRUE(mLink->Await("fail"));
  EXPECT_EQ(Server().GetBytes(mId), 0);
  EXPECT_NE(mLink->client->GetStatus(), EWebsocketStatus::EOpen);
  EXPECT_TRUE(mLog.ContainsPart("; Error code: "));
  EXPECT_TRUE(mLog.ContainsPart("TLS handshake failed: "));

  const auto security = mLink->diagnostics->GetReports("security");
  const auto status = mLink->diagnostics->GetReports("status");
  if (std::string(example.status).empty()) {
    EXPECT_TRUE(security.empty());
    return;
  }
  EXPECT_THAT(status, Contains(example.status));
  if (std::string(example.status) == kWrongHost) {
    EXPECT_THAT(security, Contains("[Cpo Backoffice] Failed to verify hostname from TLS certificate"));
  } else {
    EXPECT_THAT(security, Contains("[Cpo Backoffice] TLS certificate verification failed"));
    EXPECT_TRUE(mLog.ContainsPart("[Cpo Backoffice] TLS certificate verification failed. Depth: 0, error message: "));
  }
}

constexpr const char* kNoIssuer = "TLS verification failed: unable to get local issuer certificate (20)";

INSTANTIATE_TEST_SUITE_P(
    Link, RealTlsRefuses,
    testing::Values(SRefused{"WrongHost", "otherhost", "cs.example.com", "", kWrongHost},
                    SRefused{"WrongHostOverTls12", "otherhost", "cs.example.com", ",\"max\":\"TLSv1.2\"", kWrongHost},
                    SRefused{"WrongAddress", "otherhost", "127.0.0.1", "", kWrongHost},
                    SRefused{"WildcardTwoLabelsUp", "wildcard", "a.cs.example.com", "", kWrongHost},
                    SRefused{"WildcardForTheDomainItself", "wildcard", "example.com", "", kWrongHost},
                    SRefused{"Expired", "expired", "cs.example.com", "",
                             "TLS verification failed: certificate has expired (14)"},
                    SRefused{"ExpiredOverTls12", "expired", "cs.example.com", ",\"max\":\"TLSv1.2\"",
                             "TLS verification failed: certificate has expired (14)"},
                    SRefused{"NotYetValid", "notyet", "cs.example.com", "",
                             "TLS verification failed: certificate is not yet valid (13)"},
                    SRefused{"SelfSigned", "selfsigned", "cs.example.com", "",
                             "TLS verification failed: self-signed certificate (18)"},
                    SRefused{"UnknownIssuer", "unknown", "cs.example.com", "", kNoIssuer},
                    SRefused{"UnknownIssuerOverTls12", "unknown", "cs.example.com", ",\"max\":\"TLSv1.2\"", kNoIssuer},
                    SRefused{"MissingIntermediate", "missing", "cs.example.com", "", kNoIssuer},
                    SRefused{"Tls11Only", "good", "cs.example.com", ",\"min\":\"TLSv1\",\"max\":\"TLSv1.1\"", ""}),
    [](const auto& example) { return example.param.title; });

class RealTls : public CRealLinkTest {};

TEST_F(RealTls, EmptyTrustStoresTrustNobody)
{
  Listen("good");
  std::filesystem::create_directories(Server().GetFolder() + "/nothing");
  SWebsocketOptions options;
  options.trustStores = {Server().GetFolder() + "/nothing", Server().GetFolder() + "/missing"};
  CWebsocketClient client(mLink->hostInfo, std::make_shared<websocketppwrapper::CWebsocketPPWrapper>(),
                          std::make_shared<CWorker>(mLink->clock, "websocket"), mLink->diagnostics, options);
  client.SetOnFailCallback([this](const IWebsocketClient::CConnectionHandle&, bool) { mLink->Record("fail"); });
  client.SetOnOpenCallback([this](const IWebsocketClient::CConnectionHandle&) { mLink->Record("open"); });
  client.Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_EQ(Server().GetBytes(mId), 0);
}

TEST_F(RealTls, RootsOfTheVolatileStoreAreTrustedToo)
{
  Listen("good");
  SWebsocketOptions options;
  options.trustStores = {Server().GetFolder() + "/missing", Server().GetFolder() + "/trust"};
  CWebsocketClient client(mLink->hostInfo, std::make_shared<websocketppwrapper::CWebsocketPPWrapper>(),
                          std::make_shared<CWorker>(mLink->clock, "websocket"), mLink->diagnostics, options);
  client.SetOnOpenCallback([this](const IWebsocketClient::CConnectionHandle&) { mLink->Record("open"); });
  client.Connect();
  EXPECT_TRUE(mLink->Await("open"));
}

TEST_F(RealTls, SystemsTrustStoreLoadsBesideTheOwn)
{
  Listen("good");
  SWebsocketOptions options;
  options.trustStores = {Server().GetFolder() + "/trust", "/etc/ssl/certs/"};
  CWebsocketClient client(mLink->hostInfo, std::make_shared<websocketppwrapper::CWebsocketPPWrapper>(),
                          std::make_shared<CWorker>(mLink->clock, "websocket"), mLink->diagnostics, options);
  client.SetOnOpenCallback([this](const IWebsocketClient::CConnectionHandle&) { mLink->Record("open"); });
  client.Connect();
  EXPECT_TRUE(mLink->Await("open"));
}

}  // namespace

// What TLS is made with, and the verdict on certificates.

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/unit/src/components/websocketclient/linkfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using websocketppwrapper::ETlsOption;

class CFakeTlsContext : public websocketppwrapper::ITlsContext {
 public:
  void SetOptions(const std::vector<ETlsOption>& given, std::error_code& error) override
  {
    calls.emplace_back("options");
    options = given;
    error = optionsError;
  }
  void SetVerifyPeer(CVerifyCallback callback, std::error_code& error) override
  {
    calls.emplace_back("verify");
    verify = std::move(callback);
    error = verifyError;
  }
  void SetCipherList(const std::string& list, std::error_code& error) override
  {
    ciphers = list;
    error = cipherError;
  }
  void SetCurves(const std::string& list, std::error_code&) override { curves = list; }
  void LoadVerifyFile(const std::string& path, std::error_code& error) override
  {
    const std::string name = std::filesystem::path(path).filename();
    files.push_back(name);
    error = name.find("bad") == 0 ? std::make_error_code(std::errc::bad_message) : std::error_code();
  }

  std::vector<std::string> calls;
  std::vector<ETlsOption> options;
  CVerifyCallback verify;
  std::string ciphers;
  std::string curves;
  std::vector<std::string> files;
  std::error_code optionsError;
  std::error_code verifyError;
  std::error_code cipherError;
};

struct SFakeVerification : websocketppwrapper::ITlsVerification {
  int depth = 0;
  int error = 0;
  std::string text = "ok";
  bool matches = true;
  mutable std::vector<std::string> askedHosts;

  int GetDepth() const override { return depth; }
  int GetError() const override { return error; }
  std::string GetErrorText() const override { return text; }
  bool MatchesHost(const std::string& hostname) const override
  {
    askedHosts.push_back(hostname);
    return matches;
  }
};

class WebsocketTls : public testing::Test {
 public:
  ~WebsocketTls() override { std::filesystem::remove_all(mFolder); }

 protected:
  WebsocketTls()
  {
    std::string pattern = (std::filesystem::temp_directory_path() / "trustXXXXXX").string();
    mFolder = ::mkdtemp(pattern.data());
    std::filesystem::create_directories(mFolder / "persistent");
    std::filesystem::create_directories(mFolder / "volatile");
    SHostSettings settings;
    settings.uri = "gateway.local:8443";
    mHostInfo = std::make_shared<CHostInfo>(settings, CHostInfo::CMdnsQuery());
    mDiagnostics = std::make_shared<CRecordingDiagnostics>();
  }

  CWebsocketTls Make() const
  {
    return CWebsocketTls(mHostInfo, mDiagnostics, {mFolder / "persistent/", mFolder / "volatile/"});
  }
  void Write(const std::string& path) const { std::ofstream(mFolder / path) << "x"; }

  CLogCapture mLog;
  std::filesystem::path mFolder;
  std::shared_ptr<CHostInfo> mHostInfo;
  std::shared_ptr<CRecordingDiagnostics> mDiagnostics;
};

TEST_F(WebsocketTls, ContextVerifiesThePeerAndExcludesOldProtocols)
{
  CWebsocketTls tls = Make();
  CFakeTlsContext context;
  EXPECT_TRUE(tls.OnTlsInit(EBackofficeId::EPrimary, context));
  EXPECT_THAT(context.calls, ElementsAre("verify", "options"));
  EXPECT_THAT(context.options,
              UnorderedElementsAre(ETlsOption::EDefaultWorkarounds, ETlsOption::ESingleDhUse, ETlsOption::ENoSslV2,
                                   ETlsOption::ENoSslV3, ETlsOption::ENoTlsV1, ETlsOption::ENoTlsV1_1));
  EXPECT_EQ(context.curves, "X25519:P-256");
  EXPECT_EQ(context.ciphers,
            "TLS_AES_256_GCM_SHA384:TLS_AES_128_GCM_SHA256:TLS_CHACHA20_POLY1305_SHA256:ECDHE-ECDSA-AES256-GCM-SHA384:"
            "ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-ECDSA-CHACHA20-POLY1305:ECDHE-RSA-AES256-GCM-SHA384:ECDHE-RSA-AES128-"
            "GCM-SHA256:ECDHE-RSA-CHACHA20-POLY1305:ECDHE-ECDSA-AES256-SHA384:ECDHE-ECDSA-AES128-SHA256:ECDHE-RSA-"
            "AES256-SHA384:ECDHE-RSA-AES128-SHA256:ECDHE-ECDSA-AES128-SHA:ECDHE-RSA-AES256-SHA:ECDHE-RSA-AES128-SHA:"
            "ECDHE-ECDSA-AES256-SHA:DHE-RSA-CHACHA20-POLY1305:ECDHE-ECDSA-DES-CBC3-SHA:ECDHE-RSA-DES-CBC3-SHA:ECDHE-"
            "ECDSA-CHACHA20-POLY1305-OLD:ECDHE-RSA-CHACHA20-POLY1305-OLD:DHE-RSA-CHACHA20-POLY1305-OLD:!ECDHE-ECDSA-"
            "RC4-SHA:!ECDHE-RSA-RC4-SHA");
}

TEST_F(WebsocketTls, UnusableCipherListIsLoggedAndDoesNotStopTheConnection)
{
  CWebsocketTls tls = Make();
  CFakeTlsContext context;
  context.cipherError = std::make_error_code(std::errc::invalid_argument);
  EXPECT_TRUE(tls.OnTlsInit(EBackofficeId::EPrimary, context));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[Cpo Backoffice] Error setting supported cipher list"), 1u);
}

TEST_F(WebsocketTls, ThereIsNoConnectionWithoutVerificationOrWithOldProtocols)
{
  const auto error = std::make_error_code(std::errc::not_enough_memory);
  CWebsocketTls tls = Make();
  CFakeTlsContext unverified;
  unverified.verifyError = error;
  EXPECT_FALSE(tls.OnTlsInit(EBackofficeId::EPrimary, unverified));
  CFakeTlsContext old;
  old.optionsError = error;
  EXPECT_FALSE(tls.OnTlsInit(EBackofficeId::EPrimary, old));
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Error in TLS context setup: " + error.message()), 2u);
}

TEST_F(WebsocketTls, EveryRegularFileOfBothStoresIsLoadedOnce)
{
  Write("persistent/own.pem");
  Write("volatile/b.crt");
  std::filesystem::create_symlink("b.crt", mFolder / "volatile/12345678.0");
  std::filesystem::create_symlink("missing.crt", mFolder / "volatile/dangling.0");
  std::filesystem::create_directory(mFolder / "volatile/folder");
  CWebsocketTls tls = Make();
  CFakeTlsContext context;
  EXPECT_TRUE(tls.OnTlsInit(EBackofficeId::EPrimary, context));
  EXPECT_THAT(context.files, ElementsAre("own.pem", "b.crt"));
}

TEST_F(WebsocketTls, BadFileIsLoggedAndTheOthersAreLoaded)
{
  Write("persistent/bad.pem");
  Write("persistent/good.pem");
  Write("volatile/bad2.pem");
  CWebsocketTls tls = Make();
  CFakeTlsContext context;
  EXPECT_TRUE(tls.OnTlsInit(EBackofficeId::EPrimary, context));
  EXPECT_THAT(context.files, ElementsAre("bad.pem", "good.pem", "bad2.pem"));
  const std::string message = std::make_error_code(std::errc::bad_message).message();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "[Cpo Backoffice] One or more certificate(s) in the persistent path have the following error: " +
                           (mFolder / "persistent/bad.pem: ").string() + message),
            1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "[Cpo Backoffice] One or more certificate(s) in the volatile path have the following error: " +
                           (mFolder / "volatile/bad2.pem: ").string() + message),
            1u);
}

TEST_F(WebsocketTls, MissingStoreIsLoggedAndTheOtherOneIsUsed)
{
  std::filesystem::remove(mFolder / "persistent");
  Write("volatile/good.pem");
  CWebsocketTls tls = Make();
  CFakeTlsContext context;
  EXPECT_TRUE(tls.OnTlsInit(EBackofficeId::EPrimary, context));
  EXPECT_THAT(context.files, ElementsAre("good.pem"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "[Cpo Backoffice] One or more certificate(s) in the persistent path have the following error: " +
                           (mFolder / "persistent/").string() + ": No such file or directory"),
            1u);
}

TEST_F(WebsocketTls, FailedChainCheckIsReportedAndRefused)
{
  CWebsocketTls tls = Make();
  SFakeVerification verification;
  verification.depth = 1;
  verification.error = 20;
  verification.text = "unable to get local issuer certificate";
  EXPECT_FALSE(tls.VerifyAdditionalCertificate(EBackofficeId::EPrimary, false, verification));
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] TLS certificate verification failed. Depth: 1, error message: unable to get "
                       "local issuer certificate (20)"),
            1u);
  EXPECT_THAT(mDiagnostics->GetReports(),
              ElementsAre("status: TLS verification failed: unable to get local issuer certificate (20)",
                          "security: [Cpo Backoffice] TLS certificate verification failed"));
}

TEST_F(WebsocketTls, IssuersPassWithoutALookAtTheirNames)
{
  CWebsocketTls tls = Make();
  SFakeVerification verification;
  verification.depth = 1;
  verification.matches = false;
  EXPECT_TRUE(tls.VerifyAdditionalCertificate(EBackofficeId::EPrimary, true, verification));
  EXPECT_THAT(verification.askedHosts, IsEmpty());
}

TEST_F(WebsocketTls, ServersCertificateMustBeForTheConfiguredNameNotTheResolvedAddress)
{
  mHostInfo->SetResolvedAddress("192.168.1.7");
  CWebsocketTls tls = Make();
  SFakeVerification verification;
  EXPECT_TRUE(tls.VerifyAdditionalCertificate(EBackofficeId::EAuxiliary, true, verification));
  EXPECT_THAT(verification.askedHosts, ElementsAre("gateway.local"));
  EXPECT_EQ(mLog.Count("[Tovira Hub] TLS certificate and hostname(CN) verification passed."), 1u);
}

TEST_F(WebsocketTls, CertificateForAnotherHostIsReportedAndRefused)
{
  CWebsocketTls tls = Make();
  SFakeVerification verification;
  verification.matches = false;
  EXPECT_FALSE(tls.VerifyAdditionalCertificate(EBackofficeId::EPrimary, true, verification));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[Cpo Backoffice] Failed to verify hostname from TLS certificate."), 1u);
  EXPECT_THAT(mDiagnostics->GetReports(),
              ElementsAre("security: [Cpo Backoffice] Failed to verify hostname from TLS certificate",
                          "status: TLS verification failed for hostname"));
}

}  // namespace

#include "src/components/ocppcomponent.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

#include "platform/clock/simulatedclock.h"
#include "platform/diagnostics/diagnosticscommclient.h"
#include "src/components/auxiliarykey.h"
#include "src/components/hostinfo.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/ipccallbacklayer.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/fakewebsocketclient.h"
#include "tests/unit/support/logcapture.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kDefaults = "data/config/";

// The whole component with stores in memory, siblings and links of the test's own, on simulated time.
class COcppComponentTest : public testing::Test {
 protected:
  COcppComponentTest()
      : mFolder(std::filesystem::temp_directory_path() /
                ("secc-component-" + std::to_string(::getpid()) + "-" +
                 testing::UnitTest::GetInstance()->current_test_info()->name()))
  {
    std::filesystem::create_directories(mFolder);
    Config("settings")->Preset("SeccOcppUri", "cpo.example/ocpp");
    Config("hwinfo")->Preset("CustomerId", "STATION");
    CDiagnosticsCommClient::Initialize(mDiagnostics, mClock);
  }
  ~COcppComponentTest() override
  {
    mComponent.reset();
    CDiagnosticsCommClient::Terminate();
    std::filesystem::remove_all(mFolder);
  }

  // A domain over its packaged defaults.
  std::shared_ptr<CFakeConfig> Config(const std::string& domain)
  {
    auto& config = mConfigs[domain];
    if (config) return config;
    CFakeConfig::SOptions options;
    std::ifstream file(std::string(SECC_SOURCE_ROOT "/") + kDefaults + (domain == "ocppmeta" ? "ocpp_meta" : domain) +
                       ".json");
    Json::Value root;
    if (file) file >> root;
    for (const auto& key : root.getMemberNames()) options.defaults[key] = root[key];
    config = std::make_shared<CFakeConfig>(options);
    return config;
  }

  void Create()
  {
    SIpcClients clients;
    clients.basicCharge = std::make_shared<CFakeBasicCharge2>();
    clients.boardControl = mBoardControl;
    clients.currentControl = std::make_shared<CFakeCurrentControl>();
    clients.diagnostics = mDiagnostics;
    clients.feedback = std::make_shared<CFakeFeedback>();
    clients.meter = std::make_shared<CFakeMeter>();
    clients.safetyMcuComm = std::make_shared<CFakeSafetyMcuComm>();
    clients.sessionManagerAuth = std::make_shared<CFakeSessionManagerAuth>();
    clients.sessionManager = mSessionManager;

    SOcppEnvironment environment;
    environment.openConfig = [this](const std::string& domain, const IcConfig::CErrorCallback&,
                                    const IcConfig::CChangeCallback&) { return Config(domain); };
    environment.openReadOnlyConfig = [this](const std::string& domain, const IcConfig::CErrorCallback&) {
      return Config(domain);
    };
    environment.createLink = [this](const SHostSettings& settings, const std::shared_ptr<IDiagnosticsClientHandler>&) {
      auto link =
          std::make_shared<CFakeWebsocketClient>(std::make_shared<CHostInfo>(settings, CHostInfo::CMdnsQuery()));
      mLinks.push_back(link);
      return link;
    };
    environment.resolveHost = [](const std::string&, bool) { return true; };
    environment.ntpStatusPath = mFolder / "ntp_status";

    COcppComponent::SArguments arguments;
    arguments.ipcCallbackLayer = std::make_shared<CIpcCallbackLayer>(clients);
    arguments.systemAccess = mAccess;
    mComponent = std::make_unique<COcppComponent>(mClock, arguments, environment);
  }

  void SetNtpStatus(const std::string& content) { std::ofstream(mFolder / "ntp_status") << content; }
  void ActivatePrimary() { Config("settings")->SetBool("SeccOcppActive", true); }
  void ActivateAuxiliary() { Config("settings")->SetString("SboEnabled", "Enabled"); }
  std::shared_ptr<CFakeWebsocketClient> LinkOf(EBackofficeId id)
  {
    const auto backoffice = mAccess->GetOcpp()->GetBackoffice(id);
    return backoffice ? std::dynamic_pointer_cast<CFakeWebsocketClient>(backoffice->GetWebsocketClient()) : nullptr;
  }
  int ConnectsOf(EBackofficeId id)
  {
    const auto link = LinkOf(id);
    return link ? link->GetConnectCount() : -1;
  }

  static constexpr auto kPrimary = EBackofficeId::EPrimary;
  static constexpr auto kAuxiliary = EBackofficeId::EAuxiliary;

  const std::filesystem::path mFolder;
  CLogCapture mLog;
  CSimulatedClock mClock;
  std::map<std::string, std::shared_ptr<CFakeConfig>> mConfigs;
  std::vector<std::shared_ptr<CFakeWebsocketClient>> mLinks;
  std::shared_ptr<CFakeBoardControl> mBoardControl = std::make_shared<CFakeBoardControl>();
  std::shared_ptr<CFakeDiagnostics> mDiagnostics = std::make_shared<CFakeDiagnostics>();
  std::shared_ptr<CFakeSessionManager> mSessionManager = std::make_shared<CFakeSessionManager>();
  std::shared_ptr<CSystemAccessInterface> mAccess = std::make_shared<CSystemAccessInterface>();
  std::unique_ptr<COcppComponent> mComponent;
};

TEST_F(COcppComponentTest, NothingConnectsBeforeTheClockIsSynced)
{
  ActivatePrimary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(10s);
  EXPECT_EQ(ConnectsOf(kPrimary), 0);
  for (const char* content : {"syncing\n", "", "synced later\n", "\nsynced\n"}) {
    SetNtpStatus(content);
    mClock.AdvanceBy(4s);
    EXPECT_EQ(ConnectsOf(kPrimary), 0) << content;
  }
  SetNtpStatus("synced\n");
  mClock.AdvanceBy(2s);
  EXPECT_EQ(ConnectsOf(kPrimary), 1);
  EXPECT_EQ(mLog.Count("System time is now synced, starting Backoffice connections."), 1U);
  mClock.AdvanceBy(1min);
  EXPECT_EQ(mLog.Count("System time is now synced, starting Backoffice connections."), 1U);
}

TEST_F(COcppComponentTest, TheGateCanBeBypassed)
{
  ActivatePrimary();
  Config("settings")->SetBool("AllowChargeWithoutValidTime", true);
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  EXPECT_EQ(ConnectsOf(kPrimary), 1);
  EXPECT_TRUE(mLog.Contains("AllowChargeWithoutValidTime is enabled, bypassing NTP sync gate for backoffice startup."));
}

TEST_F(COcppComponentTest, WithThePrimaryInactiveOnlyTheAuxiliaryIsCreatedAndStarted)
{
  SetNtpStatus("synced");
  ActivateAuxiliary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  EXPECT_EQ(mAccess->GetOcpp()->GetBackoffice(kPrimary), nullptr);
  EXPECT_EQ(ConnectsOf(kAuxiliary), 1);
  EXPECT_TRUE(mLog.Contains("Creating Auxiliary backoffice resources ..."));
  EXPECT_FALSE(mLog.Contains("Creating Primary backoffice resources ..."));
}

TEST_F(COcppComponentTest, WithBothOffTheAuxiliaryCanBeTurnedOnLater)
{
  SetNtpStatus("synced");
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  EXPECT_TRUE(mLog.Contains("System time is now synced, starting Backoffice connections."));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Registering SBO enabled callback"), 1U);
  ActivateAuxiliary();
  mClock.WaitIdle();
  EXPECT_EQ(ConnectsOf(kAuxiliary), 1);
}

TEST_F(COcppComponentTest, TurningTheAuxiliaryOffAndOnCreatesANewOne)
{
  SetNtpStatus("synced");
  ActivateAuxiliary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  const auto first = LinkOf(kAuxiliary);
  Config("settings")->SetString("SboEnabled", "Disabled");
  mClock.WaitIdle();
  EXPECT_EQ(mAccess->GetOcpp()->GetBackoffice(kAuxiliary), nullptr);
  ASSERT_FALSE(first->GetCloses().empty());
  EXPECT_EQ(first->GetCloses().front().reason, "Client is Disabling");
  ActivateAuxiliary();
  mClock.WaitIdle();
  EXPECT_NE(LinkOf(kAuxiliary), first);
  EXPECT_EQ(ConnectsOf(kAuxiliary), 1);
}

TEST_F(COcppComponentTest, AuxiliaryTurnedOnWhileDisabledWaitsForTheNextEnable)
{
  SetNtpStatus("synced");
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  mComponent->Disable();
  ActivateAuxiliary();
  mClock.AdvanceBy(1min);
  EXPECT_EQ(ConnectsOf(kAuxiliary), 0);
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  EXPECT_EQ(ConnectsOf(kAuxiliary), 1);
}

TEST_F(COcppComponentTest, AuxiliaryTurnedOnBeforeTheFirstTimeCheckIsCreatedAndStartedByIt)
{
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(4s);
  ActivateAuxiliary();
  EXPECT_EQ(LinkOf(kAuxiliary), nullptr);
  SetNtpStatus("synced");
  mClock.AdvanceBy(2s);
  EXPECT_EQ(ConnectsOf(kAuxiliary), 1);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Could not enable backoffice Tovira Hub: not registered"), 0U);
}

TEST_F(COcppComponentTest, AuxiliaryTurnedOffBeforeTheFirstTimeCheckIsRemovedByIt)
{
  ActivateAuxiliary();
  Create();
  mComponent->Enable();
  Config("settings")->SetString("SboEnabled", "Disabled");
  SetNtpStatus("synced");
  mClock.AdvanceBy(2s);
  ASSERT_EQ(mLinks.size(), 1U);
  EXPECT_EQ(mLinks[0]->GetConnectCount(), 0);
  EXPECT_EQ(LinkOf(kAuxiliary), nullptr);
}

TEST_F(COcppComponentTest, AuxiliaryTurnedOnBetweenALaterEnableAndItsTimeCheckWaitsForTheCheck)
{
  SetNtpStatus("synced");
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  mComponent->Disable();
  SetNtpStatus("syncing");
  mComponent->Enable();
  ActivateAuxiliary();
  mClock.AdvanceBy(4s);
  EXPECT_EQ(ConnectsOf(kAuxiliary), 0);
  SetNtpStatus("synced");
  mClock.AdvanceBy(2s);
  EXPECT_EQ(ConnectsOf(kAuxiliary), 1);
}

TEST_F(COcppComponentTest, DestroyedWhileOnlineClosesItsLinksAndLetsGoOfThem)
{
  SetNtpStatus("synced");
  ActivatePrimary();
  ActivateAuxiliary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  for (const auto& link : mLinks) link->PlayOpen();
  mComponent.reset();
  ASSERT_EQ(mLinks.size(), 2U);
  for (const auto& link : mLinks) {
    EXPECT_EQ(link->GetStatus(), EWebsocketStatus::EClosed);
    EXPECT_EQ(link.use_count(), 1);
  }
  EXPECT_EQ(mAccess->GetOcpp(), nullptr);
}

TEST_F(COcppComponentTest, DisableBeforeTheFirstCheckConnectsNothing)
{
  SetNtpStatus("synced");
  ActivatePrimary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(1s);
  mComponent->Disable();
  mClock.AdvanceBy(1min);
  EXPECT_EQ(ConnectsOf(kPrimary), 0);
}

TEST_F(COcppComponentTest, SecondDisableLogsNothing)
{
  Create();
  mComponent->Disable();
  EXPECT_EQ(mLog.Count("Disabling OCPP"), 0U);
  mComponent->Enable();
  mComponent->Disable();
  mComponent->Disable();
  EXPECT_EQ(mLog.Count("Disabling OCPP"), 1U);
}

TEST_F(COcppComponentTest, EnableAgainConnectsAgainThroughTheTimeCheck)
{
  SetNtpStatus("synced");
  ActivatePrimary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  mComponent->Disable();
  EXPECT_EQ(LinkOf(kPrimary)->GetCloses().back().reason, "Client is Disabling");
  mComponent->Enable();
  EXPECT_EQ(ConnectsOf(kPrimary), 1);
  mClock.AdvanceBy(2s);
  EXPECT_EQ(ConnectsOf(kPrimary), 2);
}

TEST_F(COcppComponentTest, LostMainsClosesBothLinksAtOnce)
{
  SetNtpStatus("synced");
  ActivatePrimary();
  ActivateAuxiliary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  mBoardControl->EmitMainsLost();
  EXPECT_EQ(LinkOf(kPrimary)->GetCloses().size(), 1U);
  EXPECT_EQ(LinkOf(kAuxiliary)->GetCloses().size(), 1U);
  EXPECT_FALSE(mAccess->GetOcpp()->GetBackoffice(kPrimary)->IsEnabled());
  EXPECT_FALSE(mAccess->GetOcpp()->GetBackoffice(kAuxiliary)->IsEnabled());
}

TEST_F(COcppComponentTest, PrimaryUsesTheCustomIdentityAndTheAuxiliaryThePlainOne)
{
  ActivatePrimary();
  ActivateAuxiliary();
  Config("settings")->Preset("SboSeccOcppUri", "");
  Config("ocpp")->Preset("CustomCustomerId", "CUSTOM");
  Config("settings")->Preset("CustomCustomerId", "CUSTOM");
  Create();
  EXPECT_EQ(LinkOf(kPrimary)->GetHostInfo()->GetSettings().chargePointId, "CUSTOM");
  EXPECT_EQ(LinkOf(kAuxiliary)->GetHostInfo()->GetSettings().chargePointId, "STATION");
  EXPECT_EQ(LinkOf(kPrimary)->GetHostInfo()->GetSettings().uri, "cpo.example/ocpp");
}

TEST_F(COcppComponentTest, AuxiliaryWithoutAKeyOfItsOwnGetsTheDefaultOneAndKeepsIt)
{
  ActivateAuxiliary();
  Create();
  const auto key = LinkOf(kAuxiliary)->GetHostInfo()->GetSettings().basicAuthPassword;
  EXPECT_EQ(key, BuildDefaultAuxiliaryKey());
  EXPECT_EQ(key.size(), 40U);
  EXPECT_EQ(key.find_first_not_of("0123456789abcdefABCDEF"), std::string::npos);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "SboAuthenticationKey not found! Adding the default one"), 1U);
  EXPECT_EQ(Config("secrets")->GetString("SboOcppBasicAuthPassword", ""), key);
  EXPECT_FALSE(mLog.ContainsPart(key));
}

TEST_F(COcppComponentTest, FirstConnectionRegistersTheStation)
{
  SetNtpStatus("synced");
  ActivatePrimary();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  LinkOf(kPrimary)->PlayOpen();
  mClock.WaitIdle();
  const auto sent = LinkOf(kPrimary)->TakeSent();
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_NE(sent[0].find(R"(,"BootNotification",)"), std::string::npos) << sent[0];
}

TEST_F(COcppComponentTest, ComponentCanBeDestroyedInEveryState)
{
  SetNtpStatus("synced");
  ActivatePrimary();
  ActivateAuxiliary();
  Create();
  mComponent.reset();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(1s);
  mComponent.reset();
  Create();
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  LinkOf(kPrimary)->PlayOpen();
  LinkOf(kAuxiliary)->PlayOpen();
  mClock.WaitIdle();
  mComponent.reset();
  EXPECT_EQ(mLog.Count("Disabling OCPP"), 2U);
}

}  // namespace

#pragma once

#include <gtest/gtest.h>
#include <json/reader.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/diagnostics/diagnosticscommclient.h"
#include "src/components/hostinfo.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/ipccallbacklayer.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/ocppcomponent.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/fakewebsocketclient.h"
#include "tests/unit/support/logcapture.h"

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
    std::ifstream file(std::string(SECC_SOURCE_ROOT "/data/config/") + (domain == "ocppmeta" ? "ocpp_meta" : domain) +
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
    clients.sessionManagerAuth = mSessionManagerAuth;
    clients.sessionManager = mSessionManager;

    SOcppEnvironment environment;
    environment.openConfig = [this](const std::string& domain, const IcConfig::CErrorCallback&,
                                    const IcConfig::CChangeCallback& changeCallback) {
      if (changeCallback) mReportedDomains.insert(domain);
      return Config(domain);
    };
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
    arguments.configChangeCallback = [](const std::string&, const Json::Value&) {};
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
  std::set<std::string> mReportedDomains;  // that the component opened with the callback for changes
  std::vector<std::shared_ptr<CFakeWebsocketClient>> mLinks;
  std::shared_ptr<CFakeBoardControl> mBoardControl = std::make_shared<CFakeBoardControl>();
  std::shared_ptr<CFakeDiagnostics> mDiagnostics = std::make_shared<CFakeDiagnostics>();
  std::shared_ptr<CFakeSessionManager> mSessionManager = std::make_shared<CFakeSessionManager>();
  std::shared_ptr<CFakeSessionManagerAuth> mSessionManagerAuth = std::make_shared<CFakeSessionManagerAuth>();
  std::shared_ptr<CSystemAccessInterface> mAccess = std::make_shared<CSystemAccessInterface>();
  std::unique_ptr<COcppComponent> mComponent;
};

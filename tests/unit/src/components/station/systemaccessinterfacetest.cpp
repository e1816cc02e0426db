#include "src/components/systemaccessinterface.h"

#include <gtest/gtest.h>

#include "src/components/iunlockmonitor.h"
#include "src/components/seccutils.h"

namespace {

class CUnlockMonitorStub : public IUnlockMonitor {
 public:
  bool WaitForUnlock() override { return false; }
  void NotifyUnlocked() override {}
};

template <typename TCall>
std::string InvalidInstanceText(TCall call)
{
  try {
    call();
  } catch (const SeccUtils::CInvalidInstanceException& error) {
    return error.what();
  }
  return "no exception";
}

TEST(CSystemAccessInterface, PersistentDataOfInstanceTwoThrowsAndNamesIt)
{
  const CSystemAccessInterface access;
  EXPECT_EQ(InvalidInstanceText([&] { access.GetSeccPersistentData(2); }),
            "[SeccPersistentData] Invalid instance [2] selected");
  EXPECT_EQ(access.GetSeccPersistentData(0), nullptr);
  EXPECT_EQ(access.GetSeccPersistentData(1), nullptr);
}

TEST(CSystemAccessInterface, UnlockMonitorExistsForConnectorOneOnly)
{
  CSystemAccessInterface access;
  const auto monitor = std::make_shared<CUnlockMonitorStub>();
  access.RegisterHandle(std::shared_ptr<IUnlockMonitor>(monitor), 1);
  EXPECT_EQ(InvalidInstanceText([&] { access.GetUnlockMonitor(0); }), "[UnlockMonitor] Invalid instance [0] selected");
  EXPECT_EQ(access.GetUnlockMonitor(1), monitor.get());
}

TEST(CSystemAccessInterface, EveryGetterWithInstanceNamesItselfInTheError)
{
  const CSystemAccessInterface access;
  EXPECT_EQ(InvalidInstanceText([&] { access.GetSessionManagerPersistentData(0); }),
            "[SessionManagerPersistentData] Invalid instance [0] selected");
  EXPECT_EQ(InvalidInstanceText([&] { access.GetSessionManager(2); }),
            "[SessionManager] Invalid instance [2] selected");
  EXPECT_EQ(InvalidInstanceText([&] { access.GetSampledValuesHandler(0); }),
            "[SampledValuesHandler] Invalid instance [0] selected");
}

TEST(CSystemAccessInterface, EveryRegistrationWithInstanceNamesItselfInTheError)
{
  CSystemAccessInterface access;
  EXPECT_EQ(InvalidInstanceText([&] { access.RegisterHandle(std::shared_ptr<IcConfig::IConfig>(), 2); }),
            "[RegisterHandle<IOcppDataCfg>] Invalid instance [2] selected");
  EXPECT_EQ(InvalidInstanceText([&] { access.RegisterHandle(std::shared_ptr<IcConfig::IReadOnlyConfig>(), 0); }),
            "[RegisterHandle<ISessionManagerDataCfg>] Invalid instance [0] selected");
  EXPECT_EQ(InvalidInstanceText([&] { access.RegisterHandle(std::shared_ptr<ISampledValuesHandler>(), 2); }),
            "[RegisterHandle<CSampledValuesHandler>] Invalid instance [2] selected");
  EXPECT_EQ(InvalidInstanceText([&] { access.RegisterHandle(std::shared_ptr<ISessionClientHandler>(), 0); }),
            "[RegisterHandle<CSessionClientHandler>] Invalid instance [0] selected");
  EXPECT_EQ(InvalidInstanceText([&] { access.RegisterHandle(std::shared_ptr<IUnlockMonitor>(), 2); }),
            "[RegisterHandle<CUnlockMonitor>] Invalid instance [2] selected");
}

TEST(CSystemAccessInterface, SecondRegistrationReplacesTheFirst)
{
  CSystemAccessInterface access;
  access.RegisterHandle(std::shared_ptr<IUnlockMonitor>(std::make_shared<CUnlockMonitorStub>()), 1);
  const auto second = std::make_shared<CUnlockMonitorStub>();
  access.RegisterHandle(std::shared_ptr<IUnlockMonitor>(second), 1);
  EXPECT_EQ(access.GetUnlockMonitor(1), second.get());
}

TEST(CSystemAccessInterface, UnregisteredServicesAreNull)
{
  const CSystemAccessInterface access;
  EXPECT_EQ(access.GetOcpp(), nullptr);
  EXPECT_EQ(access.GetOcppConfigManager(), nullptr);
  EXPECT_EQ(access.GetResetManager(), nullptr);
  EXPECT_EQ(access.GetSmartChargingComponent(), nullptr);
  EXPECT_EQ(access.GetNumberOfConnectors(), 1U);
}

}  // namespace

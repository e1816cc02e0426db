#include "src/components/ocppcomponent.h"

#include "src/components/auxiliarykey.h"
#include "tests/unit/src/components/ocppcomponent/ocppcomponentfixture.h"

namespace {

using namespace std::chrono_literals;

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

TEST_F(COcppComponentTest, ChangesOfTheSettingsAreLeftToTheProcessToReport)
{
  Create();
  EXPECT_EQ(mReportedDomains.count("settings"), 0U);
  EXPECT_EQ(mReportedDomains.count("ocpp"), 1U);
  EXPECT_EQ(mReportedDomains.count("secrets"), 1U);
  EXPECT_EQ(mReportedDomains.count("network"), 1U);
}

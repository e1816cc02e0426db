#include <thread>

#include "tests/unit/src/components/diagnostics/diagnosticsfixture.h"

namespace {

using CBools = std::vector<bool>;
using CTexts = std::vector<std::string>;
using CLists = std::vector<CTexts>;

class CDiagnosticsReportsTest : public CDiagnosticsFixture {
 protected:
  size_t CountSent()
  {
    mClock.WaitIdle();
    return mDiagnostics->SentSignals().size();
  }
};

TEST_F(CDiagnosticsReportsTest, PrimaryOfflineRaisesCommunicationLostOnceAndOnlineClearsIt)
{
  mHandler.ReportConnectionAborted(kPrimary);
  mHandler.ReportConnectionAborted(kPrimary);
  mHandler.ReportBackofficeOnline(kPrimary);
  mHandler.ReportBackofficeOnline(kPrimary);
  mHandler.ReportConnectionAborted(kPrimary);
  EXPECT_EQ(SentBools(10000), (CBools{true, false, true}));
  EXPECT_EQ(CountSent(), 3U);
}

TEST_F(CDiagnosticsReportsTest, AuxiliaryOnlineAndOfflineSendTheListOfThoseOnline)
{
  mHandler.ReportBackofficeOnline(kAuxiliary);
  mHandler.ReportBackofficeOnline(kAuxiliary);
  mHandler.ReportConnectionAborted(kAuxiliary);
  mHandler.ReportConnectionAborted(kAuxiliary);
  EXPECT_EQ(SentLists(206), (CLists{{"Tovira Hub"}, {"Tovira Hub"}, {}, {}}));
  EXPECT_EQ(CountSent(), 4U);
}

TEST_F(CDiagnosticsReportsTest, OfflineReportForNoBackofficeDoesNothing)
{
  // Not even where the switchboard has no primary, whose id is then the same.
  for (const auto primary : {kPrimary, EBackofficeId::ENone}) {
    mOcpp->primary = primary;
    mOcpp->auxiliaries = {kAuxiliary, EBackofficeId::ENone};
    mHandler.ReportConnectionAborted(EBackofficeId::ENone);
    mHandler.ReportBackofficeOnline(EBackofficeId::ENone);
    mHandler.ReportDnsFailure(EBackofficeId::ENone);
    mHandler.ClearDnsFailure(EBackofficeId::ENone);
  }
  EXPECT_EQ(CountSent(), 0U);
}

TEST_F(CDiagnosticsReportsTest, BackofficeThatIsNeitherPrimaryNorAuxiliaryDoesNothing)
{
  mOcpp->auxiliaries.clear();
  mHandler.ReportBackofficeOnline(kAuxiliary);
  mHandler.ReportConnectionAborted(kAuxiliary);
  mOcpp->primary = EBackofficeId::ENone;
  mHandler.ReportConnectionAborted(kPrimary);
  EXPECT_EQ(CountSent(), 0U);
}

TEST_F(CDiagnosticsReportsTest, ReportsBeforeTheWiringIsCompleteAreSurvived)
{
  mAccess.RegisterHandle(std::shared_ptr<IOcpp>());
  mHandler.ReportConnectionAborted(kPrimary);
  mHandler.ReportBackofficeOnline(kAuxiliary);
  mHandler.ReportDnsFailure(kPrimary);
  EXPECT_EQ(CountSent(), 0U);
}

TEST_F(CDiagnosticsReportsTest, StorageFullOfAnEarlierLifeIsClearedByTheFirstReport)
{
  mHandler.ClearStorageFull();
  mHandler.ClearStorageFull();
  EXPECT_EQ(SentBools(10001), (CBools{false}));
}

TEST_F(CDiagnosticsReportsTest, StorageFullIsSentOnChangeOnly)
{
  mHandler.ReportStorageFull();
  mHandler.ReportStorageFull();
  mHandler.ClearStorageFull();
  mHandler.ClearStorageFull();
  EXPECT_EQ(SentBools(10001), (CBools{true, false}));
}

TEST_F(CDiagnosticsReportsTest, DnsFailureOfThePrimaryIsSentEachTime)
{
  mHandler.ClearDnsFailure(kPrimary);
  mHandler.ReportDnsFailure(kPrimary);
  mHandler.ReportDnsFailure(kPrimary);
  mHandler.ClearDnsFailure(kPrimary);
  EXPECT_EQ(SentBools(10002), (CBools{false, true, true, false}));
}

TEST_F(CDiagnosticsReportsTest, DnsFailureOfTheAuxiliaryDoesNotCount)
{
  mHandler.ReportDnsFailure(kAuxiliary);
  mHandler.ClearDnsFailure(kAuxiliary);
  EXPECT_EQ(CountSent(), 0U);
}

TEST_F(CDiagnosticsReportsTest, ProfileUpdateIsCompactJsonWithTheIdAsText)
{
  mHandler.ReportChargeProfileUpdate(false, 17, EProfileUpdateReason::EOcppSetChargeProfile);
  mHandler.ReportChargeProfileUpdate(true, -9223372036854775807, EProfileUpdateReason::ETransactionEnd);
  EXPECT_EQ(SentTexts(200),
            (CTexts{R"({"ProfileId":"17","UpdateReason":"OcppSetChargeProfile","UpdateType":"Installed"})",
                    R"({"ProfileId":"-9223372036854775807","UpdateReason":"TransactionEnd","UpdateType":"Removed"})"}));
}

TEST_F(CDiagnosticsReportsTest, ProfileUpdateNamesEachReason)
{
  const char* const reasons[] = {"LoadPersistentStorage",
                                 "OcppSetChargeProfile",
                                 "OcppRemoteStartTransaction",
                                 "OcppClearChargeProfile",
                                 "TransactionEnd",
                                 "DuplicatedParameter",
                                 "Unknown"};
  CTexts expected;
  for (uint8_t number = 0; number <= 6; ++number) {
    mHandler.ReportChargeProfileUpdate(false, 1, static_cast<EProfileUpdateReason>(number));
    expected.push_back(std::string(R"({"ProfileId":"1","UpdateReason":")") + reasons[number] +
                       R"(","UpdateType":"Installed"})");
  }
  EXPECT_EQ(SentTexts(200), expected);
}

TEST_F(CDiagnosticsReportsTest, ActiveProfileIsSentAsALongNumber)
{
  mHandler.SetActiveChargeProfile(5000000000);
  mHandler.SetActiveChargeProfile(-1);
  const auto sent = Sent(201);
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].long_values(0), 5000000000);
  EXPECT_EQ(sent[1].long_values(0), -1);
}

TEST_F(CDiagnosticsReportsTest, InstalledProfilesAreJoinedByCommas)
{
  mHandler.ReportInstalledProfiles({3, 1, 2});
  mHandler.ReportInstalledProfiles({});
  EXPECT_EQ(SentTexts(202), (CTexts{"1,2,3", ""}));
}

TEST_F(CDiagnosticsReportsTest, ProfileFailureIsCompactJson)
{
  mHandler.ReportProfileFailure(17, "stack \"level\"");
  EXPECT_EQ(SentTexts(203), CTexts{R"({"FailReason":"stack \"level\"","ProfileId":"17"})"});
}

TEST_F(CDiagnosticsReportsTest, WebsocketStatusKeepsOneEntryPerBackoffice)
{
  mHandler.ReportWebsocketStatus("Connecting", kPrimary);
  mHandler.ReportWebsocketStatus("Connecting", kAuxiliary);
  mHandler.ReportWebsocketStatus("Online", kPrimary);
  EXPECT_EQ(SentLists(204), (CLists{{"[Cpo Backoffice] Connecting"},
                                    {"[Cpo Backoffice] Connecting", "[Tovira Hub] Connecting"},
                                    {"[Cpo Backoffice] Online", "[Tovira Hub] Connecting"}}));
}

TEST_F(CDiagnosticsReportsTest, WebsocketStatusThatNamesTheOtherBackofficeIsNotTakenForItsEntry)
{
  mHandler.ReportWebsocketStatus("not [Tovira Hub] ", kPrimary);
  mHandler.ReportWebsocketStatus("Online", kAuxiliary);
  EXPECT_EQ(SentLists(204).back(), (CTexts{"[Cpo Backoffice] not [Tovira Hub] ", "[Tovira Hub] Online"}));
}

TEST_F(CDiagnosticsReportsTest, StatusOfBothBackofficesSurvivesReportsFromTwoThreads)
{
  const auto report = [this](EBackofficeId id) {
    for (int i = 0; i <= 100; ++i) mHandler.ReportWebsocketStatus(std::to_string(i), id);
  };
  std::thread auxiliary([&] { report(kAuxiliary); });
  report(kPrimary);
  auxiliary.join();
  const auto last = SentLists(204).back();
  EXPECT_EQ(std::set<std::string>(last.begin(), last.end()),
            (std::set<std::string>{"[Cpo Backoffice] 100", "[Tovira Hub] 100"}));
  EXPECT_EQ(last.size(), 2U);
}

TEST_F(CDiagnosticsReportsTest, QueueSizeIsSentAsAnUnsignedNumber)
{
  mHandler.SetTransactionQueueSize(4000000000);
  const auto sent = Sent(205);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].uint_values(0), 4000000000);
}

TEST_F(CDiagnosticsReportsTest, TextsGoOutOnTheirSignalsEveryTime)
{
  struct SCase {
    int32_t identifier;
    void (CDiagnosticsClientHandler::*report)(const std::string&);
  };
  const SCase cases[] = {
      {20303, &CDiagnosticsClientHandler::ReportSecurityEvent},
      {20302, &CDiagnosticsClientHandler::ReportInvalidMessage},
      {20301, &CDiagnosticsClientHandler::ReportSecurityParameterChange},
      {20503, &CDiagnosticsClientHandler::ReportBackendConnection},
      {20500, &CDiagnosticsClientHandler::ReportParameterChange},
  };
  for (const auto& entry : cases) {
    const std::string text = "text of " + std::to_string(entry.identifier);
    (mHandler.*entry.report)(text);
    (mHandler.*entry.report)(text);
    EXPECT_EQ(SentTexts(entry.identifier), (CTexts{text, text}));
  }
  EXPECT_EQ(CountSent(), 10U);
}

TEST_F(CDiagnosticsReportsTest, EverythingIsSentForTheStation)
{
  mHandler.ReportConnectionAborted(kPrimary);
  mHandler.ReportStorageFull();
  mHandler.ReportWebsocketStatus("Online", kPrimary);
  EXPECT_EQ(CountSent(), 3U);
  for (const auto& signal : mDiagnostics->SentSignals()) EXPECT_EQ(signal.connector(), 0U);
}

TEST_F(CDiagnosticsReportsTest, AbsentDiagnosticsProcessDoesNotReachTheReporter)
{
  mDiagnostics->SetUnreachable("gone");
  mHandler.ReportConnectionAborted(kPrimary);
  mHandler.ReportInvalidMessage("text");
  EXPECT_EQ(CountSent(), 0U);
  mDiagnostics->SetReachable();
  mClock.AdvanceBy(std::chrono::seconds(1));
  EXPECT_EQ(SentBools(10000), CBools{true});
  EXPECT_EQ(SentTexts(20302), CTexts{"text"});
}

TEST_F(CDiagnosticsReportsTest, BopMeasurementIsReadFromTheDiagnosticsProcess)
{
  EXPECT_EQ(mHandler.GetBopMeasurement(), std::nullopt);
  ipc::MDiagnosticsSignal signal;
  signal.set_identifier(ipc::ESignalConstraintOfTheBopComponent);
  signal.add_string_values("16 A");
  mDiagnostics->SetSignal(signal);
  EXPECT_EQ(mHandler.GetBopMeasurement(), "16 A");
  mDiagnostics->SetUnreachable();
  EXPECT_EQ(mHandler.GetBopMeasurement(), std::nullopt);
}

TEST_F(CDiagnosticsReportsTest, EntryIsTraced)
{
  mHandler.ReportStorageFull();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::ETrace, "CDiagnosticsClientHandler::ReportStorageFull"), 1U);
}

}  // namespace

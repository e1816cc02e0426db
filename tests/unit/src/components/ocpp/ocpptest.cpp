#include "tests/unit/src/components/ocpp/ocppfixture.h"

#include "src/components/operation/ocpp16/implementation/heartbeatoperation.h"
#include "src/components/operation/ocpp_common/constraints.h"

namespace {

using namespace std::chrono_literals;

class COcppTest : public COcppFixture {};

TEST_F(COcppTest, PushWithoutTargetsFailsWithoutCreatingAnOperation)
{
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EHeartbeat, {}, false, {}), EPushResult::EFailed);
  EXPECT_EQ(mFactory->created, 0);
}

TEST_F(COcppTest, PushOfNothingDoesNothing)
{
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EInvalid, {kPrimary}, false, {}), EPushResult::ENothing);
  EXPECT_EQ(mFactory->created, 0);
}

TEST_F(COcppTest, PushOfAnOperationThatCannotBeCreatedIsLogged)
{
  Add(kPrimary);
  mFactory->createsNothing = true;
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EDataTransfer, {kPrimary}, false, {}), EPushResult::EPassed);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot create operation"), 1U);
}

TEST_F(COcppTest, PushWithoutAnyReceiverSaysSo)
{
  Add(kPrimary);
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EHeartbeat, {kPrimary}, false, {}), EPushResult::ENoReceiver);
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EHeartbeat, {kAuxiliary}, true, {}), EPushResult::ENoReceiver);
}

TEST_F(COcppTest, ForcePassesTheFilterOfABackoffice)
{
  const auto primary = Add(kPrimary);
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EHeartbeat, {kPrimary}, true, {}), EPushResult::EQueued);
  EXPECT_EQ(primary->TakeActions(), CActions{"Heartbeat"});
}

TEST_F(COcppTest, BeforeAcceptanceStartTransactionIsStillOffered)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EStartTransaction, {kPrimary}, false, {}), EPushResult::EQueued);
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EStatusNotification, {kPrimary}, false, {}), EPushResult::ENoReceiver);
}

TEST_F(COcppTest, EveryReceiverGetsItsOwnCopyOfOnePreparedOperation)
{
  const auto primary = AddAccepted(kPrimary);
  const auto auxiliary = AddAccepted(kAuxiliary);
  mOcpp->PushOutCall(EOutOpType::EHeartbeat, {kPrimary, kAuxiliary}, false,
                     {{EOperationParameter::EConnectorId, int64_t{1}}});
  const auto first = primary->TakeOperations().at(0);
  const auto second = auxiliary->TakeOperations().at(0);
  EXPECT_NE(first, second);
  EXPECT_EQ(first->GetMessageId(), second->GetMessageId());
  EXPECT_EQ(first->GetBackofficeId(), kPrimary);
  EXPECT_EQ(second->GetBackofficeId(), kAuxiliary);
  EXPECT_EQ(mFactory->created, 1);
}

TEST_F(COcppTest, TheFirstReceiversResultIsReturned)
{
  AddAccepted(kPrimary)->SetPushResult(EPushResult::EPassed);
  AddAccepted(kAuxiliary);
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EHeartbeat, {kPrimary, kAuxiliary}, false, {}), EPushResult::EPassed);
}

TEST_F(COcppTest, EveryFailureToFormAPayloadIsLoggedAndPushesNothing)
{
  const auto primary = AddAccepted(kPrimary);
  const std::pair<std::function<void()>, const char*> failures[] = {
      {[] { throw Rpc::CommunicationException("away"); }, "Cannot communicate with other process(s), error: away"},
      {[] { throw "text"; }, "Forming an out-call with non-conforming payload. text"},
      {[] { throw OcppConstraints::valueTooLongException("long"); },
       "Forming an out-call a member constraint exception long"},
      {[] { throw std::runtime_error("error"); }, "An exception is thrown. error"},
      {[] { throw 1; }, "An unknown exception is thrown."},
  };
  for (const auto& [failure, text] : failures) {
    mFactory->prepareFailure = failure;
    EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EHeartbeat, {kPrimary}, false, {}), EPushResult::EFailed) << text;
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, text), 1U) << text;
  }
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(COcppTest, ExceptionOfTheJsonLibraryWhileAPayloadIsFormedIsLoggedAndPushesNothing)
{
  const auto primary = AddAccepted(kPrimary);
  mFactory->prepareFailure = [this] { CHeartbeatOutCall(&mAccess, "id").HandleResponse("{"); };
  EXPECT_EQ(mOcpp->PushOutCall(EOutOpType::EHeartbeat, {kPrimary}, false, {}), EPushResult::EFailed);
  EXPECT_TRUE(mLog.ContainsPart("Execute error with exception: [json.exception.parse_error.101]"));
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(COcppTest, SecondPrimaryAndRepeatedIdAreRefused)
{
  Add(kPrimary);
  const auto second = Add(kPrimary);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Attempting to add a second primary backoffice"), 1U);
  EXPECT_EQ(second->GetInits(), 0);
  Add(kAuxiliary);
  const auto repeated = Add(kAuxiliary);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Already added backoffice"), 1U);
  EXPECT_EQ(repeated->GetInits(), 0);
}

TEST_F(COcppTest, AddedBackofficeIsInitialisedAndFound)
{
  const auto primary = Add(kPrimary);
  EXPECT_EQ(primary->GetInits(), 1);
  EXPECT_EQ(mOcpp->GetBackoffice(kPrimary), primary);
  EXPECT_EQ(mOcpp->GetBackoffice(EBackofficeId::ENone), nullptr);
  EXPECT_EQ(mOcpp->GetPrimaryBackofficeId(), kPrimary);
  EXPECT_TRUE(mLog.Contains("Added backoffice Cpo Backoffice"));
}

TEST_F(COcppTest, WithoutPrimaryThereIsNoPrimaryId)
{
  Add(kAuxiliary);
  EXPECT_EQ(mOcpp->GetPrimaryBackofficeId(), EBackofficeId::ENone);
  EXPECT_EQ(mOcpp->GetAuxiliaryBackofficeIds(), IOcpp::CBackofficeIds{kAuxiliary});
  EXPECT_EQ(mOcpp->GetAllUsedBackofficeIds(), IOcpp::CBackofficeIds{kAuxiliary});
}

TEST_F(COcppTest, OnlyAnAuxiliaryCanBeRemoved)
{
  Add(kPrimary);
  Add(kAuxiliary);
  mOcpp->RemoveBackoffice(kAuxiliary);
  EXPECT_EQ(mOcpp->GetBackoffice(kAuxiliary), nullptr);
  EXPECT_TRUE(mLog.Contains("Removed backoffice Tovira Hub"));
  mOcpp->RemoveBackoffice(kPrimary);
  mOcpp->RemoveBackoffice(kAuxiliary);
  EXPECT_NE(mOcpp->GetBackoffice(kPrimary), nullptr);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Attempting to remove a nonexistent or primary backoffice"), 2U);
}

TEST_F(COcppTest, TheLeadingBackofficeIsThePrimaryElseAnEnabledAuxiliary)
{
  const auto primary = Add(kPrimary);
  const auto auxiliary = Add(kAuxiliary);
  EXPECT_EQ(mOcpp->GetLeadingBackoffice(), nullptr);
  auxiliary->SetEnabled(true);
  EXPECT_EQ(mOcpp->GetLeadingBackoffice(), auxiliary);
  primary->SetEnabled(true);
  EXPECT_EQ(mOcpp->GetLeadingBackoffice(), primary);
}

TEST_F(COcppTest, EnablingThePrimaryTellsTheSessionManagerFirst)
{
  const auto primary = Add(kPrimary);
  primary->SetChargingAllowed(true);
  mOcpp->EnableBackoffice(kPrimary);
  ASSERT_EQ(mSession->approvals.size(), 1U);
  EXPECT_EQ(mSession->approvals[0], std::make_pair(true, kPrimary));
  EXPECT_TRUE(primary->IsEnabled());
  EXPECT_EQ(primary->GetConnects(), std::vector<bool>{true});
  EXPECT_TRUE(mLog.Contains("Enabling backoffice Cpo Backoffice ..."));
}

TEST_F(COcppTest, UndeliveredApprovalIsLoggedAndTheBackofficeEnabledAllTheSame)
{
  const auto primary = Add(kPrimary);
  mSession->approvalDelivered = false;
  mOcpp->EnableBackoffice(kPrimary);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Initial SetExternalChargeApproval delivery failed for Cpo Backoffice."),
            1U);
  EXPECT_TRUE(primary->IsEnabled());
}

TEST_F(COcppTest, EnablingTheAuxiliaryTellsTheSessionManagerNothing)
{
  Add(kAuxiliary);
  mOcpp->EnableBackoffice(kAuxiliary);
  EXPECT_TRUE(mSession->approvals.empty());
}

TEST_F(COcppTest, DisablingClosesTheLinkAndDisables)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->DisableBackoffice(kPrimary);
  EXPECT_FALSE(primary->IsEnabled());
  EXPECT_EQ(primary->GetConnects(), std::vector<bool>{false});
  EXPECT_TRUE(mLog.Contains("Disabling backoffice Cpo Backoffice ..."));
}

TEST_F(COcppTest, UnregisteredBackofficeCannotBeEnabledNorDisabled)
{
  mOcpp->EnableBackoffice(kPrimary);
  mOcpp->DisableBackoffice(kAuxiliary);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Could not enable backoffice Cpo Backoffice: not registered"), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Could not disable backoffice Tovira Hub: not registered"), 1U);
}

TEST_F(COcppTest, FirstConnectionSendsABootNotification)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  primary->SetBootAllowed(false);
  mLinks[kPrimary]->PlayOpen();
  EXPECT_EQ(primary->TakeActions(), CActions{"BootNotification"});
  EXPECT_TRUE(primary->IsOnline());
  EXPECT_TRUE(primary->IsBootAllowed());
  EXPECT_TRUE(mLog.Contains("Custom OnOpen callback for Cpo Backoffice"));
  EXPECT_EQ(mDiagnostics->GetReports(), (CActions{"online: Cpo Backoffice", "dns success: Cpo Backoffice",
                                                  "connectivity: Connected to OCPP backoffice: Cpo Backoffice"}));
}

TEST_F(COcppTest, ReconnectionAfterAcceptanceSendsStatusAndHeartbeatButNoBootNotification)
{
  const auto primary = AddAccepted(kPrimary);
  mLinks[kPrimary]->PlayOpen();
  mClock.AdvanceBy(5s);
  EXPECT_EQ(primary->TakeActions(), (CActions{"Heartbeat", "StatusNotification", "StatusNotification"}));
}

TEST_F(COcppTest, ReconnectionWhilePendingOrRejectedLeavesTheBootToTheBlockingTimer)
{
  for (const auto status : {EOcppStatus::EPending, EOcppStatus::ERejected}) {
    const auto auxiliary = Add(kAuxiliary);
    auxiliary->SetEnabled(true);
    auxiliary->SetStatus(status);
    mOcpp->SetOperationBlockingDuration(1min, kAuxiliary);
    mLinks[kAuxiliary]->PlayOpen();
    mClock.AdvanceBy(5s);
    EXPECT_TRUE(auxiliary->TakeActions().empty());
    mOcpp->RemoveBackoffice(kAuxiliary);
  }
}

TEST_F(COcppTest, ReconnectionWhilePendingOrRejectedBootsAgainWhenTheBootOfTheBlockingTimerWasLost)
{
  for (const auto status : {EOcppStatus::EPending, EOcppStatus::ERejected}) {
    const auto auxiliary = Add(kAuxiliary);
    auxiliary->SetEnabled(true);
    auxiliary->SetStatus(status);
    mOcpp->SetOperationBlockingDuration(1min, kAuxiliary);
    mClock.AdvanceBy(1min);
    auxiliary->TakeActions();
    mLinks[kAuxiliary]->PlayOpen();
    mClock.AdvanceBy(5s);
    EXPECT_EQ(auxiliary->TakeActions(), CActions{"BootNotification"});
    mOcpp->RemoveBackoffice(kAuxiliary);
  }
}

TEST_F(COcppTest, LostConnectionEndsTheHeartbeatAndIsReported)
{
  const auto primary = AddAccepted(kPrimary);
  mLinks[kPrimary]->PlayOpen();
  mClock.AdvanceBy(5s);
  primary->TakeActions();
  mLinks[kPrimary]->PlayClose();
  mClock.AdvanceBy(1h);
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_FALSE(primary->IsOnline());
  EXPECT_TRUE(mLog.Contains("Custom closed callback for Cpo Backoffice"));
  const auto reports = mDiagnostics->GetReports();
  EXPECT_EQ(CActions(reports.end() - 2, reports.end()),
            (CActions{"connection aborted: Cpo Backoffice",
                      "connectivity: Lost connection to OCPP backoffice: Cpo Backoffice"}));
}

TEST_F(COcppTest, ShutdownClosesTheLinksAndEndsTheTimers)
{
  const auto primary = AddAccepted(kPrimary);
  mLinks[kPrimary]->PlayOpen();
  mClock.AdvanceBy(5s);
  primary->TakeActions();
  mOcpp->Shutdown();
  EXPECT_EQ(primary->GetConnects(), std::vector<bool>{false});
  EXPECT_EQ(mOcpp->GetBackoffice(kPrimary), nullptr);
  mClock.AdvanceBy(1h);
  EXPECT_TRUE(primary->TakeActions().empty());
  // A callback of the link that comes last finds nothing to do.
  mLinks[kPrimary]->PlayOpen();
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(COcppTest, FailedConnectionTellsWhetherTheNameResolves)
{
  Add(kPrimary);
  mHostResolves = false;
  mLinks[kPrimary]->PlayFail(true);
  mHostResolves = true;
  mLinks[kPrimary]->PlayFail(false);
  EXPECT_EQ(mDiagnostics->GetReports(),
            (CActions{"connection aborted: Cpo Backoffice", "dns failure: Cpo Backoffice",
                      "connection aborted: Cpo Backoffice", "dns success: Cpo Backoffice"}));
  EXPECT_EQ(mResolved, (std::vector<std::pair<std::string, bool>>{{"host.example", true}, {"host.example", false}}));
  EXPECT_EQ(mLog.Count("Custom OnFail callback for Cpo Backoffice."), 2U);
}

TEST_F(COcppTest, StoredMessagesAreQueuedOnceForThePrimaryInTheirOrder)
{
  const auto primary = AddAccepted(kPrimary);
  const auto auxiliary = AddAccepted(kAuxiliary);
  mStorage->Preset({"a", EOutOpType::EStartTransaction, "{}"});
  mStorage->Preset({"b", EOutOpType::EStopTransaction, "{}"});
  mOcpp->LoadPersistedMessages();
  EXPECT_EQ(primary->TakeActions(), (CActions{"StartTransaction", "StopTransaction"}));
  EXPECT_TRUE(auxiliary->TakeActions().empty());
  EXPECT_TRUE(mLog.Contains("Load messages from persistent storage, found 2 messages in storage"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::ETrace, "Inserting op into backoffice Cpo Backoffice"), 2U);
  EXPECT_EQ(mStorage->GetIds(), (CActions{"a", "b"}));
  mOcpp->LoadPersistedMessages();
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "Persistently stored messages have already been loaded, skipping reloading the messages from "
                       "persistent storage."),
            1U);
}

TEST_F(COcppTest, StoredMessagesGoAheadOfANewTransactionMessage)
{
  const auto primary = AddAccepted(kPrimary);
  mStorage->Preset({"old", EOutOpType::EStopTransaction, "{}"});
  mOcpp->PushOutCall(EOutOpType::EStartTransaction, {kPrimary}, false, {});
  EXPECT_EQ(primary->TakeActions(), (CActions{"StopTransaction", "StartTransaction"}));
}

TEST_F(COcppTest, StoredMessageThatCannotBeQueuedIsRemoved)
{
  AddAccepted(kPrimary);
  mStorage->Preset({"event", EOutOpType::ESecurityEventNotification, "{}"});
  mOcpp->LoadPersistedMessages();
  EXPECT_TRUE(mStorage->GetIds().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "Insert operation SecurityEventNotification(ID: event, payload: {}) to queue failed. Removed "
                       "from storage."),
            1U);
}

TEST_F(COcppTest, WithoutAPrimaryStoredMessagesWait)
{
  AddAccepted(kAuxiliary);
  mStorage->Preset({"a", EOutOpType::EStartTransaction, "{}"});
  mOcpp->LoadPersistedMessages();
  EXPECT_EQ(mStorage->GetIds(), CActions{"a"});
  const auto primary = AddAccepted(kPrimary);
  mOcpp->LoadPersistedMessages();
  EXPECT_EQ(primary->TakeActions(), CActions{"StartTransaction"});
}

TEST_F(COcppTest, SecurityEventGoesToEveryBackofficeAcceptedOrNot)
{
  const auto primary = Add(kPrimary);
  const auto auxiliary = AddAccepted(kAuxiliary);
  ipc::MDiagnosticsSignal signal;
  signal.set_identifier(static_cast<ipc::ESignalIdentifier>(20003));
  signal.mutable_timestamp()->set_seconds(1768472100);
  signal.add_string_values("by hand");
  mOcpp->PushSecurityEventNotification(signal);
  EXPECT_EQ(auxiliary->TakeActions(), CActions{"SecurityEventNotification"});
  const auto parameters = ParametersOf(primary->TakeOperations().at(0));
  EXPECT_EQ(GetTextParameter(parameters, EOperationParameter::ESecurityEventType), "ResetOrReboot");
  EXPECT_EQ(GetTextParameter(parameters, EOperationParameter::ESecurityEventTimestamp), "2026-01-15T10:15:00Z");
  EXPECT_EQ(GetTextParameter(parameters, EOperationParameter::ESecurityEventTechnicalInformation), "by hand");
}

TEST_F(COcppTest, EveryOperationWritesItsNameAtTraceLevel)
{
  AddAccepted(kPrimary);
  AddAccepted(kAuxiliary);
  mOcpp->EnableBackoffice(kPrimary);
  mLinks[kPrimary]->PlayOpen();
  mOcpp->GetAuxiliaryBackofficeIds();
  mOcpp->PushStoredOutCall({"a", EOutOpType::EStartTransaction, "{}"}, {kPrimary});
  mOcpp->StartClockAlignedMeterValue(kPrimary);
  mOcpp->GetClockAlignedScheduledInterval();
  mOcpp->ScheduleOcppSessionMeterValues(1);
  mOcpp->CancelOcppSessionMeterValues(1);
  mOcpp->SetOperationBlockingDuration(10s, kPrimary);
  mOcpp->LoadPersistedMessages();
  mOcpp->PushFatalStatusNotification();
  mOcpp->PushSecurityEventNotification({});
  mOcpp->GetStatusNotificationParamsList(0);
  mOcpp->GetSystemSessionState(1);
  mLinks[kPrimary]->PlayClose();
  mOcpp->DisableBackoffice(kPrimary);
  mOcpp->RemoveBackoffice(kAuxiliary);
  for (const std::string operation : {"Init",
                                      "PushOutCall",
                                      "GetBackoffice",
                                      "GetPrimaryBackofficeId",
                                      "GetAuxiliaryBackofficeIds",
                                      "GetAllUsedBackofficeIds",
                                      "GetLeadingBackoffice",
                                      "PushStoredOutCall",
                                      "ScheduleOcppHeartbeat",
                                      "CancelOcppHeartbeat",
                                      "StartClockAlignedMeterValue",
                                      "GetClockAlignedScheduledInterval",
                                      "ScheduleOcppSessionMeterValues",
                                      "CancelOcppSessionMeterValues",
                                      "SetOperationBlockingDuration",
                                      "LoadPersistedMessages",
                                      "PushStatusNotification",
                                      "PushFatalStatusNotification",
                                      "PushSecurityEventNotification",
                                      "GetStatusNotificationParamsList",
                                      "CreateSecurityEventParameters",
                                      "GetSystemSessionState",
                                      "AddBackoffice",
                                      "RemoveBackoffice",
                                      "EnableBackoffice",
                                      "DisableBackoffice",
                                      "RegisterHandlers",
                                      "PerformOnlineRoutine",
                                      "PerformOfflineRoutine"}) {
    EXPECT_GE(mLog.Count(Log::ELogLevel::ETrace, "COcpp::" + operation), 1U) << operation;
  }
}

TEST_F(COcppTest, SecurityEventWithoutTextHasEmptyTechnicalInformation)
{
  ipc::MDiagnosticsSignal signal;
  signal.set_identifier(static_cast<ipc::ESignalIdentifier>(9));
  const auto parameters = mOcpp->CreateSecurityEventParameters(signal);
  EXPECT_EQ(GetTextParameter(parameters, EOperationParameter::ESecurityEventType), "UnknownStatus");
  EXPECT_EQ(GetTextParameter(parameters, EOperationParameter::ESecurityEventTechnicalInformation), "");
}

}  // namespace

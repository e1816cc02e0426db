// Every operation of every sibling interface over the wire: which method it calls with which request, what it makes of
// the answer, and which handler each notification reaches.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/iipc/events.h"
#include "tests/unit/platform/iipc/genericsibling.h"
#include "tests/unit/platform/iipc/hostfixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

// A client of TInterface and its sibling in this process. A test sets the reply of a method, calls, and looks at the
// request that arrived; notifications are sent with Notify and noted by the test's handlers.
template <typename TInterface>
class CWire {
 public:
  CWire(Host& host, const std::string& address, const std::string& serviceName, std::string protoService)
      : client(host.CreateClient<TInterface>(serviceName)->GetInterface()),
        mService("/secc.ipc.v1." + std::move(protoService) + "/"),
        mSibling(address, [this](const std::string& method, const std::string&) {
          if (method == mService + "Notifications") mSubscribed.Add(0);
        })
  {}

  void SetReply(const std::string& method, const google::protobuf::MessageLite& reply)
  {
    mSibling.SetReply(mService + method, reply.SerializeAsString());
  }

  // The only request that `method` was called with.
  template <typename TRequest>
  TRequest Request(const std::string& method) const
  {
    TRequest request;
    EXPECT_EQ(mSibling.CountCalls(mService + method), 1) << method;
    for (const auto& [calledMethod, bytes] : mSibling.Calls()) {
      EXPECT_TRUE(calledMethod != mService + method || request.ParseFromString(bytes));
    }
    return request;
  }

  void Notify(const google::protobuf::MessageLite& notification)
  {
    ASSERT_TRUE(mSubscribed.WaitForCount(1));
    mSibling.Notify(mService + "Notifications", notification.SerializeAsString());
  }

  ipc::MSubscribe Subscription() { return Request<ipc::MSubscribe>("Notifications"); }

  const std::shared_ptr<TInterface> client;

 private:
  const std::string mService;
  CEvents<int> mSubscribed;
  CGenericSibling mSibling;
};

class ClientBindings : public HostFixture {
 protected:
  ~ClientBindings() override { Stop(); }

  template <typename TInterface>
  std::unique_ptr<CWire<TInterface>> Connect(const std::string& serviceName, const std::string& protoService)
  {
    auto wire = std::make_unique<CWire<TInterface>>(*mHost, Address(serviceName), serviceName, protoService);
    Start();
    return wire;
  }

  static ipc::MResult Illegal()
  {
    ipc::MResult result;
    result.set_result(ipc::EResultIllegal);
    return result;
  }

  // Texts that the test's handlers note.
  CEvents<std::string> mNotes;
};

TEST_F(ClientBindings, BasicCharge)
{
  const auto wire = Connect<IBasicCharge2>("ChargeControlBasicCharge", "BasicCharge2");
  wire->client->SetSocketUnlockedHandler(
      [this](uint32_t connector) { mNotes.Add("unlocked " + std::to_string(connector)); });
  wire->client->SetPilotStatesChangedHandler(
      [this](const ipc::MPilotStates& states) { mNotes.Add(ipc::ECpState_Name(states.cp_state())); });

  ipc::MPilotStates states;
  states.set_cp_state(ipc::ECpStateC);
  states.set_pp_state(ipc::EPpState32A);
  wire->SetReply("GetPilotStates", states);
  EXPECT_EQ(wire->client->GetPilotStates().pp_state(), ipc::EPpState32A);

  ipc::MBasicCharge2Notification unlocked;
  unlocked.mutable_socket_unlocked()->set_connector(1);
  wire->Notify(unlocked);
  ipc::MBasicCharge2Notification changed;
  *changed.mutable_pilot_states_changed() = states;
  wire->Notify(changed);
  wire->Notify(ipc::MBasicCharge2Notification());
  wire->Notify(unlocked);
  ASSERT_TRUE(mNotes.WaitForCount(3));
  EXPECT_THAT(mNotes.Get(), ElementsAre("unlocked 1", "ECpStateC", "unlocked 1"));
  EXPECT_EQ(wire->Subscription().subscriber(), "secc");
}

TEST_F(ClientBindings, BoardControl)
{
  const auto wire = Connect<IBoardControl>("BoardControl", "BoardControl");
  wire->client->SetFwUpdateStatusHandler(
      [this](const ipc::MFwUpdateStatus& status) { mNotes.Add("status " + std::to_string(status.status())); });
  wire->client->SetMainsLostHandler([this] { mNotes.Add("mains lost"); });
  wire->client->SetStateChangedHandler(
      [this](const ipc::MState& state) { mNotes.Add(ipc::EState_Name(state.state())); });

  wire->SetReply("Reset", Illegal());
  EXPECT_EQ(wire->client->Reset(IBoardControl::EResetKind::EHard).result(), ipc::EResultIllegal);
  EXPECT_TRUE(wire->Request<ipc::MResetRequest>("Reset").hard());
  EXPECT_EQ(wire->client->InstallFirmware("OCPP").result(), ipc::EResultSuccess);
  EXPECT_EQ(wire->Request<ipc::MInstallFirmware>("InstallFirmware").initiator(), "OCPP");

  ipc::MBoardControlNotification notification;
  notification.mutable_fw_update_status()->set_status(ipc::EFwUpdateStatusNoSpace);
  wire->Notify(notification);
  notification.mutable_mains_lost();
  wire->Notify(notification);
  notification.mutable_state_changed()->set_state(ipc::EStateError);
  wire->Notify(notification);
  ASSERT_TRUE(mNotes.WaitForCount(3));
  EXPECT_THAT(mNotes.Get(), ElementsAre("status 7", "mains lost", "EStateError"));
}

TEST_F(ClientBindings, BoardControlSoftReset)
{
  const auto wire = Connect<IBoardControl>("BoardControl", "BoardControl");
  EXPECT_EQ(wire->client->Reset(IBoardControl::EResetKind::ESoft).result(), ipc::EResultSuccess);
  EXPECT_FALSE(wire->Request<ipc::MResetRequest>("Reset").hard());
}

TEST_F(ClientBindings, CurrentControl)
{
  const auto wire = Connect<ICurrentControl>("CurrentControl", "CurrentControl");
  wire->client->SetLimitChangedHandler(
      [this](const ipc::MCurrentControlLimit& limit) { mNotes.Add(std::to_string(limit.current())); });

  ipc::MCurrentControlLimit limit;
  limit.set_source(ipc::ECurrentControlOcppSmartCharging);
  limit.set_current(0);
  limit.set_phases(3);
  wire->SetReply("SetLimit", Illegal());
  EXPECT_EQ(wire->client->SetLimit(limit).result(), ipc::EResultIllegal);
  const auto sent = wire->Request<ipc::MCurrentControlLimit>("SetLimit");
  EXPECT_EQ(sent.source(), 10);
  EXPECT_TRUE(sent.has_current()) << "a limit of 0 is not the absence of a limit";
  EXPECT_EQ(sent.phases(), 3);

  ipc::MCurrentControlLimit cleared;
  cleared.set_source(ipc::ECurrentControlOcppSmartCharging);
  EXPECT_EQ(wire->client->ClearLimit(cleared).result(), ipc::EResultSuccess);
  EXPECT_FALSE(wire->Request<ipc::MCurrentControlLimit>("ClearLimit").has_current());

  limit.set_current(16000);
  wire->SetReply("GetLimit", limit);
  EXPECT_EQ(wire->client->GetLimit().current(), 16000);

  ipc::MCurrentControlNotification notification;
  *notification.mutable_limit_changed() = limit;
  wire->Notify(notification);
  ASSERT_TRUE(mNotes.WaitForCount(1));
  EXPECT_THAT(mNotes.Get(), ElementsAre("16000"));
}

TEST_F(ClientBindings, DiagnosticsRequests)
{
  const auto wire = Connect<IDiagnostics>("Diagnostics", "Diagnostics");
  ipc::MDiagnosticsSignal signal;
  signal.set_identifier(ipc::ESignalWebsocketStatus);
  signal.add_string_values("[Cpo Backoffice] Open");
  signal.mutable_timestamp()->set_seconds(1700000000);
  EXPECT_EQ(wire->client->SendSignal(signal).result(), ipc::EResultSuccess);
  const auto sent = wire->Request<ipc::MDiagnosticsSignal>("SendSignal");
  EXPECT_EQ(sent.identifier(), 204);
  EXPECT_EQ(sent.string_values(0), "[Cpo Backoffice] Open");
  EXPECT_EQ(sent.timestamp().seconds(), 1700000000);

  ipc::MSignalAnswer answer;
  *answer.mutable_signal() = signal;
  wire->SetReply("GetSignal", answer);
  EXPECT_EQ(wire->client->GetSignal(ipc::ESignalWebsocketStatus, 1)->string_values_size(), 1);
  EXPECT_EQ(wire->Request<ipc::MSignalRequest>("GetSignal").identifier(), 204);
  EXPECT_EQ(wire->Request<ipc::MSignalRequest>("GetSignal").connector(), 1);
  wire->SetReply("GetSignal", ipc::MSignalAnswer());
  EXPECT_FALSE(wire->client->GetSignal(ipc::ESignalUptime, 0).has_value());

  ipc::MDiagnosticsSignals signals;
  *signals.add_signals() = signal;
  *signals.add_signals() = signal;
  wire->SetReply("GetActiveErrors", signals);
  EXPECT_THAT(wire->client->GetActiveErrors(), SizeIs(2));
  EXPECT_THAT(wire->client->GetActiveWarnings(), SizeIs(0));

  wire->SetReply("CreateFreezeFrame", Illegal());
  EXPECT_EQ(wire->client->CreateFreezeFrame("OCPP GetDiagnostics").result(), ipc::EResultIllegal);
  EXPECT_EQ(wire->Request<ipc::MFreezeFrameRequest>("CreateFreezeFrame").tag(), "OCPP GetDiagnostics");
}

TEST_F(ClientBindings, DiagnosticsNotifications)
{
  const auto wire = Connect<IDiagnostics>("Diagnostics", "Diagnostics");
  wire->client->SetNotificationHandler(
      [this](const ipc::MDiagnosticsSignal& signal, const ipc::MDiagnosticsNotificationType& type) {
        mNotes.Add(std::to_string(signal.identifier()) + " of type " + std::to_string(type.type()));
      });
  wire->client->SetFreezeFrameDoneHandler([this](const std::string& fileName) { mNotes.Add("file " + fileName); });

  ipc::MDiagnosticsNotification report;
  report.mutable_signal_report()->mutable_signal()->set_identifier(ipc::ESignalBoardControlEntersFatalErrorState);
  report.mutable_signal_report()->mutable_type()->set_type(ipc::EDiagnosticsNotificationTypeEvent);
  wire->Notify(report);
  // Numbers that this contract does not list are passed on.
  report.mutable_signal_report()->mutable_signal()->set_identifier(static_cast<ipc::ESignalIdentifier>(31000));
  report.mutable_signal_report()->mutable_type()->set_type(static_cast<ipc::EDiagnosticsNotificationType>(9));
  wire->Notify(report);
  ipc::MDiagnosticsNotification empty;
  empty.mutable_signal_report();
  wire->Notify(empty);
  ipc::MDiagnosticsNotification done;
  done.mutable_freeze_frame_done()->set_file_name("/data/log/frame.bin");
  wire->Notify(done);
  ASSERT_TRUE(mNotes.WaitForCount(3));
  EXPECT_THAT(mNotes.Get(), ElementsAre("1104 of type 2", "31000 of type 9", "file /data/log/frame.bin"));
}

TEST_F(ClientBindings, Feedback)
{
  const auto wire = Connect<IFeedback>("Feedback", "Feedback");
  wire->client->SetEventShownHandler([this](const ipc::MFbEventType& event, const ipc::MInstanceType& instance) {
    mNotes.Add(std::to_string(event.type()) + " at " + std::to_string(instance.instance()));
  });
  ipc::MFbEventType event;
  event.set_type(ipc::EFbEventTypeIdentify);
  ipc::MInstanceType instance;
  instance.set_instance(ipc::EInstanceTypeConnector1);
  wire->SetReply("TriggerEvent", Illegal());
  EXPECT_EQ(wire->client->TriggerEvent(event, instance).result(), ipc::EResultIllegal);
  const auto sent = wire->Request<ipc::MTriggerEvent>("TriggerEvent");
  EXPECT_EQ(sent.event().type(), ipc::EFbEventTypeIdentify);
  EXPECT_EQ(sent.instance().instance(), ipc::EInstanceTypeConnector1);

  ipc::MFeedbackNotification notification;
  *notification.mutable_event_shown() = sent;
  wire->Notify(notification);
  ASSERT_TRUE(mNotes.WaitForCount(1));
  EXPECT_THAT(mNotes.Get(), ElementsAre("3 at 1"));
}

TEST_F(ClientBindings, Meter)
{
  const auto wire = Connect<IMeter>("Meter", "Meter");
  wire->client->SetMeterDataHandler(
      [this](const ipc::MMeterData& data) { mNotes.Add(std::to_string(data.energy_register())); });
  ipc::MMeterData data;
  data.set_energy_register(9007199254740993);
  data.add_power(-230);
  data.set_session_start_time("2024-05-01T10:00:00Z");
  wire->SetReply("GetMeterData", data);
  const ipc::MMeterData reading = wire->client->GetMeterData();
  EXPECT_EQ(reading.energy_register(), 9007199254740993);
  EXPECT_EQ(reading.power(0), -230);
  EXPECT_EQ(reading.session_start_time(), "2024-05-01T10:00:00Z");
  EXPECT_FALSE(reading.has_session_end_time());
  EXPECT_FALSE(reading.has_session_start_energy());

  ipc::MMeterSessions sessions;
  sessions.add_sessions()->set_session_number(7);
  sessions.add_corrupted(true);
  sessions.set_meter_version("1.2");
  wire->SetReply("GetMeterSessions", sessions);
  EXPECT_EQ(wire->client->GetMeterSessions().sessions(0).session_number(), 7);
  EXPECT_FALSE(wire->client->GetMeterSessions().sessions(0).has_session_end_energy());

  ipc::MMeterNotification notification;
  *notification.mutable_meter_data() = data;
  wire->Notify(notification);
  ASSERT_TRUE(mNotes.WaitForCount(1));
  EXPECT_THAT(mNotes.Get(), ElementsAre("9007199254740993"));
}

TEST_F(ClientBindings, SafetyMcuComm)
{
  const auto wire = Connect<ISafetyMcuComm>("SafetyMcuComm", "SafetyMcuComm");
  wire->client->SetMcuTemperaturesHandler([this](const ipc::MMcuStatus& status) {
    mNotes.Add(status.has_relay2_temperature() ? "two sensors" : "one sensor");
  });
  wire->client->SetMcuErrorHandler([this](const ipc::MMcuError& error) { mNotes.Add(std::to_string(error.error())); });
  wire->client->SetRelayStatusHandler(
      [this](const ipc::MRelayStatus& status) { mNotes.Add(ipc::ERelayState_Name(status.state())); });

  ipc::MMcuStatus status;
  status.set_state(ipc::EMcuControlStateError);
  status.set_relay1_temperature(0);
  wire->SetReply("GetMcuStatus", status);
  EXPECT_EQ(wire->client->GetMcuStatus().state(), 15);
  EXPECT_TRUE(wire->client->GetMcuStatus().has_relay1_temperature());
  ipc::MRelayStatus relay;
  relay.set_state(ipc::ERelayStateEnabled);
  wire->SetReply("GetRelayStatus", relay);
  EXPECT_EQ(wire->client->GetRelayStatus().state(), ipc::ERelayStateEnabled);

  ipc::MSafetyMcuCommNotification notification;
  *notification.mutable_mcu_temperatures() = status;
  wire->Notify(notification);
  notification.mutable_mcu_error()->set_error(ipc::ESignalSafetyMcuCommCannotReachSmcu);
  wire->Notify(notification);
  *notification.mutable_relay_status() = relay;
  wire->Notify(notification);
  ASSERT_TRUE(mNotes.WaitForCount(3));
  EXPECT_THAT(mNotes.Get(), ElementsAre("one sensor", "1064", "ERelayStateEnabled"));
}

TEST_F(ClientBindings, SessionManagerRequests)
{
  const auto wire = Connect<ISessionManager>("SessionManager", "SessionManager");
  ISessionManager& client = *wire->client;

  ipc::MAuthorizeHandle handle;
  handle.set_request_id("handle-1");
  wire->SetReply("GetAuthorizeHandle", handle);
  EXPECT_EQ(client.GetAuthorizeHandle(), "handle-1");

  ipc::MAuthorizeRequest request;
  request.set_request_id("handle-1");
  request.set_approved(1);
  request.mutable_user_identification()->set_token("04E1");
  request.mutable_user_identification()->set_token_type(12);
  request.mutable_user_identification()->mutable_details()->set_authorization_source(
      ipc::EAuthorizationSourceRemoteStart);
  wire->SetReply("HandleAuthorizeRequest", Illegal());
  EXPECT_EQ(client.HandleAuthorizeRequest(request).result(), ipc::EResultIllegal);
  EXPECT_EQ(wire->Request<ipc::MAuthorizeRequest>("HandleAuthorizeRequest").SerializeAsString(),
            request.SerializeAsString());

  client.DeauthorizeSession(1, ipc::EDeauthorizeReasonRegistrationLost);
  EXPECT_EQ(wire->Request<ipc::MDeauthorizeSession>("DeauthorizeSession").reason(), 9);
  EXPECT_EQ(wire->Request<ipc::MDeauthorizeSession>("DeauthorizeSession").connector(), 1);

  ipc::MConnectorReservation reservation;
  reservation.set_id(5);
  reservation.set_id_tag("04E1");
  wire->SetReply("ReserveConnector", Illegal());
  EXPECT_EQ(client.ReserveConnector(reservation).result(), ipc::EResultIllegal);
  EXPECT_EQ(wire->Request<ipc::MConnectorReservation>("ReserveConnector").id(), 5);

  client.SetParentIdTag(1, "group");
  EXPECT_EQ(wire->Request<ipc::MParentIdTag>("SetParentIdTag").parent_id_tag(), "group");
  EXPECT_EQ(wire->Request<ipc::MParentIdTag>("SetParentIdTag").connector(), 1);

  ipc::MConnectorInfo info;
  info.set_state(ipc::EConnectorStateCharging);
  wire->SetReply("GetConnectorInfo", info);
  EXPECT_EQ(client.GetConnectorInfo(1).state(), ipc::EConnectorStateCharging);
  EXPECT_FALSE(client.GetConnectorInfo(1).has_id_tag());
}

TEST_F(ClientBindings, SessionManagerSwitches)
{
  const auto wire = Connect<ISessionManager>("SessionManager", "SessionManager");
  ISessionManager& client = *wire->client;
  for (const char* method :
       {"SetConnectorAvailability", "SetMessageStorageAvailable", "RequestUnlock", "SetExternalChargeApproval"}) {
    wire->SetReply(method, Illegal());
  }
  EXPECT_EQ(client.SetConnectorAvailability(1, true).result(), ipc::EResultIllegal);
  EXPECT_TRUE(wire->Request<ipc::MConnectorAvailability>("SetConnectorAvailability").operative());
  EXPECT_EQ(wire->Request<ipc::MConnectorAvailability>("SetConnectorAvailability").connector(), 1);
  EXPECT_EQ(client.SetMessageStorageAvailable(true).result(), ipc::EResultIllegal);
  EXPECT_TRUE(wire->Request<ipc::MMessageStorageAvailable>("SetMessageStorageAvailable").available());
  EXPECT_EQ(client.RequestUnlock(2).result(), ipc::EResultIllegal);
  EXPECT_EQ(wire->Request<ipc::MUnlockRequest>("RequestUnlock").connector(), 2);
  EXPECT_EQ(client.SetExternalChargeApproval(true).result(), ipc::EResultIllegal);
  EXPECT_TRUE(wire->Request<ipc::MExternalChargeApproval>("SetExternalChargeApproval").approved());
}

TEST_F(ClientBindings, SessionManagerNotifications)
{
  const auto wire = Connect<ISessionManager>("SessionManager", "SessionManager");
  wire->client->SetStateChangedHandler(
      [this](const ipc::MConnectorState& state) { mNotes.Add(ipc::EConnectorState_Name(state.state())); });
  wire->client->SetSessionStartedHandler(
      [this](const ipc::MMeterData& data) { mNotes.Add("started at " + std::to_string(data.energy_register())); });
  wire->client->SetSessionStoppedHandler([this](const ipc::MMeterData& data, ipc::EStopSessionReason reason) {
    mNotes.Add(ipc::EStopSessionReason_Name(reason) + " at " + std::to_string(data.session_end_energy()));
  });

  ipc::MSessionManagerNotification notification;
  notification.mutable_state_changed()->set_state(ipc::EConnectorStateStarting);
  wire->Notify(notification);
  notification.mutable_session_started()->set_energy_register(1000);
  wire->Notify(notification);
  notification.mutable_session_stopped()->mutable_meter_data()->set_session_end_energy(2000);
  notification.mutable_session_stopped()->set_reason(ipc::EStopSessionReasonDeAuthorized);
  wire->Notify(notification);
  notification.mutable_session_stopped()->set_reason(static_cast<ipc::EStopSessionReason>(11));
  wire->Notify(notification);
  notification.mutable_session_stopped()->Clear();
  wire->Notify(notification);
  ASSERT_TRUE(mNotes.WaitForCount(5));
  EXPECT_THAT(mNotes.Get(),
              ElementsAre("EConnectorStateStarting", "started at 1000", "EStopSessionReasonDeAuthorized at 2000",
                          "EStopSessionReasonOther at 2000", "EStopSessionReasonOther at 0"));
}

TEST_F(ClientBindings, SessionManagerAuth)
{
  const auto wire = Connect<ISessionManagerAuth>("SessionManagerAuth", "SessionManagerAuth");
  wire->client->SetAuthorizeIdHandler([this](uint32_t connector, const ipc::MAuthorizeRequest& request) {
    mNotes.Add(request.user_identification().token() + " at " + std::to_string(connector));
  });
  ipc::MAuthorizeRequest request;
  request.mutable_user_identification()->set_token("04E1");
  wire->SetReply("HandleAuthorizeRequest", Illegal());
  EXPECT_EQ(wire->client->HandleAuthorizeRequest(request).result(), ipc::EResultIllegal);
  EXPECT_EQ(wire->Request<ipc::MAuthorizeRequest>("HandleAuthorizeRequest").user_identification().token(), "04E1");

  ipc::MSessionManagerAuthNotification withoutRequest;
  withoutRequest.mutable_authorize_id()->set_connector(1);
  wire->Notify(withoutRequest);
  ipc::MSessionManagerAuthNotification notification;
  notification.mutable_authorize_id()->set_connector(1);
  *notification.mutable_authorize_id()->mutable_request() = request;
  wire->Notify(notification);
  ASSERT_TRUE(mNotes.WaitForCount(1));
  EXPECT_THAT(mNotes.Get(), ElementsAre("04E1 at 1"));
}

}  // namespace

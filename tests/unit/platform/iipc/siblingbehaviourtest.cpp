// What every implementation of a sibling interface does, the one over gRPC and the fake: answers, failures, handlers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/iipc/events.h"
#include "tests/unit/platform/iipc/genericsibling.h"
#include "tests/unit/platform/iipc/hostfixture.h"
#include "tests/unit/support/fakesiblings.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The two interfaces that between them have every kind of operation, and the far end as a test wants it.
class IFarEnd {
 public:
  virtual ~IFarEnd() = default;

  virtual ISessionManager& SessionManager() = 0;
  virtual IDiagnostics& Diagnostics() = 0;

  virtual void SetUnreachable() = 0;
  virtual void SetExternalChargeApprovalIsIllegal() = 0;
  virtual void SetConnectorInfo(const ipc::MConnectorInfo& info) = 0;
  virtual void SetAuthorizeHandle(const std::string& handle) = 0;
  virtual void SetSignal(const ipc::MDiagnosticsSignal& signal) = 0;
  virtual void SetActiveErrors(const std::vector<ipc::MDiagnosticsSignal>& signals) = 0;
  virtual void SendStateChanged(ipc::EConnectorState state) = 0;
  virtual void SendSessionStarted() = 0;
  // Deauthorizations that have arrived, as "connector/reason".
  virtual std::vector<std::string> Deauthorizations() = 0;
};

class CFakeFarEnd : public IFarEnd {
 public:
  ISessionManager& SessionManager() override { return mSessionManager; }
  IDiagnostics& Diagnostics() override { return mDiagnostics; }

  void SetUnreachable() override
  {
    mSessionManager.SetUnreachable();
    mDiagnostics.SetUnreachable();
  }
  void SetExternalChargeApprovalIsIllegal() override
  {
    mSessionManager.SetResult("SetExternalChargeApproval", ipc::EResultIllegal);
  }
  void SetConnectorInfo(const ipc::MConnectorInfo& info) override { mSessionManager.SetConnectorInfo(info); }
  void SetAuthorizeHandle(const std::string& handle) override { mSessionManager.SetAuthorizeHandle(handle); }
  void SetSignal(const ipc::MDiagnosticsSignal& signal) override { mDiagnostics.SetSignal(signal); }
  void SetActiveErrors(const std::vector<ipc::MDiagnosticsSignal>& signals) override
  {
    mDiagnostics.SetActiveErrors(signals);
  }
  void SendStateChanged(ipc::EConnectorState state) override { mSessionManager.EmitStateChanged(state); }
  void SendSessionStarted() override { mSessionManager.EmitSessionStarted(ipc::MMeterData()); }
  std::vector<std::string> Deauthorizations() override
  {
    std::vector<std::string> texts;
    for (const auto& [connector, reason] : mSessionManager.Deauthorizations()) {
      texts.push_back(std::to_string(connector) + "/" + std::to_string(reason));
    }
    return texts;
  }

 private:
  CFakeSessionManager mSessionManager;
  CFakeDiagnostics mDiagnostics;
};

constexpr char kSessionManager[] = "/secc.ipc.v1.SessionManager/";
constexpr char kDiagnostics[] = "/secc.ipc.v1.Diagnostics/";

class CGrpcFarEnd : public IFarEnd {
 public:
  CGrpcFarEnd()
  {
    std::filesystem::create_directories(mRoot.GetPath() / "run" / "secc");
    Serve();
    mNotificationThread = std::thread([this] { mHost.HandleClientNotifications(); });
    EXPECT_TRUE(mSubscribed.WaitForCount(2));
  }
  ~CGrpcFarEnd() override
  {
    mHost.Stop();
    mNotificationThread.join();
  }
  CGrpcFarEnd(const CGrpcFarEnd&) = delete;
  CGrpcFarEnd& operator=(const CGrpcFarEnd&) = delete;

  ISessionManager& SessionManager() override { return *mSessionManager; }
  IDiagnostics& Diagnostics() override { return *mDiagnostics; }

  void SetUnreachable() override { mSibling.reset(); }
  void SetExternalChargeApprovalIsIllegal() override
  {
    ipc::MResult result;
    result.set_result(ipc::EResultIllegal);
    SetReply(kSessionManager, "SetExternalChargeApproval", result);
  }
  void SetConnectorInfo(const ipc::MConnectorInfo& info) override
  {
    SetReply(kSessionManager, "GetConnectorInfo", info);
  }
  void SetAuthorizeHandle(const std::string& handle) override
  {
    ipc::MAuthorizeHandle message;
    message.set_request_id(handle);
    SetReply(kSessionManager, "GetAuthorizeHandle", message);
  }
  void SetSignal(const ipc::MDiagnosticsSignal& signal) override
  {
    ipc::MSignalAnswer answer;
    *answer.mutable_signal() = signal;
    SetReply(kDiagnostics, "GetSignal", answer);
  }
  void SetActiveErrors(const std::vector<ipc::MDiagnosticsSignal>& signals) override
  {
    ipc::MDiagnosticsSignals message;
    for (const auto& signal : signals) *message.add_signals() = signal;
    SetReply(kDiagnostics, "GetActiveErrors", message);
  }
  void SendStateChanged(ipc::EConnectorState state) override
  {
    ipc::MSessionManagerNotification notification;
    notification.mutable_state_changed()->set_state(state);
    mSibling->Notify(std::string(kSessionManager) + "Notifications", notification.SerializeAsString());
  }
  void SendSessionStarted() override
  {
    ipc::MSessionManagerNotification notification;
    notification.mutable_session_started();
    mSibling->Notify(std::string(kSessionManager) + "Notifications", notification.SerializeAsString());
  }
  std::vector<std::string> Deauthorizations() override
  {
    std::vector<std::string> texts;
    for (const auto& [method, bytes] : mSibling->Calls()) {
      ipc::MDeauthorizeSession request;
      if (method != std::string(kSessionManager) + "DeauthorizeSession" || !request.ParseFromString(bytes)) continue;
      texts.push_back(std::to_string(request.connector()) + "/" + std::to_string(request.reason()));
    }
    return texts;
  }

 private:
  void Serve()
  {
    const std::string address = "unix:" + (mRoot.GetPath() / "run" / "both.sock").string();
    mSibling = std::make_unique<CGenericSibling>(address, [this](const std::string& method, const std::string&) {
      if (method.find("/Notifications") != std::string::npos) mSubscribed.Add(0);
    });
  }
  void SetReply(const char* service, const std::string& method, const google::protobuf::MessageLite& reply)
  {
    mSibling->SetReply(service + method, reply.SerializeAsString());
  }

  const CTemporaryRoot mRoot;
  CEvents<int> mSubscribed;
  std::unique_ptr<CGenericSibling> mSibling;
  Host mHost{mRoot.WriteConfiguration(
      R"({"services": {"SessionManager": "unix:run/both.sock", "Diagnostics": "unix:run/both.sock"}})")};
  const std::shared_ptr<ISessionManager> mSessionManager =
      mHost.CreateClient<ISessionManager>("SessionManager")->GetInterface();
  const std::shared_ptr<IDiagnostics> mDiagnostics = mHost.CreateClient<IDiagnostics>("Diagnostics")->GetInterface();
  std::thread mNotificationThread;
};

template <typename TFarEnd>
class SiblingBehaviour : public ::testing::Test {
 protected:
  static ipc::MDiagnosticsSignal Signal(ipc::ESignalIdentifier identifier)
  {
    ipc::MDiagnosticsSignal signal;
    signal.set_identifier(identifier);
    signal.add_bool_values(true);
    return signal;
  }

  CEvents<std::string> mNotes;
  TFarEnd mFarEnd;
};

using FarEnds = ::testing::Types<CFakeFarEnd, CGrpcFarEnd>;
TYPED_TEST_SUITE(SiblingBehaviour, FarEnds);

TYPED_TEST(SiblingBehaviour, EveryCallToASiblingOutOfReachThrows)
{
  this->mFarEnd.SetUnreachable();
  ISessionManager& sessionManager = this->mFarEnd.SessionManager();
  EXPECT_THROW(sessionManager.GetConnectorInfo(1), Rpc::CommunicationException);
  EXPECT_THROW(sessionManager.GetAuthorizeHandle(), Rpc::CommunicationException);
  EXPECT_THROW(sessionManager.SetExternalChargeApproval(true), Rpc::CommunicationException);
  EXPECT_THROW(sessionManager.DeauthorizeSession(1, ipc::EDeauthorizeReasonRemoteStop), Rpc::CommunicationException);
  IDiagnostics& diagnostics = this->mFarEnd.Diagnostics();
  EXPECT_THROW(diagnostics.SendSignal(this->Signal(ipc::ESignalUptime)), Rpc::CommunicationException);
  EXPECT_THROW(diagnostics.GetSignal(ipc::ESignalUptime, 0), Rpc::CommunicationException);
  EXPECT_THROW(diagnostics.GetActiveErrors(), Rpc::CommunicationException);
}

TYPED_TEST(SiblingBehaviour, AResultIsSuccessUnlessTheSiblingSaysOtherwise)
{
  EXPECT_EQ(this->mFarEnd.SessionManager().SetExternalChargeApproval(true).result(), ipc::EResultSuccess);
  this->mFarEnd.SetExternalChargeApprovalIsIllegal();
  EXPECT_EQ(this->mFarEnd.SessionManager().SetExternalChargeApproval(true).result(), ipc::EResultIllegal);
  EXPECT_EQ(this->mFarEnd.SessionManager().SetMessageStorageAvailable(true).result(), ipc::EResultSuccess);
}

TYPED_TEST(SiblingBehaviour, AnswersComeBackAndWhatIsAbsentStaysAbsent)
{
  EXPECT_EQ(this->mFarEnd.SessionManager().GetConnectorInfo(1).state(), ipc::EConnectorStateUnknown);
  EXPECT_FALSE(this->mFarEnd.SessionManager().GetConnectorInfo(1).has_id_tag());
  ipc::MConnectorInfo info;
  info.set_state(ipc::EConnectorStateCharging);
  info.set_id_tag("04E1");
  this->mFarEnd.SetConnectorInfo(info);
  EXPECT_EQ(this->mFarEnd.SessionManager().GetConnectorInfo(1).state(), ipc::EConnectorStateCharging);
  EXPECT_EQ(this->mFarEnd.SessionManager().GetConnectorInfo(1).id_tag(), "04E1");
  this->mFarEnd.SetAuthorizeHandle("");
  EXPECT_EQ(this->mFarEnd.SessionManager().GetAuthorizeHandle(), "");

  EXPECT_FALSE(this->mFarEnd.Diagnostics().GetSignal(ipc::ESignalUptime, 0).has_value());
  this->mFarEnd.SetSignal(this->Signal(ipc::ESignalUptime));
  EXPECT_TRUE(this->mFarEnd.Diagnostics().GetSignal(ipc::ESignalUptime, 0).has_value());
  EXPECT_THAT(this->mFarEnd.Diagnostics().GetActiveErrors(), IsEmpty());
  this->mFarEnd.SetActiveErrors(
      {this->Signal(ipc::ESignalBoardControlEntersFatalErrorState), this->Signal(ipc::ESignalUptime)});
  EXPECT_THAT(this->mFarEnd.Diagnostics().GetActiveErrors(), SizeIs(2));
}

TYPED_TEST(SiblingBehaviour, AOneWayRequestHasArrivedWhenItReturns)
{
  this->mFarEnd.SessionManager().DeauthorizeSession(1, ipc::EDeauthorizeReasonStopEnergy);
  EXPECT_THAT(this->mFarEnd.Deauthorizations(), ElementsAre("1/2"));
}

TYPED_TEST(SiblingBehaviour, NotificationsReachTheHandlerThatIsSetAndNoneWithoutOne)
{
  ISessionManager& sessionManager = this->mFarEnd.SessionManager();
  sessionManager.SetSessionStartedHandler([this](const ipc::MMeterData&) { this->mNotes.Add("started"); });
  this->mFarEnd.SendStateChanged(ipc::EConnectorStateAvailable);
  this->mFarEnd.SendSessionStarted();
  ASSERT_TRUE(this->mNotes.WaitForCount(1));

  sessionManager.SetStateChangedHandler(
      [this](const ipc::MConnectorState& state) { this->mNotes.Add(std::to_string(state.state())); });
  this->mFarEnd.SendStateChanged(ipc::EConnectorStateStarting);
  ASSERT_TRUE(this->mNotes.WaitForCount(2));
  sessionManager.SetStateChangedHandler([this](const ipc::MConnectorState&) { this->mNotes.Add("replaced"); });
  this->mFarEnd.SendStateChanged(ipc::EConnectorStateCharging);
  ASSERT_TRUE(this->mNotes.WaitForCount(3));
  EXPECT_THAT(this->mNotes.Get(), ElementsAre("started", "11", "replaced"));
}

}  // namespace

#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/iipc/isessionmanager.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/sessionstore.h"
#include "src/components/standingword.h"

class ISystemAccessInterface;

// See ISessionClientHandler. The connector's state machine lives in the session manager; this class mirrors it, and
// turns its session events into transactions.
class CSessionClientHandler : public ISessionClientHandler {
 public:
  CSessionClientHandler(uint32_t connector, std::shared_ptr<ISessionManager> sessionManager,
                        ISystemAccessInterface& systemAccess);

  bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override;
  void DeauthorizeSession(EDeauthorizeReason reason) override;
  std::string GetAuthorizeHandle() override;
  bool ReserveConnector(const std::string& idTag, int64_t reservationId, const std::string& expiry) override;
  bool SetConnectorAvailability(bool operative) override;
  bool SetMessageStorageAvailable(bool available) override;
  bool RequestUnlock(uint32_t connector) override;
  bool SetExternalChargeApproval(bool approved, EBackofficeId backofficeId) override;
  void SetParentIdTag(const std::string& parentIdTag) override;
  void HandleStateChanged(const ipc::MConnectorState& state) override;
  void HandleSessionStarted(const ipc::MMeterData& meterData) override;
  void HandleSessionStopped(const ipc::MMeterData& meterData, uint32_t reason) override;
  void Init() override;
  int32_t GetConnectorState() override;
  bool IsSessionActive() override;
  bool IsCharging() override;
  int64_t GetTransactionId() override;
  void SetTransactionId(int64_t id) override;
  void ClearTransactionId() override;
  std::string GetSessionIdTag() override;
  bool IsReportable(int32_t state) override;
  int32_t MapToSystemState(int32_t state) override;
  void BeginTransaction(const std::string& key) override;
  std::string GetTransactionKey() override;
  void SettleTransaction(const std::string& key, int64_t id) override;
  int64_t GetTransactionIdOf(const std::string& key) override;

 private:
  // Runs `call`; false, and a line in the log, when the session manager cannot be reached.
  bool Reach(const std::function<void()>& call) const;
  bool Request(const std::function<ipc::MResult()>& call) const;
  // Like Request, and empty when the session manager cannot be reached.
  std::optional<bool> Bring(const std::function<ipc::MResult()>& call) const;
  bool IsStartOnItsWay(const CSessionStore::SState& state) const;
  bool IsStopOnItsWay(const CSessionStore::SState& state) const;
  bool IsReported(const std::string& start) const;
  bool HasEnded(const std::string& start) const;
  bool IsRunning(const std::string& start) const;
  // True when a session is open that is certainly not the one of that start.
  bool IsOtherOpen(const std::string& start) const;
  void CloseLost(const ipc::MMeterData& next);
  void PushStop(const ipc::MMeterData& meterData, uint32_t reason);
  bool IsEndToldAgain(const ipc::MMeterData& end) const;
  bool IsOver(const ipc::MMeterData& start) const;

  // Constant after construction.
  const uint32_t mConnector;
  const std::string mLogPrefix;
  const std::shared_ptr<ISessionManager> mSessionManager;
  ISystemAccessInterface& mSystemAccess;

  CSessionStore mStore;

  // Without them no session begins, so a session manager that was away must hear of them when it is back.
  CStandingWord mStorageAvailable;
  CStandingWord mChargeApproval;

  // True across a restart of the process during a session, until that session stops. Written by Init and on the
  // notification thread.
  std::atomic<bool> mHasOpenTransaction{false};

  // The thread that makes a stop which nobody's tag is known of.
  std::atomic<std::thread::id> mWithoutTag{std::thread::id()};

  // Of the notification thread.
  std::vector<SSessionRecord::SEnded> mFormerlyEnded;  // sessions that former lives of the process reported
  std::string mStart;                                  // of the session whose StartTransaction is being made
  bool mHasHeardOfStart = false;                       // since Init, of a session that had not ended
};

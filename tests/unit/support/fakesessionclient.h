#pragma once

#include <atomic>

#include "src/components/isessionclienthandler.h"

// One connector whose transaction id a test sets; all else is as with an absent session manager. Safe from any thread.
class CFakeSessionClient : public ISessionClientHandler {
 public:
  bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest&) override { return false; }
  void DeauthorizeSession(EDeauthorizeReason) override {}
  std::string GetAuthorizeHandle() override { return {}; }
  bool ReserveConnector(const std::string&, int64_t, const std::string&) override { return false; }
  bool SetConnectorAvailability(bool) override { return false; }
  bool SetMessageStorageAvailable(bool) override { return false; }
  bool RequestUnlock(uint32_t) override { return false; }
  bool SetExternalChargeApproval(bool, EBackofficeId) override { return false; }
  void SetParentIdTag(const std::string&) override {}
  void HandleStateChanged(const ipc::MConnectorState&) override {}
  void HandleSessionStarted(const ipc::MMeterData&) override {}
  void HandleSessionStopped(const ipc::MMeterData&, uint32_t) override {}
  void Init() override {}
  int32_t GetConnectorState() override { return 0; }
  bool IsSessionActive() override { return false; }
  bool IsCharging() override { return false; }
  int64_t GetTransactionId() override { return mTransactionId; }
  void SetTransactionId(int64_t id) override { mTransactionId = id; }
  void ClearTransactionId() override { mTransactionId = -1; }
  std::string GetSessionIdTag() override { return {}; }
  bool IsReportable(int32_t state) override { return state >= 1 && state <= 10; }
  int32_t MapToSystemState(int32_t state) override { return state; }
  // Every message belongs to the current transaction.
  void BeginTransaction(const std::string&) override {}
  std::string GetTransactionKey() override { return kAnyTransaction; }
  void SettleTransaction(const std::string&, int64_t id) override { SetTransactionId(id); }
  int64_t GetTransactionIdOf(const std::string&) override { return GetTransactionId(); }

 private:
  std::atomic<int64_t> mTransactionId{-1};
};

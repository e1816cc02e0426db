#pragma once

#include <map>

#include "src/components/operation/ocpp_common/ioperationfactory.h"
#include "src/components/operation/ocpp_common/operationtable.h"

// A factory over a table. The factory of an OCPP version derives from it and brings the table; log lines come from its
// own source. Nothing changes after construction, so any thread may create operations.
class CTableFactory : public IOperationFactory {
 public:
  std::shared_ptr<COutCallOperationBase> CreateOutOperation(EOutOpType type) override;
  std::shared_ptr<COutCallOperationBase> CreateOutOperation(const SMessage& message) override;
  std::shared_ptr<CInCallOperationBase> CreateInOperation(const std::string& id, EInOpType type,
                                                          EBackofficeId backoffice) override;
  std::shared_ptr<CErrorOperation> CreateErrorResponse(const std::string& id, EInCallError error) override;
  bool IsInfoLogLevel(EInOpType type) const override;

 protected:
  // `systemAccess` is given to every operation; it is borrowed and outlives them.
  CTableFactory(ISystemAccessInterface* systemAccess, const SOperationTable& table);

  virtual void LogTrace(const char* method) const = 0;
  virtual void LogError(const std::string& text) const = 0;

 private:
  // Logs and gives nothing for any exception of the payload layer.
  template <typename TCreate>
  auto Guard(const TCreate& create) const -> decltype(create());

  // Constant after construction.
  ISystemAccessInterface* const mSystemAccess;
  std::map<EOutOpType, COutCallCreator> mOutCalls;
  std::map<EOutOpType, CStoredCallCreator> mStoredCalls;
  std::map<EInOpType, SInCallEntry> mInCalls;
};

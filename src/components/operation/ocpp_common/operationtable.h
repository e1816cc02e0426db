#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "src/components/operation/ocpp_common/operationtypes.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

class CInCallOperationBase;
class ISystemAccessInterface;

// The operations of one OCPP version, as data: which class stands for which action. A creator that gives nothing stands
// for an action that is known and not offered; an action without an entry is not to be asked for at all.

// A new call with the given message id.
using COutCallCreator = std::function<std::shared_ptr<COutCallOperationBase>(ISystemAccessInterface*, std::string id)>;
// The call that a stored message was, with its id.
using CStoredCallCreator = std::function<std::shared_ptr<COutCallOperationBase>(ISystemAccessInterface*, std::string id,
                                                                                SStoredPayload payload)>;
using CInCallCreator = std::function<std::shared_ptr<CInCallOperationBase>(ISystemAccessInterface*, std::string id)>;

struct SOutCallEntry {
  EOutOpType type;
  COutCallCreator create;
};

struct SStoredCallEntry {
  EOutOpType type;
  CStoredCallCreator create;
};

struct SInCallEntry {
  EInOpType type;
  CInCallCreator create;
  bool isInfoLogLevel = true;  // what the created operation says of itself
};

struct SOperationTable {
  std::vector<SOutCallEntry> outCalls;
  std::vector<SStoredCallEntry> storedCalls;
  std::vector<SInCallEntry> inCalls;
};

namespace OperationTable {

template <typename TOperation>
std::shared_ptr<COutCallOperationBase> NewOutCall(ISystemAccessInterface* systemAccess, std::string id)
{
  return std::make_shared<TOperation>(systemAccess, std::move(id));
}

template <typename TOperation>
std::shared_ptr<COutCallOperationBase> RestoreOutCall(ISystemAccessInterface* systemAccess, std::string id,
                                                      SStoredPayload payload)
{
  return std::make_shared<TOperation>(systemAccess, std::move(id), std::move(payload));
}

template <typename TOperation>
std::shared_ptr<CInCallOperationBase> NewInCall(ISystemAccessInterface* systemAccess, std::string id)
{
  return std::make_shared<TOperation>(systemAccess, std::move(id));
}

// For an operation that shares something with all others of its kind: the third argument of its constructor.
template <typename TOperation, typename TShared>
CInCallCreator NewInCallWith(std::shared_ptr<TShared> shared)
{
  return [shared = std::move(shared)](ISystemAccessInterface* systemAccess, std::string id) {
    return std::make_shared<TOperation>(systemAccess, std::move(id), shared);
  };
}

inline std::shared_ptr<COutCallOperationBase> NoOutCall(ISystemAccessInterface*, const std::string&) { return nullptr; }
inline std::shared_ptr<CInCallOperationBase> NoInCall(ISystemAccessInterface*, const std::string&) { return nullptr; }

}  // namespace OperationTable

#pragma once

#include <string>
#include <typeinfo>
#include <utility>

#include "src/components/backofficeid.h"

class ISystemAccessInterface;

// One OCPP message on its way in or out. Held by shared pointer; used by one thread at a time: its creator, then the
// sender thread, then the frame handler.
class COperationBase {
 public:
  // `systemAccess` is borrowed and outlives the operation; null for an operation that needs nothing of the system.
  COperationBase(ISystemAccessInterface* systemAccess, std::string messageId)
      : mMessageId(std::move(messageId)), mSystemAccess(systemAccess)
  {}
  virtual ~COperationBase() = default;

  // The OCPP-J message id, the same over all resends.
  virtual const std::string& GetMessageId() const { return mMessageId; }
  // The dynamic type, which filters compare.
  virtual const std::type_info& GetTypeInfo() const { return typeid(*this); }
  virtual void SetMessageId(const std::string& messageId) { mMessageId = messageId; }

  EBackofficeId GetBackofficeId() const { return mBackofficeId; }
  void SetBackofficeId(EBackofficeId id) { mBackofficeId = id; }

 protected:
  COperationBase(const COperationBase&) = default;
  COperationBase& operator=(const COperationBase&) = delete;

  std::string mMessageId;
  EBackofficeId mBackofficeId = EBackofficeId::ENone;
  ISystemAccessInterface* const mSystemAccess;
};

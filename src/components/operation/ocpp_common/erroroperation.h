#pragma once

#include <string>
#include <utility>

#include "src/components/operation/ocpp_common/framewriter.h"
#include "src/components/operation/ocpp_common/incallerror.h"
#include "src/components/operation/ocpp_common/operationbase.h"

// A CALLERROR to be sent in answer to the CALL with the id `messageId`.
class CErrorOperation : public COperationBase {
 public:
  CErrorOperation(std::string messageId, CInCallError error)
      : COperationBase(nullptr, std::move(messageId)), mError(std::move(error))
  {}

  const CInCallError& GetError() const { return mError; }
  // The whole CALLERROR frame.
  std::string GetFrame() const
  {
    return FrameWriter::WriteCallError(mMessageId, mError.GetCode(), mError.GetDescription(), mError.GetDetails());
  }

 private:
  const CInCallError mError;
};

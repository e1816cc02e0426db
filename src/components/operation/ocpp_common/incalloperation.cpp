#include "src/components/operation/ocpp_common/incalloperation.h"

#include "platform/iclogger/log.h"
#include "src/components/operation/ocpp_common/framewriter.h"

std::string CInCallOperationBase::WriteError(const CInCallError& error) const
{
  return FrameWriter::WriteCallError(mMessageId, error.GetCode(), error.GetDescription(), error.GetDetails());
}

std::string CInCallOperationBase::WriteResult(const std::string& payload) const
{
  return FrameWriter::WriteCallResult(mMessageId, payload);
}

CInCallError CInCallOperationBase::ErrorOfCurrentException()
{
  try {
    throw;
  } catch (const CInCallError& error) {
    return error;
  } catch (const std::exception& error) {
    LOG_ERROR("Operation action failed. Error: {}", error.what());
  } catch (...) {
    LOG_ERROR("Operation action failed because of an unexpected exception.");
  }
  return CInCallError(EInCallError::EInternalError);
}

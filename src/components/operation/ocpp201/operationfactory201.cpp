#include "src/components/operation/ocpp201/operationfactory201.h"

#include "platform/iclogger/log.h"

namespace {

SOperationTable GetTable()
{
  SOperationTable table;
  table.inCalls = {
      // Without a class so far: it gets its creator with the class.
      {EInOpType::EGetVariables, OperationTable::NoInCall},
  };
  return table;
}

}  // namespace

COperationFactory201::COperationFactory201(ISystemAccessInterface* systemAccess)
    : CTableFactory(systemAccess, GetTable())
{}

void COperationFactory201::LogTrace(const char* method) const
{
  LOG_TRACE("{}{}::{}", "", "COperationFactory201", method);
}

void COperationFactory201::LogError(const std::string& text) const { LOG_ERROR("{}", text); }

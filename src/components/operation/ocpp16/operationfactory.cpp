#include "src/components/operation/ocpp16/operationfactory.h"

#include "platform/iclogger/log.h"
#include "src/components/operation/ocpp16/operationtable.h"

COperationFactory::COperationFactory(ISystemAccessInterface* systemAccess)
    : CTableFactory(systemAccess, Ocpp16::GetOperationTable())
{}

void COperationFactory::LogTrace(const char* method) const { LOG_TRACE("{}{}::{}", "", "COperationFactory", method); }

void COperationFactory::LogError(const std::string& text) const { LOG_ERROR("{}", text); }

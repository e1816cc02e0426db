#pragma once

#include "src/components/operation/ocpp_common/tablefactory.h"

// Makes the operations of OCPP 1.6 and its security extension; which ones, says operationtable.cpp.
class COperationFactory : public CTableFactory {
 public:
  explicit COperationFactory(ISystemAccessInterface* systemAccess);

 private:
  void LogTrace(const char* method) const override;
  void LogError(const std::string& text) const override;
};

#pragma once

#include "src/components/operation/ocpp_common/tablefactory.h"

// Makes the operations of OCPP 2.0.1, of which the station answers GetVariables alone.
class COperationFactory201 : public CTableFactory {
 public:
  explicit COperationFactory201(ISystemAccessInterface* systemAccess);

 private:
  void LogTrace(const char* method) const override;
  void LogError(const std::string& text) const override;
};

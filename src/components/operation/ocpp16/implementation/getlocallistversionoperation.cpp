#include "src/components/operation/ocpp16/implementation/getlocallistversionoperation.h"

#include "platform/iclogger/log.h"
#include "src/components/authorization/locallistversion.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/isystemaccessinterface.h"

using Ocpp16::GetLocalListVersion::getLocalListVersionRequest;
using Ocpp16::GetLocalListVersion::getLocalListVersionResponse;

void CGetLocalListVersionInCall::Action(const getLocalListVersionRequest&, getLocalListVersionResponse& response)
{
  LOG_ENTRY("CGetLocalListVersionInCall");
  auto* manager = mSystemAccess->GetAuthorizationManager();
  response.listVersion = manager != nullptr ? manager->GetLocalListVersion() : LocalListVersion::kNotSupported;
}

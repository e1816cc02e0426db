#include "src/secc/secchsmactionhandler.h"

#include <utility>

CSeccHsmActionHandler::CSeccHsmActionHandler(IClock& clock, std::shared_ptr<IcConfig::IConfig> settings,
                                             std::shared_ptr<IOcppComponent> ocppComponent)
    : CWorker(clock, "alive"), mSettings(std::move(settings)), mOcppComponent(std::move(ocppComponent))
{
  Start();
}

CSeccHsmActionHandler::~CSeccHsmActionHandler() { Stop(); }

void CSeccHsmActionHandler::OnEntryEnabled()
{
  if (mSettings->GetBool("SeccOcppActive", false) || mSettings->GetBool("SboAllowed", false)) mOcppComponent->Enable();
}

void CSeccHsmActionHandler::OnExitEnabled() { mOcppComponent->Disable(); }

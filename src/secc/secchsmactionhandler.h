#pragma once

#include <memory>

#include "platform/icconfig/icconfig.h"
#include "src/components/iocppcomponent.h"
#include "statemachines/hsmalive.h"
#include "statemachines/secchsm.h"

// What the lifecycle machine does in this process: OCPP starts with the entry of Enabled and stops with its exit.
class CSeccHsmActionHandler : public CHsmAlive<CSeccHsmActionHandlerBase> {
 public:
  // Starts the handler's worker.
  CSeccHsmActionHandler(IClock& clock, std::shared_ptr<IcConfig::IConfig> settings,
                        std::shared_ptr<IOcppComponent> ocppComponent);
  // Ends the worker first: its alive call uses this object.
  ~CSeccHsmActionHandler() override;
  CSeccHsmActionHandler(const CSeccHsmActionHandler&) = delete;
  CSeccHsmActionHandler& operator=(const CSeccHsmActionHandler&) = delete;

  void OnEntryEnabled() override;
  void OnExitEnabled() override;
  bool IsAlive() override { return true; }

 private:
  // Constant after construction.
  const std::shared_ptr<IcConfig::IConfig> mSettings;
  const std::shared_ptr<IOcppComponent> mOcppComponent;
};

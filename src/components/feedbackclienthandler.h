#pragma once

#include <memory>

#include "platform/iipc/ifeedback.h"
#include "src/components/ifeedbackclienthandler.h"

// See IFeedbackClientHandler. Safe from any thread; a call takes as long as the feedback process needs to answer, at
// most the deadline of a call.
class CFeedbackClientHandler : public IFeedbackClientHandler {
 public:
  explicit CFeedbackClientHandler(std::shared_ptr<IFeedback> feedback);

  void TriggerFeedbackEvent(ipc::EFbEventType type, ipc::EInstanceType instance) override;

 private:
  const std::shared_ptr<IFeedback> mFeedback;
};

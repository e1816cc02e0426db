#include "src/components/feedbackclienthandler.h"

#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"

CFeedbackClientHandler::CFeedbackClientHandler(std::shared_ptr<IFeedback> feedback) : mFeedback(std::move(feedback)) {}

void CFeedbackClientHandler::TriggerFeedbackEvent(ipc::EFbEventType type, ipc::EInstanceType instance)
{
  LOG_ENTRY("CFeedbackClientHandler");
  ipc::MFbEventType event;
  event.set_type(type);
  ipc::MInstanceType place;
  place.set_instance(instance);
  try {
    // Nothing follows from a refusal: what cannot be shown is not shown.
    mFeedback->TriggerEvent(event, place);
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Feedback, error: {}", error.what());
  }
}

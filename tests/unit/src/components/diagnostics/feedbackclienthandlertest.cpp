#include "src/components/feedbackclienthandler.h"

#include <gtest/gtest.h>

#include "platform/iipc/texts.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

namespace {

class CFeedbackClientHandlerTest : public testing::Test {
 protected:
  CLogCapture mLog;
  std::shared_ptr<CFakeFeedback> mFeedback = std::make_shared<CFakeFeedback>();
  CFeedbackClientHandler mHandler{mFeedback};
};

TEST_F(CFeedbackClientHandlerTest, EventReachesTheFeedbackProcessWithTypeAndInstance)
{
  mHandler.TriggerFeedbackEvent(ipc::EFbEventTypeAuthSuccess, ipc::EInstanceTypeStation);
  mHandler.TriggerFeedbackEvent(ipc::EFbEventTypeIdentify, ipc::EInstanceTypeConnector1);
  EXPECT_EQ(mFeedback->Events(),
            (std::vector<CFakeFeedback::Event>{{ipc::EFbEventTypeAuthSuccess, ipc::EInstanceTypeStation},
                                               {ipc::EFbEventTypeIdentify, ipc::EInstanceTypeConnector1}}));
}

TEST_F(CFeedbackClientHandlerTest, RefusedEventIsDropped)
{
  mFeedback->SetResult(ipc::EResultIllegal);
  mHandler.TriggerFeedbackEvent(ipc::EFbEventTypeAuthFailure, ipc::EInstanceTypeStation);
  EXPECT_EQ(mFeedback->CountCalls("TriggerEvent"), 1U);
  for (const auto& line : mLog.GetLines()) EXPECT_EQ(line.level, Log::ELogLevel::ETrace) << line.text;
}

TEST_F(CFeedbackClientHandlerTest, AbsentFeedbackProcessIsLoggedAndSurvived)
{
  mFeedback->SetUnreachable("gone");
  mHandler.TriggerFeedbackEvent(ipc::EFbEventTypeAuthSuccess, ipc::EInstanceTypeStation);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with Feedback, error: gone"), 1U);
  mFeedback->SetReachable();
  mHandler.TriggerFeedbackEvent(ipc::EFbEventTypeTagSwipeSuccess, ipc::EInstanceTypeStation);
  EXPECT_EQ(mFeedback->CountCalls("TriggerEvent"), 2U);
}

TEST_F(CFeedbackClientHandlerTest, EntryIsTraced)
{
  mHandler.TriggerFeedbackEvent(ipc::EFbEventTypeIdentify, ipc::EInstanceTypeStation);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::ETrace, "CFeedbackClientHandler::TriggerFeedbackEvent"), 1U);
}

TEST(FeedbackEventTexts, EveryEventHasItsNumberAndText)
{
  const char* const texts[] = {"AuthSuccess",
                               "AuthFailure",
                               "TagSwipeSuccess",
                               "Identify",
                               "TagSwipeFailureInvalidTag",
                               "TagSwipeFailureMultipleTags",
                               "Unknown"};
  for (int number = 0; number <= 6; ++number) {
    EXPECT_STREQ(FbEventTypeToString(static_cast<ipc::EFbEventType>(number)), texts[number]) << number;
  }
}

}  // namespace

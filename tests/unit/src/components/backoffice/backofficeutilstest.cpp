#include "src/components/backofficeutils.h"

#include <gtest/gtest.h>

#include "tests/unit/support/logcapture.h"

namespace {

TEST(GetMutualKey, IsPlainForThePrimaryAndPrefixedForTheAuxiliary)
{
  for (const char* key :
       {"WebSocketPingInterval", "AuthorizationKey", "WebSocketPongTimeout", "HeartbeatInterval", "SeccOcppUri"}) {
    EXPECT_EQ(GetMutualKey(key, EBackofficeId::EPrimary), key);
    EXPECT_EQ(GetMutualKey(key, EBackofficeId::EAuxiliary), std::string("Sbo") + key);
  }
}

TEST(GetMutualKey, KeyOutsideTheSetIsLoggedAndUnchanged)
{
  const CLogCapture log;
  EXPECT_EQ(GetMutualKey("MessageTimeout", EBackofficeId::EAuxiliary), "MessageTimeout");
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "Requsted Key is not a mutual key!"), 1U);
}

}  // namespace

#include "src/secc/iclogger.h"

#include <gtest/gtest.h>

#include "tests/unit/support/logcapture.h"

namespace {

TEST(IcLogger, EachLevelOfTheIpcLayerIsTheSameLevelOfTheLogUnderItsMark)
{
  struct SRow {
    Rpc::LogOperation operation;
    Log::ELogLevel level;
  };
  const SRow rows[] = {
      {&Rpc::ILogger::Critical, Log::ELogLevel::ECritical}, {&Rpc::ILogger::Error, Log::ELogLevel::EError},
      {&Rpc::ILogger::Warning, Log::ELogLevel::EWarning},   {&Rpc::ILogger::Info, Log::ELogLevel::EInfo},
      {&Rpc::ILogger::Debug, Log::ELogLevel::EDebug},       {&Rpc::ILogger::Trace, Log::ELogLevel::ETrace},
  };
  for (const auto& row : rows) {
    CLogCapture log;
    Rpc::IcLogger logger;
    (logger.*row.operation)("the {} line");
    EXPECT_EQ(log.GetLines().size(), 1U);
    EXPECT_EQ(log.Count(row.level, "[RPC] the {} line"), 1U);
  }
}

}  // namespace

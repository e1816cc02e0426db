#include "tests/unit/support/fakeconfig.h"

#include <gtest/gtest.h>

namespace {

using CState = CFakeConfig::CState;

TEST(FakeConfig, FailedWriteLeavesTheOldValueAndTellsNobody)
{
  CFakeConfig config;
  int told = 0;
  config.SetCallbacks({}, [&](const std::string&, const Json::Value&) { ++told; });
  config.Preset("Key", 1);
  config.GetMedium().FailWrite(2);

  EXPECT_TRUE(config.SetInt("Other", 7));
  EXPECT_FALSE(config.SetInt("Key", 2));
  EXPECT_EQ(config.GetInt("Key", 0), 1);
  EXPECT_EQ(told, 1);
  EXPECT_TRUE(config.SetInt("Key", 3));
  EXPECT_EQ(config.GetInt("Key", 0), 3);
}

TEST(FakeConfig, EveryWriteFailsWhileTheMediumIsBroken)
{
  CFakeConfig config;
  config.Preset("Key", 1);
  config.GetMedium().FailAllWrites(true);
  EXPECT_FALSE(config.SetInt("Key", 2));
  EXPECT_FALSE(config.DeleteKey("Key"));
  EXPECT_FALSE(config.Apply({"Key"}, {}));
  EXPECT_EQ(config.GetInt("Key", 0), 1);
  config.GetMedium().FailAllWrites(false);
  EXPECT_TRUE(config.DeleteKey("Key"));
}

TEST(FakeConfig, WritesAfterThePowerCutAreLostOnAllStoresOfTheMedium)
{
  const auto medium = std::make_shared<CFakeMedium>();
  CFakeConfig first({{}, {}, {}, {}, medium});
  CFakeConfig second({{}, {}, {}, {}, medium});
  int cuts = 0;
  medium->CutPowerAfterWrite(2, [&] { ++cuts; });

  EXPECT_TRUE(first.SetInt("A", 1));
  EXPECT_TRUE(second.SetInt("B", 2));
  EXPECT_FALSE(medium->IsPowerCut());
  EXPECT_TRUE(first.SetInt("A", 3));
  EXPECT_TRUE(second.DeleteKey("B"));

  EXPECT_TRUE(medium->IsPowerCut());
  EXPECT_EQ(cuts, 1);
  EXPECT_EQ(first.GetInt("A", 0), 3);
  EXPECT_EQ(first.GetSurvivingState(), (CState{{"A", 1}}));
  EXPECT_EQ(second.GetSurvivingState(), (CState{{"B", 2}}));
  EXPECT_EQ(CFakeConfig({first.GetSurvivingState(), {}, {}, {}, {}}).GetInt("A", 0), 1);
}

TEST(FakeConfig, OnlyCallsThatChangeSomethingCountAsWrites)
{
  CFakeConfig config;
  config.Preset("Key", 1);
  config.SetInt("Key", 1);
  config.DeleteKey("Absent");
  config.Apply({"Absent"}, {{"Key", 1}});
  EXPECT_EQ(config.GetMedium().GetWriteCount(), 0u);
  config.Apply({"Key"}, {{"Other", 1}});
  EXPECT_EQ(config.GetMedium().GetWriteCount(), 1u);
}

TEST(FakeConfig, CallbackRunsOnTheWritingThreadBeforeTheWriteReturns)
{
  CFakeConfig config;
  std::thread::id thread;
  int64_t seen = 0;
  const auto registration = config.RegisterChangeCallback("Key", 0, [&](const std::string& key, const Json::Value&) {
    thread = std::this_thread::get_id();
    seen = config.GetInt(key, 0);  // no lock is held
  });
  config.SetInt("Key", 5);
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_EQ(seen, 5);
}

}  // namespace

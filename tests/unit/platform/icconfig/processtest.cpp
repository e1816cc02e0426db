// One domain in several processes: changes travel, writes are not lost, and a process may die at any moment.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <random>

#include "platform/icconfig/jsontext.h"
#include "tests/unit/platform/icconfig/churn.h"
#include "tests/unit/platform/icconfig/configtesttools.h"
#include "tests/unit/platform/icconfig/helperprocess.h"

namespace {

using CChange = CRecorder::CChange;

class ConfigProcesses : public testing::TestWithParam<const char*> {
 protected:
  std::vector<std::string> Arguments(const std::string& command, std::vector<std::string> rest = {}) const
  {
    std::vector<std::string> arguments = {mFolders.GetData(), mFolders.GetDefaults(), command, GetParam()};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    return arguments;
  }
  std::shared_ptr<IcConfig::IConfig> Open()
  {
    return IcConfig::Create(GetParam(), mRecorder.GetErrorCB(), mRecorder.GetChangeCB());
  }

  CConfigFolders mFolders;
  CRecorder mRecorder;
};

INSTANTIATE_TEST_SUITE_P(Stores, ConfigProcesses, testing::Values("connector1/domain", "document.json"),
                         [](const auto& instance) { return instance.index == 0 ? "Domain" : "Document"; });

uint64_t Seed()
{
  const char* given = std::getenv("SECC_TEST_SEED");
  return given ? std::strtoull(given, nullptr, 10) : std::random_device()();
}

// The store's state must be the one after all told steps, or one more, which was under way. Gives the number of steps.
uint64_t Advance(const Churn::CState& found, Churn::CState& state, uint64_t seed, uint64_t steps)
{
  if (found == state) return steps;
  Churn::ApplyTo(state, Churn::MakeStep(seed, steps));
  EXPECT_TRUE(found == state) << "neither the state after step " << steps << " nor after the next";
  return steps + 1;
}

// One life of the helper: the steps that it told are in the state when it returns.
uint64_t LiveAndDie(const std::vector<std::string>& arguments, Churn::CState& state, uint64_t seed, uint64_t steps)
{
  CHelperProcess helper(arguments);
  while (const auto line = helper.ReadLine()) {
    EXPECT_EQ(*line, std::to_string(steps));
    Churn::ApplyTo(state, Churn::MakeStep(seed, steps++));
  }
  const int status = helper.Wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  return steps;
}

}  // namespace

TEST_P(ConfigProcesses, ChangeOfAnotherProcessIsToldWithin200Ms)
{
  CRealClock clock;
  const auto config = Open();
  CHelperProcess helper(Arguments("store", {"Key"}));
  ASSERT_EQ(helper.ReadLine(), "ready");
  for (int number = 1; number <= 20; ++number) {
    helper.WriteLine(std::to_string(number));
    ASSERT_EQ(helper.ReadLine(), "done");
    const auto done = clock.SteadyNow();
    ASSERT_TRUE(mRecorder.WaitForChanges(static_cast<size_t>(number)));
    EXPECT_LE(clock.SteadyNow() - done, std::chrono::milliseconds(200));
    EXPECT_EQ(mRecorder.GetChanges().back(), CChange("Key", Json::Value(number)));
  }
  helper.WriteLine("delete");
  ASSERT_EQ(helper.ReadLine(), "done");
  ASSERT_TRUE(mRecorder.WaitForChanges(21));
  EXPECT_EQ(mRecorder.GetChanges().back(), CChange("Key", Json::Value()));
  EXPECT_FALSE(config->HasKey("Key"));
  EXPECT_EQ(mRecorder.GetChanges().size(), 21u);
}

TEST_P(ConfigProcesses, ReaderThatWasThereFirstHearsTheWriterThatMakesTheFile)
{
  const auto reader = IcConfig::CreateReadOnly(GetParam(), mRecorder.GetErrorCB(), true);
  const auto registration = reader->RegisterChangeCallback("Key", 0, mRecorder.GetChangeCB());
  EXPECT_EQ(reader->GetInt("Key", -1), -1);
  CHelperProcess helper(Arguments("store", {"Key"}));
  ASSERT_EQ(helper.ReadLine(), "ready");
  helper.WriteLine("1");
  helper.WriteLine("2");
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  helper.CloseInput();
  helper.ReadAllLines();
  EXPECT_EQ(helper.Wait(), 0);
  while (mRecorder.GetChanges().back() != CChange("Key", Json::Value(2))) {
    ASSERT_TRUE(mRecorder.WaitForChanges(mRecorder.GetChanges().size() + 1));
  }
  EXPECT_EQ(reader->GetInt("Key", -1), 2);
  EXPECT_TRUE(mRecorder.GetErrors().empty());
}

TEST_P(ConfigProcesses, TwoWritersLoseNothingAndEveryChangeIsHeardOnce)
{
  constexpr int kCount = 100;
  const auto config = Open();
  CHelperProcess first(Arguments("add", {"First", std::to_string(kCount)}));
  CHelperProcess second(Arguments("add", {"Second", std::to_string(kCount)}));
  ASSERT_EQ(first.ReadLine(), "ready");
  ASSERT_EQ(second.ReadLine(), "ready");
  first.WriteLine("go");
  second.WriteLine("go");
  for (int number = 0; number < kCount; ++number) EXPECT_TRUE(config->SetInt("Own" + std::to_string(number), number));
  EXPECT_EQ(first.ReadLine(), "done");
  EXPECT_EQ(second.ReadLine(), "done");
  EXPECT_EQ(config->ListKeys().size(), 3u * kCount + 1);
  config->SetInt("Sentinel", 1);
  ASSERT_TRUE(mRecorder.WaitForChanges(3 * kCount + 1));
  std::map<std::string, int> heard;
  while (heard["Sentinel"] == 0) {
    heard.clear();
    const auto changes = mRecorder.GetChanges();
    for (const auto& change : changes) ++heard[change.first];
    if (heard["Sentinel"] == 0) {
      ASSERT_TRUE(mRecorder.WaitForChanges(changes.size() + 1));
    }
  }
  for (int number = 0; number < kCount; ++number) {
    for (const auto* writer : {"First", "Second", "Own"}) EXPECT_EQ(heard[writer + std::to_string(number)], 1);
  }
  if (GetParam() != std::string("document.json")) {
    EXPECT_EQ(heard["Shared"], 2 * kCount);
  }
}

TEST_P(ConfigProcesses, KillAtAnyMomentLeavesTheStateBeforeOrAfterTheWrite)
{
  constexpr int kKills = 220;
  const uint64_t seed = Seed();
  std::cout << "SECC_TEST_SEED=" << seed << std::endl;
  std::mt19937_64 random(seed);
  Churn::CState state;
  uint64_t steps = 0;
  int cutWrites = 0;
  for (int kill = 0; kill < kKills && !HasFailure(); ++kill) {
    const uint64_t microseconds = 1 + random() % 25000;
    const auto arguments =
        Arguments("churn", {std::to_string(seed), std::to_string(steps), std::to_string(microseconds)});
    const uint64_t told = LiveAndDie(arguments, state, seed, steps);
    const auto config = Open();
    steps = Advance(Churn::StateOf(*config), state, seed, told);
    cutWrites += steps != told;
    uint64_t bytes = 0;
    for (const auto& entry : state) bytes += entry.first.size() + IcConfig::ToJsonText(entry.second)->size();
    EXPECT_EQ(config->GetUsedBytes(), bytes);
  }
  EXPECT_TRUE(mRecorder.GetErrors().empty());
  std::cout << kKills << " kills, " << steps << " writes, " << cutWrites << " of them done but not told" << std::endl;
}

TEST_P(ConfigProcesses, LastWritesOfAKilledProcessAreHeard)
{
  constexpr int kKills = 30;
  const uint64_t seed = Seed();
  std::cout << "SECC_TEST_SEED=" << seed << std::endl;
  std::mt19937_64 random(seed);
  const auto config = Open();
  Churn::CState state;
  Churn::CState heard;
  uint64_t steps = 0;
  for (int kill = 0; kill < kKills && !HasFailure(); ++kill) {
    const auto arguments =
        Arguments("churn", {std::to_string(seed), std::to_string(steps), std::to_string(5000 + random() % 10000)});
    steps = LiveAndDie(arguments, state, seed, steps);
    steps = Advance(Churn::StateOf(*config), state, seed, steps);
    // A mark of our own is heard after all that the dead process did; before it nothing is left to wake the reader.
    size_t count = 0;
    while (heard != state) {
      const auto changes = mRecorder.GetChanges();
      for (; count < changes.size(); ++count) {
        if (changes[count].second.isNull()) {
          heard.erase(changes[count].first);
        } else {
          heard[changes[count].first] = changes[count].second;
        }
      }
      if (heard == state) break;
      ASSERT_TRUE(mRecorder.WaitForChanges(count + 1)) << "kill " << kill;
    }
    mRecorder.Clear();
  }
}

TEST_P(ConfigProcesses, FolderThatCannotBeWrittenStillReads)
{
  {
    const auto config = Open();
    config->SetInt("Key", 7);
  }
  const std::string folder = mFolders.GetData("connector1");
  for (const auto& path : {mFolders.GetData(".."), mFolders.GetData(), folder}) chmod(path.c_str(), 0555);
  CHelperProcess helper(Arguments("unprivileged"));
  EXPECT_EQ(helper.ReadAllLines(), (std::vector<std::string>{"read 7", "not written", "read 7"}));
  for (const auto& path : {mFolders.GetData(".."), mFolders.GetData(), folder}) chmod(path.c_str(), 0755);
  EXPECT_EQ(Open()->GetInt("Key", 0), 7);
}

TEST_P(ConfigProcesses, FolderThatCannotBeWrittenStillReadsWhatAKilledProcessLeft)
{
  constexpr uint64_t kSeed = 1;
  Churn::CState state;
  uint64_t steps = 0;
  while (steps == 0) {
    steps = LiveAndDie(Arguments("churn", {"1", std::to_string(steps), "20000"}), state, kSeed, steps);
  }
  {
    const CHelperProcess dies(Arguments("store", {"Key"}));
  }
  {
    CHelperProcess helper(Arguments("store", {"Key"}));
    helper.WriteLine("7");
    helper.ReadLine();
    ASSERT_EQ(helper.ReadLine(), "done");
  }
  const std::string folder = mFolders.GetData("connector1");
  for (const auto& path : {mFolders.GetData(".."), mFolders.GetData(), folder}) chmod(path.c_str(), 0555);
  CHelperProcess helper(Arguments("unprivileged"));
  EXPECT_EQ(helper.ReadAllLines(), (std::vector<std::string>{"read 7", "not written", "read 7"}));
  for (const auto& path : {mFolders.GetData(".."), mFolders.GetData(), folder}) chmod(path.c_str(), 0755);
}

TEST_P(ConfigProcesses, FileThatMayNotBeReadComesUpWithDefaults)
{
  WriteFile(mFolders.GetDefaults(GetParam() + std::string(GetParam() == std::string("document.json") ? "" : ".json")),
            "{\"Key\":5}");
  {
    const auto config = Open();
    config->SetInt("Key", 7);
  }
  const std::string file = mFolders.GetData(GetParam()) + (IsFile(mFolders.GetData(GetParam())) ? "" : ".db");
  const std::string folder = file.substr(0, file.rfind('/'));
  for (const auto& path : {mFolders.GetData(".."), mFolders.GetData()}) chmod(path.c_str(), 0755);
  chmod(file.c_str(), 0000);
  chmod(folder.c_str(), 0555);
  CHelperProcess helper(Arguments("unprivileged"));
  const auto lines = helper.ReadAllLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "read 5"), 2);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "not written"), 1);
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const auto& line) { return line.rfind("error ", 0) == 0; }));
  chmod(folder.c_str(), 0755);
  chmod(file.c_str(), 0644);
  EXPECT_EQ(Open()->GetInt("Key", 0), 7);
}

TEST_P(ConfigProcesses, FullMediumFailsTheWriteAndKeepsTheRest)
{
  CHelperProcess helper(Arguments("fill", {"100000"}));
  const auto lines = helper.ReadAllLines();
  EXPECT_EQ(helper.Wait(), 0);
  ASSERT_EQ(lines.size(), 3u);
  const int stored = std::stoi(lines[0].substr(lines[0].find(' ')));
  EXPECT_GT(stored, 2);
  EXPECT_LT(stored, 1000);
  EXPECT_EQ(lines[1], "kept " + std::to_string(stored));
  EXPECT_EQ(lines[2], "written");
  EXPECT_EQ(Open()->ListKeys().size(), static_cast<size_t>(stored) + 1);
  for (const auto& name : ListFolder(mFolders.GetData())) EXPECT_EQ(name.find(".new"), std::string::npos);
}

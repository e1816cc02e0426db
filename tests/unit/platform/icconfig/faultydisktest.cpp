// A domain on a disk that runs full, fails or loses its power at every single operation of a run.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>

#include "platform/icconfig/domainstore.h"
#include "platform/icconfig/jsontext.h"
#include "tests/unit/platform/icconfig/churn.h"
#include "tests/unit/platform/icconfig/configtesttools.h"
#include "tests/unit/platform/icconfig/faultydisk.h"
#include "tests/unit/support/logcapture.h"

namespace {

using EFault = CFaultyDisk::EFault;
using IcConfig::CDomainStore;
using IcConfig::EWriteResult;

constexpr uint64_t kSteps = 12;
// The file is closed and opened again after so many steps, which merges the log into it.
constexpr uint64_t kStepsPerLife = 5;
constexpr uint64_t kSeed = 7;

IcConfig::CBatch BatchOf(const Churn::SStep& step)
{
  IcConfig::CBatch batch;
  for (const auto& key : step.remove) batch[key] = std::nullopt;
  for (const auto& entry : step.write) {
    const auto text = *IcConfig::ToJsonText(entry.second);
    batch[entry.first] = IcConfig::SNewValue{*IcConfig::ParseJsonText(text), text};
  }
  return batch;
}

Churn::CState StateOf(CDomainStore& store)
{
  Churn::CState state;
  for (const auto& entry : store.ReadAll()) {
    EXPECT_TRUE(entry.second.value);
    state[entry.first] = entry.second.value.value_or(Json::Value());
  }
  return state;
}

uint64_t BytesOf(const Churn::CState& state)
{
  uint64_t bytes = 0;
  for (const auto& entry : state) bytes += entry.first.size() + IcConfig::ToJsonText(entry.second)->size();
  return bytes;
}

class FaultyDisk : public testing::Test {
 protected:
  std::unique_ptr<CDomainStore> Open() const
  {
    const auto none = std::make_shared<const IcConfig::CDefaults>();
    return std::make_unique<CDomainStore>(mFile, IcConfig::EAccess::EWrite, none);
  }
  void ReopenAfter(uint64_t steps, std::unique_ptr<CDomainStore>& store) const
  {
    if (steps % kStepsPerLife != 0) return;
    store.reset();
    store = Open();
  }

  // A run with one fault in which every write that the store refused is repeated once. Gives the number of operations.
  uint64_t RunWithFault(EFault fault, uint64_t operation)
  {
    std::filesystem::remove_all(mFolders.GetData());
    Churn::CState state;
    uint64_t count = 0;
    int refused = 0;
    {
      CFaultyDisk disk;
      disk.Arm(fault, operation);
      auto store = Open();
      for (uint64_t number = 0; number < kSteps; ++number) {
        const auto step = Churn::MakeStep(kSeed, number);
        const auto batch = BatchOf(step);
        if (store->Write(batch) != EWriteResult::EWritten) {
          EXPECT_TRUE(disk.HasStruck());
          EXPECT_TRUE(StateOf(*store) == state) << "a refused write left a trace, operation " << operation;
          EXPECT_EQ(store->Write(batch), EWriteResult::EWritten) << "operation " << operation;
          ++refused;
        }
        Churn::ApplyTo(state, step);
        EXPECT_TRUE(StateOf(*store) == state) << "operation " << operation;
        ReopenAfter(number + 1, store);
      }
      count = disk.GetOperationCount();
    }
    EXPECT_LE(refused, 1);
    auto store = Open();
    EXPECT_TRUE(StateOf(*store) == state) << "operation " << operation;
    EXPECT_EQ(store->GetUsedBytes(), BytesOf(state));
    EXPECT_TRUE(store->TakeProblems().empty());
    return count;
  }

  void RunToPowerCut(uint64_t operation, uint64_t seed)
  {
    std::filesystem::remove_all(mFolders.GetData());
    Churn::CState state;
    uint64_t done = 0;
    {
      CFaultyDisk disk;
      {
        disk.Arm(EFault::EPowerCut, operation, seed);
        auto store = Open();
        while (done < kSteps && !disk.HasStruck()) {
          const auto step = Churn::MakeStep(kSeed, done);
          // Told as done before the cut: it must be there. A write during which the power went may be there.
          if (store->Write(BatchOf(step)) != EWriteResult::EWritten) break;
          Churn::ApplyTo(state, step);
          ++done;
          ReopenAfter(done, store);
        }
      }
      disk.RestoreDurableState();
    }
    // Recovery itself may be interrupted; the second one finds the same.
    Churn::CState found;
    for (const bool isFirst : {true, false}) {
      auto store = Open();
      found = StateOf(*store);
      if (isFirst && found != state && done < kSteps) Churn::ApplyTo(state, Churn::MakeStep(kSeed, done));
      EXPECT_TRUE(found == state) << "operation " << operation << " seed " << seed << " after " << done << " writes";
      EXPECT_EQ(store->GetUsedBytes(), BytesOf(found));
      EXPECT_TRUE(store->TakeProblems().empty()) << "operation " << operation << " seed " << seed;
    }
  }

  const CConfigFolders mFolders;
  const std::string mFile = mFolders.GetData("domain.db");
  const CLogCapture mLog;
};

}  // namespace

TEST_F(FaultyDisk, FullDiskAtAnyOperationRefusesThatWriteAndNothingElse)
{
  const uint64_t count = RunWithFault(EFault::ENone, 0);
  ASSERT_GT(count, 20u);
  for (uint64_t operation = 1; operation <= count && !HasFailure(); ++operation) RunWithFault(EFault::EFull, operation);
}

TEST_F(FaultyDisk, ErrorAtAnyOperationRefusesThatWriteAndNothingElse)
{
  const uint64_t count = RunWithFault(EFault::ENone, 0);
  for (uint64_t operation = 1; operation <= count && !HasFailure(); ++operation)
    RunWithFault(EFault::EError, operation);
}

TEST_F(FaultyDisk, RefusedWriteIsLoggedWithItsCause)
{
  CFaultyDisk disk;
  auto store = Open();
  disk.Arm(EFault::EFull, 1);
  EXPECT_EQ(store->Write(BatchOf(Churn::MakeStep(kSeed, 0))), EWriteResult::EFailed);
  EXPECT_TRUE(disk.HasStruck());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "Configuration file " + mFile + " cannot be written: database or disk is full (13)"),
            1u);
  EXPECT_TRUE(store->TakeProblems().empty()) << "a full disk is no invalid configuration";
}

TEST_F(FaultyDisk, PowerCutAtAnyOperationLeavesTheStateBeforeOrAfterTheWrite)
{
  const uint64_t count = RunWithFault(EFault::ENone, 0);
  const char* given = std::getenv("SECC_TEST_SEED");
  const uint64_t seed = given ? std::strtoull(given, nullptr, 10) : std::random_device()();
  std::cout << "SECC_TEST_SEED=" << seed << ", " << count << " operations" << std::endl;
  for (uint64_t round = 0; round < 3; ++round) {
    for (uint64_t operation = 1; operation <= count && !HasFailure(); ++operation)
      RunToPowerCut(operation, seed + round);
  }
}

// Names, folders, packaged defaults and the library's thread.

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "platform/icconfig/changewatcher.h"
#include "tests/unit/platform/icconfig/configtesttools.h"
#include "tests/unit/support/logcapture.h"

namespace {

using CChange = CRecorder::CChange;
using CKeys = std::vector<std::string>;

class ConfigCreation : public testing::Test {
 protected:
  CConfigFolders mFolders;
  CLogCapture mLog;
  CRecorder mRecorder;
};

size_t CountThreads(const std::string& name)
{
  size_t count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    count += ReadFile(task.path().string() + "/comm") == name + "\n";
  }
  return count;
}

}  // namespace

TEST_F(ConfigCreation, NamesThatLeaveTheDataFolderAreRefused)
{
  for (const auto& name :
       {std::string(), std::string("/etc/passwd"), std::string("../x"), std::string("a/../../x"), std::string("a/.."),
        std::string("."), std::string("a//b"), std::string("a/"), std::string("a\0b", 3)}) {
    EXPECT_THROW(IcConfig::Create(name, {}, {}), std::invalid_argument) << name;
    EXPECT_THROW(IcConfig::CreateReadOnly(name, {}, true), std::invalid_argument) << name;
  }
}

TEST_F(ConfigCreation, NameMayHoldFolders)
{
  const auto config = IcConfig::Create("connector1/secc_persistentdata", {}, {});
  EXPECT_TRUE(config->SetBool("OpenedTransaction", true));
  EXPECT_TRUE(IsFile(mFolders.GetData("connector1/secc_persistentdata.db")));
  EXPECT_NO_THROW(IcConfig::Create("..a/b..", {}, {}));
}

TEST_F(ConfigCreation, PathsBelowARootAreJoinedWithoutASeparator)
{
  EXPECT_EQ(IcConfig::PathsBelow("/").dataDirectory, "/data/config/");
  EXPECT_EQ(IcConfig::PathsBelow("/mnt/x/").dataDirectory, "/mnt/x/data/config/");
  EXPECT_EQ(IcConfig::PathsBelow("/mnt/x/").defaultsDirectory, "/mnt/x/usr/share/secc/config/");
  EXPECT_EQ(IcConfig::PathsBelow("/mnt/x").dataDirectory, "/mnt/xdata/config/");
}

TEST_F(ConfigCreation, MetadataDomainReadsThePackagedMetadataDocument)
{
  WriteFile(mFolders.GetDefaults("ocpp_meta.json"), "{\"HeartbeatInterval\":{\"type\":\"integer\"}}");
  for (const bool watch : {true, false}) {
    const auto config = IcConfig::CreateReadOnly("ocppmeta", mRecorder.GetErrorCB(), watch);
    EXPECT_EQ(config->ListKeys(), CKeys({"HeartbeatInterval"}));
    EXPECT_EQ(config->GetJson("HeartbeatInterval", {})["type"].asString(), "integer");
  }
  EXPECT_TRUE(mRecorder.GetErrors().empty());
}

TEST_F(ConfigCreation, BrokenDefaultDocumentIsReportedAndTheDomainWorksWithout)
{
  for (const std::string content : {"", "{", "[]", "{\"a\":1,}", "{\"a\":1,\"a\":2}", "\xFF"}) {
    mRecorder.Clear();
    mLog.Clear();
    WriteFile(mFolders.GetDefaults("domain.json"), content);
    const auto config = IcConfig::Create("domain", mRecorder.GetErrorCB(), {});
    EXPECT_EQ(config->GetInt("a", -1), -1);
    EXPECT_TRUE(config->SetInt("b", 1));
    EXPECT_TRUE(config->DeleteKey("b"));
    ASSERT_EQ(mRecorder.GetErrors().size(), 1u) << content;
    const auto error = mRecorder.GetErrors().front();
    EXPECT_EQ(error.rfind("Default document " + mFolders.GetDefaults("domain.json") + " cannot be read: ", 0), 0u)
        << error;
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, error), 1u);
    EXPECT_EQ(ReadFile(mFolders.GetDefaults("domain.json")), content);
  }
}

TEST_F(ConfigCreation, DefaultDocumentIsNeverWritten)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"a\":1}");
  const auto before = std::filesystem::last_write_time(mFolders.GetDefaults("domain.json"));
  const auto config = IcConfig::Create("domain", {}, {});
  config->Apply({}, {{"a", 2}, {"b", 3}});
  config->DeleteKey("a");
  EXPECT_EQ(ReadFile(mFolders.GetDefaults("domain.json")), "{\"a\":1}");
  EXPECT_EQ(std::filesystem::last_write_time(mFolders.GetDefaults("domain.json")), before);
  EXPECT_EQ(ListFolder(mFolders.GetDefaults()), CKeys({"domain.json"}));
}

TEST_F(ConfigCreation, OneNamedThreadServesAllDomainsAndEndsWithTheLast)
{
  EXPECT_EQ(CountThreads("icconfig"), 0u);
  auto first = IcConfig::Create("first", {}, mRecorder.GetChangeCB());
  auto second = IcConfig::Create("second.json", {}, mRecorder.GetChangeCB());
  const auto third = IcConfig::CreateReadOnly("third", {}, false);
  first->SetInt("a", 1);
  second->SetInt("b", 1);
  ASSERT_TRUE(mRecorder.WaitForChanges(2));
  EXPECT_EQ(CountThreads("icconfig"), 1u);
  first.reset();
  EXPECT_EQ(CountThreads("icconfig"), 1u);
  second.reset();
  EXPECT_EQ(CountThreads("icconfig"), 0u);
}

TEST_F(ConfigCreation, CallbacksRunOnTheLibrarysThread)
{
  std::thread::id thread;
  const auto config = IcConfig::Create(
      "domain", {}, [&](const std::string&, const Json::Value&) { thread = std::this_thread::get_id(); });
  const auto registration = config->RegisterChangeCallback("a", 0, mRecorder.GetChangeCB());
  config->SetInt("a", 1);
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(ConfigCreation, ExceptionOfACallbackIsLoggedAndTheNextOneRuns)
{
  const auto config = IcConfig::Create(
      "domain", {}, [](const std::string&, const Json::Value&) { throw std::runtime_error("trouble"); });
  const auto registration = config->RegisterChangeCallback("a", 0, mRecorder.GetChangeCB());
  config->SetInt("a", 1);
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Exception in the change callback of configuration key a: trouble"), 1u);
}

TEST_F(ConfigCreation, DomainMayBeDroppedInItsOwnCallback)
{
  std::shared_ptr<IcConfig::IConfig> config;
  CMutex mutex;
  config = IcConfig::Create("domain", {}, [&](const std::string& key, const Json::Value& value) {
    {
      CLock lock(mutex);
      config.reset();
    }
    mRecorder.GetChangeCB()(key, value);
  });
  const auto writer = IcConfig::Create("domain", {}, {});
  writer->Apply({}, {{"a", 1}, {"b", 2}});
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  CRecorder later;
  const auto registration = writer->RegisterChangeCallback("c", 0, later.GetChangeCB());
  writer->SetInt("c", 1);
  ASSERT_TRUE(later.WaitForChanges(1));
  EXPECT_EQ(mRecorder.GetChanges().size(), 1u);
  CLock lock(mutex);
  EXPECT_EQ(config, nullptr);
}

TEST_F(ConfigCreation, LastDomainMayBeDroppedInItsOwnCallback)
{
  CRealClock clock;
  CMutex mutex;
  CCondition changed;
  bool isGone = false;
  std::shared_ptr<IcConfig::IConfig> config;
  std::weak_ptr<IcConfig::IConfig> seen;
  config = IcConfig::Create("domain", {}, [&](const std::string&, const Json::Value&) {
    CLock lock(mutex);
    config.reset();
    isGone = true;
    clock.NotifyAll(changed);
  });
  seen = config;
  {
    const auto writer = config;  // the callback may drop the other owner before the write has returned
    writer->SetInt("a", 1);
  }
  CLock lock(mutex);
  while (!isGone) clock.Wait(lock, changed);
  EXPECT_TRUE(seen.expired());
}

TEST_F(ConfigCreation, DroppingARegistrationWaitsForTheRunInFlight)
{
  CRealClock clock;
  CMutex mutex;
  CCondition changed;
  bool isRunning = false;
  bool mayEnd = false;
  bool hasEnded = false;
  const auto config = IcConfig::Create("domain", {}, {});
  auto registration = config->RegisterChangeCallback("a", 0, [&](const std::string&, const Json::Value&) {
    CLock lock(mutex);
    isRunning = true;
    clock.NotifyAll(changed);
    while (!mayEnd) clock.Wait(lock, changed);
    hasEnded = true;
  });
  config->SetInt("a", 1);
  {
    CLock lock(mutex);
    while (!isRunning) clock.Wait(lock, changed);
  }
  std::thread helper([&] {
    CLock lock(mutex);
    mayEnd = true;
    clock.NotifyAll(changed);
  });
  registration.reset();
  EXPECT_TRUE(hasEnded);
  helper.join();
}

TEST_F(ConfigCreation, FolderMadeLaterIsWatchedFromTheFirstWake)
{
  CRecorder wakes;
  const auto watcher = IcConfig::CChangeWatcher::GetShared();
  const std::string folder = mFolders.GetData("later/");
  const auto watch = watcher->Watch({folder, {"file"}}, [&] { wakes.GetChangeCB()("", {}); });
  ASSERT_TRUE(wakes.WaitForChanges(1));
  WriteFile(folder + "other", "x");
  watch->Wake();
  ASSERT_TRUE(wakes.WaitForChanges(2));
  const size_t before = wakes.GetChanges().size();
  WriteFile(folder + "file", "x");
  EXPECT_TRUE(wakes.WaitForChanges(before + 1));
}

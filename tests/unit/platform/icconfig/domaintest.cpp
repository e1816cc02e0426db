// Domains in SQLite files: what lies on the disk, and what happens when it is not what it should be.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "platform/icconfig/domainstore.h"
#include "platform/icconfig/jsontext.h"
#include "tests/unit/platform/icconfig/configtesttools.h"
#include "tests/unit/support/logcapture.h"

using namespace std::string_literals;
using IcConfig::CDomainStore;
using IcConfig::EAccess;

namespace {

using CChange = CRecorder::CChange;
using CKeys = std::vector<std::string>;

class ConfigDomain : public testing::Test {
 protected:
  std::shared_ptr<IcConfig::IConfig> Open()
  {
    return IcConfig::Create("domain", mRecorder.GetErrorCB(), mRecorder.GetChangeCB());
  }
  std::shared_ptr<IcConfig::IReadOnlyConfig> OpenReadOnly(bool watch)
  {
    return IcConfig::CreateReadOnly("domain", mRecorder.GetErrorCB(), watch);
  }
  // Another program at work on the file.
  void Execute(const std::string& sql)
  {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(mFile.c_str(), &connection), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
    sqlite3_free(error);
    sqlite3_close(connection);
  }
  void PutRow(const std::string& value)
  {
    Execute("INSERT INTO entries VALUES('Key', " + value + ", " + std::to_string(++mStrangersRevision) + ")");
  }
  void Damage(size_t offset, const std::string& bytes)
  {
    std::string content = ReadFile(mFile);
    ASSERT_GT(content.size(), offset + bytes.size());
    content.replace(offset, bytes.size(), bytes);
    WriteFile(mFile, content);
  }
  void FillAndClose(int count)
  {
    const auto config = Open();
    std::vector<std::pair<std::string, Json::Value>> entries;
    for (int number = 0; number < count; ++number)
      entries.emplace_back("Key" + std::to_string(number), std::string(100, 'x'));
    ASSERT_TRUE(config->Apply({}, entries));
  }
  // The domain comes up empty and usable, says so, and the former bytes lie beside it.
  void ExpectSetAside(const std::string& content)
  {
    {
      const auto config = Open();
      EXPECT_EQ(config->GetInt("Packaged", 0), 5);
      EXPECT_EQ(config->ListKeys(), CKeys({"Packaged"}));
      EXPECT_TRUE(config->SetInt("Key", 1));
    }
    const auto error = OnlyErrorLine(mLog);
    EXPECT_EQ(error.rfind("Configuration file " + mFile + " cannot be read: ", 0), 0u) << error;
    EXPECT_NE(error.find("Set aside as " + mFile + ".damaged-1"), std::string::npos) << error;
    EXPECT_TRUE(ReadFile(mFile + ".damaged-1") == content);
    EXPECT_EQ(Open()->GetInt("Key", 0), 1);
    // The process goes on with the defaults, so nobody has to be alarmed.
    EXPECT_TRUE(mRecorder.GetErrors().empty());
  }

  CConfigFolders mFolders;
  const std::string mFile = mFolders.GetData("domain.db");
  CLogCapture mLog;
  CRecorder mRecorder;
  int mStrangersRevision = 1000;
};

}  // namespace

TEST_F(ConfigDomain, LiesInOneFileWithItsLog)
{
  const auto config = Open();
  config->SetInt("Key", 1);
  EXPECT_EQ(ListFolder(mFolders.GetData()), CKeys({"domain.db", "domain.db-shm", "domain.db-wal"}));
}

TEST_F(ConfigDomain, SecondHandleOfTheProcessSeesAndHearsTheFirst)
{
  const auto first = Open();
  CRecorder other;
  const auto second = IcConfig::Create("domain", other.GetErrorCB(), other.GetChangeCB());
  first->SetInt("Key", 1);
  EXPECT_EQ(second->GetInt("Key", 0), 1);
  second->SetInt("Key", 2);
  EXPECT_EQ(first->GetInt("Key", 0), 2);
  for (auto* recorder : {&mRecorder, &other}) {
    ASSERT_TRUE(recorder->WaitForChanges(2));
    EXPECT_EQ(recorder->GetChanges(), (std::vector<CChange>{{"Key", 1}, {"Key", 2}}));
  }
}

TEST_F(ConfigDomain, ChangesFromBeforeOpeningAreNotTold)
{
  FillAndClose(3);
  mRecorder.Clear();
  const auto config = Open();
  config->SetInt("Key", 1);
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  EXPECT_EQ(mRecorder.GetChanges(), (std::vector<CChange>{{"Key", 1}}));
}

TEST_F(ConfigDomain, LongValuesAreToldToo)
{
  const std::string text(CDomainStore::kLongValue * 3, 'x');
  const auto config = Open();
  config->SetString("Key", text);
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  EXPECT_EQ(mRecorder.GetChanges().front().second.asString(), text);
}

TEST_F(ConfigDomain, ReadersThatFallFarBehindAreToldThePresentValues)
{
  IcConfig::CDefaults none;
  const auto defaults = std::make_shared<const IcConfig::CDefaults>(none);
  CDomainStore reader(mFile, EAccess::EWrite, defaults);
  CDomainStore writer(mFile, EAccess::EWrite, defaults);
  const int64_t start = reader.GetRevision();
  constexpr int kRounds = 3;
  constexpr int kPerRound = 3000;
  for (int round = 0; round < kRounds; ++round) {
    IcConfig::CBatch batch;
    for (int number = 0; number < kPerRound; ++number) {
      const int value = round * kPerRound + number;
      batch["Key" + std::to_string(number)] = IcConfig::SNewValue{Json::Value(value), std::to_string(value)};
    }
    ASSERT_EQ(writer.Write(batch), IcConfig::EWriteResult::EWritten);
  }
  std::map<std::string, int> last;
  int64_t revision = start;
  size_t count = 0;
  for (;;) {
    const auto step = reader.ReadChanges(revision);
    if (step.upTo == revision) break;
    revision = step.upTo;
    for (const auto& change : step.changes) {
      EXPECT_GE(change.value->asInt(), last[change.key]);
      last[change.key] = change.value->asInt();
      ++count;
    }
  }
  EXPECT_EQ(revision, reader.GetRevision());
  EXPECT_LT(count, size_t{kRounds * kPerRound}) << "old changes are removed";
  EXPECT_EQ(last.size(), size_t{kPerRound});
  for (int number = 0; number < kPerRound; ++number) {
    EXPECT_EQ(last["Key" + std::to_string(number)], (kRounds - 1) * kPerRound + number);
  }
  EXPECT_TRUE(mLog.ContainsPart("were missed"));
}

TEST_F(ConfigDomain, ReadOnlyHandleMakesNoFileAndRefusesWrites)
{
  const auto config = OpenReadOnly(true);
  EXPECT_EQ(config->GetInt("Key", -1), -1);
  EXPECT_EQ(ListFolder(mFolders.GetData()), CKeys());
  const auto writer = std::dynamic_pointer_cast<IcConfig::IConfig>(config);
  EXPECT_FALSE(writer && writer->SetInt("Key", 1));
  EXPECT_TRUE(mRecorder.GetErrors().empty());
}

TEST_F(ConfigDomain, ReadOnlyHandleWithoutWatchKeepsWhatItReadFirst)
{
  const auto owner = Open();
  owner->SetInt("Key", 1);
  const auto config = OpenReadOnly(false);
  owner->SetInt("Key", 2);
  EXPECT_EQ(config->GetInt("Key", 0), 1);
  EXPECT_EQ(config->ListKeys(), CKeys({"Key"}));
  EXPECT_EQ(config->GetUsedBytes(), 4u);
}

TEST_F(ConfigDomain, ReadOnlyHandleLeavesADamagedFileToItsOwner)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Packaged\":5}");
  WriteFile(mFile, std::string(5000, 'x'));
  for (const bool watch : {true, false}) {
    mRecorder.Clear();
    const auto config = OpenReadOnly(watch);
    for (int read = 0; read < 10; ++read) EXPECT_EQ(config->GetInt("Packaged", 0), 5);
    EXPECT_EQ(mRecorder.GetErrors().size(), 1u);
    EXPECT_EQ(ReadFile(mFile), std::string(5000, 'x'));
  }
  // The owner repairs it, and the reader sees the new file.
  const auto reader = OpenReadOnly(true);
  const auto owner = Open();
  owner->SetInt("Key", 3);
  EXPECT_EQ(reader->GetInt("Key", 0), 3);
}

TEST_F(ConfigDomain, FileOfRubbishIsSetAside)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Packaged\":5}");
  const std::string rubbish(20000, '\x5A');
  WriteFile(mFile, rubbish);
  ExpectSetAside(rubbish);
}

TEST_F(ConfigDomain, TruncatedFileIsSetAside)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Packaged\":5}");
  FillAndClose(1000);
  const std::string half = ReadFile(mFile).substr(0, ReadFile(mFile).size() / 2);
  WriteFile(mFile, half);
  ExpectSetAside(half);
}

TEST_F(ConfigDomain, FileWithADamagedPageIsSetAside)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Packaged\":5}");
  FillAndClose(1000);
  Damage(4096, std::string(4096, '\xA5'));
  ExpectSetAside(ReadFile(mFile));
}

TEST_F(ConfigDomain, FileOfAnotherFormatIsSetAside)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Packaged\":5}");
  std::filesystem::create_directories(mFolders.GetData());
  Execute("CREATE TABLE other(a); INSERT INTO other VALUES(1)");
  ExpectSetAside(ReadFile(mFile));
}

TEST_F(ConfigDomain, FileOfALaterFormatIsSetAside)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Packaged\":5}");
  FillAndClose(1);
  Execute("PRAGMA user_version = 2");
  ExpectSetAside(ReadFile(mFile));
}

TEST_F(ConfigDomain, FileWithoutItsTablesIsSetAside)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Packaged\":5}");
  FillAndClose(1);
  Execute("DROP TABLE entries");
  ExpectSetAside(ReadFile(mFile));
}

TEST_F(ConfigDomain, FolderInThePlaceOfTheFileIsSetAside)
{
  WriteFile(mFile + "/inside", "kept");
  const auto config = Open();
  EXPECT_TRUE(config->SetInt("Key", 1));
  EXPECT_EQ(ReadFile(mFile + ".damaged-1/inside"), "kept");
  EXPECT_NE(OnlyErrorLine(mLog), "");
  EXPECT_TRUE(mRecorder.GetErrors().empty());
}

TEST_F(ConfigDomain, FormerSetAsideFilesAreKept)
{
  for (const char fill : {'a', 'b', 'c'}) {
    WriteFile(mFile, std::string(5000, fill));
    Open();
  }
  EXPECT_EQ(ReadFile(mFile + ".damaged-1"), std::string(5000, 'a'));
  EXPECT_EQ(ReadFile(mFile + ".damaged-2"), std::string(5000, 'b'));
  EXPECT_EQ(ReadFile(mFile + ".damaged-3"), std::string(5000, 'c'));
}

TEST_F(ConfigDomain, EmptyFileOfAStoppedCreationIsTakenOver)
{
  WriteFile(mFile, "");
  const auto config = Open();
  EXPECT_TRUE(config->SetInt("Key", 1));
  EXPECT_TRUE(mRecorder.GetErrors().empty());
}

TEST_F(ConfigDomain, LogWithoutItsFileIsSetAside)
{
  WriteFile(mFile + "-wal", "left behind");
  const auto config = Open();
  EXPECT_TRUE(config->SetInt("Key", 1));
  EXPECT_EQ(ReadFile(mFile + ".damaged-1-wal"), "left behind");
}

TEST_F(ConfigDomain, DamageFoundByAWriteStartsANewFileAndTheWriteIsDone)
{
  FillAndClose(2000);
  const auto config = Open();
  // Behind the back of the open connection, which has looked at each page once but keeps only a few.
  Damage(4096, std::string(ReadFile(mFile).size() - 4096 - 1, '\xA5'));
  for (int number = 0; number < 2000; number += 100)
    EXPECT_TRUE(config->SetInt("Key" + std::to_string(number), number));
  EXPECT_TRUE(IsFile(mFile + ".damaged-1"));
  EXPECT_NE(OnlyErrorLine(mLog), "");
  EXPECT_TRUE(mRecorder.GetErrors().empty());
  EXPECT_EQ(Open()->GetInt("Key1900", 0), 1900);
}

TEST_F(ConfigDomain, DamageFoundByAReadStartsANewFile)
{
  FillAndClose(2000);
  const auto config = Open();
  Damage(4096, std::string(ReadFile(mFile).size() - 4096 - 1, '\xA5'));
  EXPECT_LT(config->ListKeys().size(), 2000u);
  for (int number = 0; number < 2000; number += 100) config->GetInt("Key" + std::to_string(number), 0);
  EXPECT_TRUE(IsFile(mFile + ".damaged-1"));
  EXPECT_NE(OnlyErrorLine(mLog), "");
  EXPECT_TRUE(mRecorder.GetErrors().empty());
  EXPECT_TRUE(config->SetInt("Key", 1));
}

TEST_F(ConfigDomain, RemovalOfTheFileIsAFactoryReset)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Key\":5}");
  const auto config = Open();
  config->SetInt("Key", 1);
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  for (const auto& name : ListFolder(mFolders.GetData())) std::filesystem::remove(mFolders.GetData(name));
  EXPECT_EQ(config->GetInt("Key", 0), 5);
  EXPECT_TRUE(config->SetInt("Key", 2));
  ASSERT_TRUE(mRecorder.WaitForChanges(2));
  EXPECT_EQ(mRecorder.GetChanges(), (std::vector<CChange>{{"Key", 1}, {"Key", 2}}));
  EXPECT_EQ(Open()->GetInt("Key", 0), 2);
}

TEST_F(ConfigDomain, RemovalOfTheFolderIsSurvived)
{
  const auto config = Open();
  config->SetInt("Key", 1);
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  std::filesystem::remove_all(mFolders.GetData());
  EXPECT_TRUE(config->SetInt("Key", 2));
  ASSERT_TRUE(mRecorder.WaitForChanges(2));
  EXPECT_EQ(Open()->GetInt("Key", 0), 2);
}

TEST_F(ConfigDomain, FolderThatCannotBeMadeLeavesTheDefaults)
{
  WriteFile(mFolders.GetDefaults("domain.json"), "{\"Key\":5}");
  WriteFile(mFolders.GetData().substr(0, mFolders.GetData().size() - 1), "a file where the folder should be");
  const auto config = Open();
  EXPECT_EQ(config->GetInt("Key", 0), 5);
  EXPECT_FALSE(config->SetInt("Key", 1));
  EXPECT_EQ(config->GetInt("Key", 0), 5);
  EXPECT_TRUE(mLog.ContainsPart("cannot be made"));
  // Once the cause is gone, writes succeed.
  std::filesystem::remove(mFolders.GetData().substr(0, mFolders.GetData().size() - 1));
  EXPECT_TRUE(config->SetInt("Key", 1));
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
}

// What a row may hold after damage or a stranger's hand. None of it may stop the domain.
TEST_F(ConfigDomain, RowsOfRubbishReadAsTheGivenDefaultAndAreReportedOnce)
{
  const std::vector<std::string> values = {"''",
                                           "' '",
                                           "'{'",
                                           "'[1,'",
                                           "'nul'",
                                           "'1 2'",
                                           "'\"open'",
                                           "x''",
                                           "x'00'",
                                           "x'22ff22'",
                                           "x'22c328'",
                                           "x'2200'",
                                           "x'7b7d00'",
                                           "'" + std::string(100000, '[') + "'",
                                           "'" + std::string(1000000, 'x') + "'",
                                           "'{\"a\":1,\"a\":2}'",
                                           "'1e99999'",
                                           "'NaN'",
                                           "'//'",
                                           "'\x01'",
                                           "'\xEF\xBB\xBF{'"};
  const auto config = Open();
  for (const auto& value : values) {
    const std::string shown = value.substr(0, 40);
    PutRow(value);
    for (int read = 0; read < 3; ++read) {
      EXPECT_EQ(config->GetInt("Key", -1), -1) << shown;
      EXPECT_EQ(config->GetString("Key", "d"), "d") << shown;
      EXPECT_EQ(config->GetJson("Key", "d"), Json::Value("d")) << shown;
    }
    EXPECT_TRUE(config->HasKey("Key"));
    EXPECT_EQ(config->ListKeys(), CKeys({"Key"}));
    EXPECT_EQ(mRecorder.GetErrors(), CKeys({"Value of key Key of configuration domain domain is not valid JSON"}))
        << shown;
    EXPECT_TRUE(config->DeleteKey("Key")) << shown;
    mRecorder.Clear();
  }
}

TEST_F(ConfigDomain, RowsOfOtherSqlTypesAreReadAsTheirText)
{
  const auto config = Open();
  PutRow("5");
  EXPECT_EQ(config->GetInt("Key", -1), 5);
  Execute("UPDATE entries SET value = x'37'");
  EXPECT_EQ(config->GetInt("Key", -1), 7);
  Execute("UPDATE entries SET value = 1.5");
  EXPECT_EQ(config->GetJson("Key", {}), Json::Value(1.5));
}

TEST_F(ConfigDomain, RubbishIsOverwrittenByAWriteWhichIsTold)
{
  const auto config = Open();
  PutRow("'{'");
  EXPECT_TRUE(config->SetInt("Key", 1));
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  EXPECT_EQ(mRecorder.GetChanges(), (std::vector<CChange>{{"Key", 1}}));
}

TEST_F(ConfigDomain, LockedFileFailsTheWriteOnly)
{
  const auto config = Open();
  config->SetInt("Key", 1);
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(mFile.c_str(), &connection), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_EQ(config->GetInt("Key", 0), 1);
  EXPECT_FALSE(config->SetInt("Key", 2));
  EXPECT_TRUE(mLog.ContainsPart("cannot be written: database is locked"));
  sqlite3_exec(connection, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(connection);
  EXPECT_TRUE(config->SetInt("Key", 2));
  EXPECT_TRUE(mRecorder.GetErrors().empty());
}

TEST_F(ConfigDomain, FourThreadsShareAHandle)
{
  constexpr int kThreads = 4;
  constexpr int kCount = 50;
  const auto config = Open();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int number = 0; number < kCount; ++number) {
        const std::string key = std::to_string(thread) + "-" + std::to_string(number);
        const auto registration = config->RegisterChangeCallback(key, 0, [](const std::string&, const Json::Value&) {});
        EXPECT_TRUE(config->SetInt(key, number));
        EXPECT_EQ(config->GetInt(key, -1), number);
        config->ListKeys();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(config->ListKeys().size(), size_t{kThreads * kCount});
  EXPECT_TRUE(mRecorder.WaitForChanges(kThreads * kCount));
}

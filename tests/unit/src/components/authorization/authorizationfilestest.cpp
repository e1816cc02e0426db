// The stores on real documents: what a killed process, a damaged file and a full disk leave.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <random>

#include "src/components/authorization/authorizationcache.h"
#include "src/components/authorization/localauthorizationlist.h"
#include "tests/unit/platform/icconfig/configtesttools.h"
#include "tests/unit/platform/icconfig/helperprocess.h"
#include "tests/unit/src/components/authorization/listversions.h"
#include "tests/unit/support/logcapture.h"

namespace {

constexpr int kKills = 60;
constexpr uint64_t kSeed = 11;

class AuthorizationFiles : public testing::Test {
 protected:
  std::unique_ptr<CLocalAuthorizationList> OpenList() const
  {
    return std::make_unique<CLocalAuthorizationList>(mClock, IcConfig::Create("localAuthList.json", {}, {}),
                                                     ListVersions::kCapacity);
  }
  std::unique_ptr<CAuthorizationCache> OpenCache() const
  {
    return std::make_unique<CAuthorizationCache>(mClock, IcConfig::Create("authCache.json", {}, {}),
                                                 ListVersions::kCapacity);
  }
  CAuthorizationListEntry Entry(const std::string& id) const
  {
    return CAuthorizationListEntry(id, "", EAuthorizationStatus::EAccepted, {}, mClock.SystemNow());
  }
  CHelperProcess Start(const std::string& what, int64_t first, int64_t microseconds = 0) const
  {
    return CHelperProcess(
        {mFolders.GetData(), mFolders.GetDefaults(), what, std::to_string(first), std::to_string(microseconds)});
  }
  // The last step that the process told of before it was killed; `before` if it told of none.
  static int64_t RunUntilKilled(CHelperProcess& process, int64_t before)
  {
    const auto lines = process.ReadAllLines();
    const int status = process.Wait();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    return lines.empty() ? before : std::stoll(lines.back());
  }

  const CConfigFolders mFolders;
  const CLogCapture mLog;
  const CRealClock mClock{};
};

}  // namespace

TEST_F(AuthorizationFiles, MissingFilesAreEmptyStoresAndNoErrors)
{
  EXPECT_EQ(OpenList()->GetSize(), 0u);
  EXPECT_EQ(OpenList()->GetVersion(), 0);
  EXPECT_EQ(OpenCache()->GetSize(), 0u);
  for (const auto& line : mLog.GetLines()) EXPECT_LT(line.level, Log::ELogLevel::EWarning) << line.text;
}

TEST_F(AuthorizationFiles, ListIsOneObjectWithOneMemberForEachIdAndTheVersion)
{
  const auto list = OpenList();
  list->SetVersion(7);
  const CAuthorizationListEntry entry("TAG", "PARENT", EAuthorizationStatus::EBlocked, {},
                                      IClock::SystemTime(std::chrono::hours(24)));
  list->Update(entry);
  list->WriteToStorage();
  EXPECT_EQ(ReadFile(mFolders.GetData("localAuthList.json")),
            R"({"TAG":{"entry_date":"1970-01-02T00:00:00Z","parent_id":"PARENT","status":1},"list_version":7})"
            "\n");
}

TEST_F(AuthorizationFiles, DamagedFileIsSetAsideAndTheStoreStartsEmptyAndWritable)
{
  WriteFile(mFolders.GetData("localAuthList.json"), R"({"TAG":{"status":0},"list_ver)");
  {
    const auto list = OpenList();
    EXPECT_EQ(list->GetSize(), 0u);
    EXPECT_EQ(list->GetVersion(), 0);
    list->SetVersion(3);
    list->Update(Entry("NEW"));
    list->WriteToStorage();
  }
  EXPECT_EQ(OpenList()->GetVersion(), 3);
  EXPECT_TRUE(OpenList()->Contains("NEW"));
  EXPECT_TRUE(IsFile(mFolders.GetData("localAuthList.json.damaged-1")));
}

TEST_F(AuthorizationFiles, EntriesOfAnyShapeInTheFileCostNobodyTheOthers)
{
  WriteFile(mFolders.GetData("authCache.json"),
            R"({"A":{"status":0},"B":null,"C":[1,2],"D":{"status":0,"expiry_date":"x"},"":{"status":0},"\u0000":{}})");
  const auto cache = OpenCache();
  EXPECT_EQ(cache->GetSize(), 6u);
  EXPECT_TRUE(cache->Find("A")->IsAuthorized(mClock.SystemNow()));
  EXPECT_TRUE(cache->Find("")->IsAuthorized(mClock.SystemNow()));
  EXPECT_FALSE(cache->Find("D")->IsAuthorized(mClock.SystemNow()));
  cache->WriteToStorage();
  EXPECT_EQ(OpenCache()->GetSize(), 6u);
}

TEST_F(AuthorizationFiles, FullDiskKeepsTheOldListWithItsVersionUntilThereIsRoomAgain)
{
  {
    const auto list = OpenList();
    list->SetVersion(30);
    list->Update(Entry("OLD"));
    list->WriteToStorage();
  }
  const std::string file = mFolders.GetData("localAuthList.json");
  const std::string before = ReadFile(file);
  auto process = Start("full", 31);
  process.WriteLine("on a full disk");
  EXPECT_EQ(process.ReadLine(), "31");
  EXPECT_EQ(ReadFile(file), before);
  EXPECT_TRUE(OpenList()->Contains("OLD"));
  process.WriteLine("with room");
  EXPECT_EQ(process.ReadLine(), "31");
  EXPECT_EQ(process.Wait(), 0);
  const auto list = OpenList();
  EXPECT_EQ(list->GetVersion(), 31);
  EXPECT_EQ(list->GetSize(), ListVersions::TagsOf(31).size());
}

TEST_F(AuthorizationFiles, KillAtAnyMomentLeavesTheOldOrTheNewListWithItsVersion)
{
  std::mt19937_64 random(kSeed);
  int64_t version = 0;
  int64_t writtenButNotTold = 0;
  for (int kill = 0; kill < kKills && !HasFailure(); ++kill) {
    auto process = Start("list", version + 1, std::uniform_int_distribution<int64_t>(200, 40000)(random));
    const int64_t told = RunUntilKilled(process, version);
    const auto list = OpenList();
    const int64_t found = list->GetVersion();
    EXPECT_TRUE(found == told || found == told + 1) << "found " << found << ", told " << told;
    writtenButNotTold += found - told;
    const auto tags = found == 0 ? std::vector<std::string>() : ListVersions::TagsOf(found);
    EXPECT_EQ(list->GetSize(), tags.size());
    for (const auto& tag : tags) EXPECT_TRUE(list->Contains(tag)) << tag;
    version = found;
  }
  EXPECT_GT(version, 0);
  std::cout << kKills << " kills, " << version << " lists, " << writtenButNotTold << " written and not told"
            << std::endl;
}

TEST_F(AuthorizationFiles, KillAtAnyMomentCostsTheCacheNoTagThatWasWritten)
{
  std::mt19937_64 random(kSeed);
  int64_t tag = 0;
  for (int kill = 0; kill < kKills && !HasFailure(); ++kill) {
    auto process = Start("cache", tag + 1, std::uniform_int_distribution<int64_t>(200, 40000)(random));
    const int64_t told = RunUntilKilled(process, tag);
    const auto cache = OpenCache();
    EXPECT_LE(cache->GetSize(), ListVersions::kCapacity);
    EXPECT_TRUE(told == 0 || cache->Contains(std::to_string(told))) << told;
    tag = cache->Contains(std::to_string(told + 1)) ? told + 1 : told;
  }
  EXPECT_GT(tag, 0);
}

// The behaviour that the real stores and the test double of IConfig share.

#include <gtest/gtest.h>
#include <json/writer.h>

#include <limits>

#include "platform/icconfig/icconfig.h"
#include "platform/icconfig/jsontext.h"
#include "tests/unit/platform/icconfig/configtesttools.h"
#include "tests/unit/support/fakeconfig.h"

using namespace std::string_literals;
using IcConfig::IConfig;

namespace {

using CChange = CRecorder::CChange;
using CKeys = std::vector<std::string>;

class IBackend {
 public:
  virtual ~IBackend() = default;
  virtual void SetDefaults(const Json::Value& document) = 0;
  // The state that an earlier life, which has ended, left behind.
  virtual std::shared_ptr<IConfig> Open(CRecorder& recorder) = 0;
};

class CFakeBackend : public IBackend {
 public:
  void SetDefaults(const Json::Value& document) override
  {
    mDefaults.clear();
    for (const auto& key : document.getMemberNames()) mDefaults[key] = document[key];
  }
  std::shared_ptr<IConfig> Open(CRecorder& recorder) override
  {
    CFakeConfig::SOptions options;
    if (mLast) options.stored = mLast->GetSurvivingState();
    options.defaults = mDefaults;
    options.errorCB = recorder.GetErrorCB();
    options.changeCB = recorder.GetChangeCB();
    mLast = std::make_shared<CFakeConfig>(std::move(options));
    return mLast;
  }

 private:
  CFakeConfig::CState mDefaults;
  std::shared_ptr<CFakeConfig> mLast;
};

class CFileBackend : public IBackend {
 public:
  explicit CFileBackend(std::string domain, std::string defaults)
      : mDomain(std::move(domain)), mDefaults(std::move(defaults))
  {}
  void SetDefaults(const Json::Value& document) override
  {
    WriteFile(mFolders.GetDefaults(mDefaults), *IcConfig::ToJsonText(document));
  }
  std::shared_ptr<IConfig> Open(CRecorder& recorder) override
  {
    return IcConfig::Create(mDomain, recorder.GetErrorCB(), recorder.GetChangeCB());
  }

 private:
  CConfigFolders mFolders;
  const std::string mDomain;
  const std::string mDefaults;
};

struct SBackend {
  std::string name;
  std::function<std::unique_ptr<IBackend>()> make;
};

const std::vector<SBackend> kBackends = {
    {"Fake", [] { return std::make_unique<CFakeBackend>(); }},
    {"Domain", [] { return std::make_unique<CFileBackend>("connector1/settings", "connector1/settings.json"); }},
    {"Document", [] { return std::make_unique<CFileBackend>("list.json", "list.json"); }},
};

class ConfigSuite : public testing::TestWithParam<SBackend> {
 protected:
  ConfigSuite() : mBackend(GetParam().make()) {}

  void Open()
  {
    mConfig.reset();
    mRecorder.Clear();
    mConfig = mBackend->Open(mRecorder);
  }
  void OpenWithDefaults(const Json::Value& document)
  {
    mBackend->SetDefaults(document);
    Open();
  }

  // The changes told since Open. A last change of the test's own marks the end, so that one too many is seen as well.
  std::vector<CChange> TakeChanges(size_t expected)
  {
    mConfig->SetInt("Sentinel", ++mSentinel);
    EXPECT_TRUE(mRecorder.WaitForChanges(expected + 1));
    auto changes = mRecorder.GetChanges();
    EXPECT_EQ(changes.back(), CChange("Sentinel", Json::Value(mSentinel)));
    changes.pop_back();
    mRecorder.Clear();
    return changes;
  }

  const std::unique_ptr<IBackend> mBackend;
  CRecorder mRecorder;
  std::shared_ptr<IConfig> mConfig;
  int mSentinel = 0;
};

INSTANTIATE_TEST_SUITE_P(Stores, ConfigSuite, testing::ValuesIn(kBackends),
                         [](const auto& instance) { return instance.param.name; });

Json::Value Object(std::initializer_list<std::pair<const char*, Json::Value>> members)
{
  Json::Value object(Json::objectValue);
  for (const auto& member : members) object[member.first] = member.second;
  return object;
}

}  // namespace

TEST_P(ConfigSuite, EmptyDomainReadsAsTheGivenDefaults)
{
  Open();
  EXPECT_TRUE(mConfig->GetBool("Key", true));
  EXPECT_EQ(mConfig->GetInt("Key", -5), -5);
  EXPECT_EQ(mConfig->GetString("Key", "x"), "x");
  EXPECT_EQ(mConfig->GetJson("Key", Json::Value(1.5)), Json::Value(1.5));
  EXPECT_FALSE(mConfig->HasKey("Key"));
  EXPECT_EQ(mConfig->ListKeys(), CKeys());
  EXPECT_EQ(mConfig->GetUsedBytes(), 0u);
  EXPECT_EQ(mRecorder.GetErrors(), CKeys());
}

TEST_P(ConfigSuite, EveryTypeReadsBackAtOnceAndAfterARestart)
{
  Open();
  const auto object = Object({{"a", Json::Value(Json::arrayValue)}, {"b", "c"}});
  EXPECT_TRUE(mConfig->SetBool("Bool", true));
  EXPECT_TRUE(mConfig->SetInt("Least", std::numeric_limits<int64_t>::min()));
  EXPECT_TRUE(mConfig->SetInt("Most", std::numeric_limits<int64_t>::max()));
  EXPECT_TRUE(mConfig->SetString("Text", "x"));
  EXPECT_TRUE(mConfig->SetString("Empty", ""));
  EXPECT_TRUE(mConfig->SetJson("Json", object));
  EXPECT_TRUE(mConfig->SetJson("Null", Json::Value()));
  for (const bool isRestarted : {false, true}) {
    if (isRestarted) Open();
    EXPECT_TRUE(mConfig->GetBool("Bool", false));
    EXPECT_EQ(mConfig->GetInt("Least", 0), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(mConfig->GetInt("Most", 0), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(mConfig->GetString("Text", ""), "x");
    EXPECT_EQ(mConfig->GetString("Empty", "x"), "");
    EXPECT_EQ(mConfig->GetJson("Json", Json::Value()), object);
    EXPECT_EQ(mConfig->GetJson("Null", Json::Value(1)), Json::Value());
    EXPECT_TRUE(mConfig->HasKey("Null"));
    EXPECT_EQ(mConfig->ListKeys(), CKeys({"Bool", "Empty", "Json", "Least", "Most", "Null", "Text"}));
    EXPECT_EQ(mRecorder.GetErrors(), CKeys());
  }
}

TEST_P(ConfigSuite, StoredValueHidesThePackagedDefaultUntilItIsDeleted)
{
  OpenWithDefaults(Object({{"Key", 7}, {"Other", "o"}}));
  EXPECT_TRUE(mConfig->HasKey("Key"));
  EXPECT_EQ(mConfig->GetInt("Key", 0), 7);
  EXPECT_EQ(mConfig->GetUsedBytes(), 0u);
  mConfig->SetInt("Key", 8);
  mConfig->SetInt("Added", 1);
  EXPECT_EQ(mConfig->GetInt("Key", 0), 8);
  EXPECT_EQ(mConfig->ListKeys(), CKeys({"Added", "Key", "Other"}));
  EXPECT_TRUE(mConfig->DeleteKey("Key"));
  EXPECT_EQ(mConfig->GetInt("Key", 0), 7);
  EXPECT_TRUE(mConfig->HasKey("Key"));
  EXPECT_EQ(mConfig->ListKeys(), CKeys({"Added", "Key", "Other"}));
}

TEST_P(ConfigSuite, ValueOfTheWrongTypeIsReportedOncePerValueAndReadsAsTheGivenDefault)
{
  Open();
  mConfig->SetString("Key", "five");
  for (int read = 0; read < 50; ++read) {
    EXPECT_EQ(mConfig->GetInt("Key", -1), -1);
    EXPECT_TRUE(mConfig->GetBool("Key", true));
  }
  EXPECT_EQ(mRecorder.GetErrors().size(), 1u);
  EXPECT_NE(mRecorder.GetErrors().at(0).find("Key"), std::string::npos);
  EXPECT_EQ(mRecorder.GetErrors().at(0).find("five"), std::string::npos) << "values may be secret";
  EXPECT_EQ(mConfig->GetString("Key", ""), "five");
  mConfig->SetString("Key", "six");
  EXPECT_EQ(mConfig->GetInt("Key", -1), -1);
  EXPECT_EQ(mConfig->GetInt("Key", -1), -1);
  EXPECT_EQ(mRecorder.GetErrors().size(), 2u);
  mConfig->SetInt("Key", 6);
  EXPECT_EQ(mConfig->GetInt("Key", -1), 6);
  EXPECT_EQ(mRecorder.GetErrors().size(), 2u);
}

TEST_P(ConfigSuite, EachTypeIsToldFromTheOthers)
{
  OpenWithDefaults(
      Object({{"Real", 1.5}, {"Large", Json::Value(std::numeric_limits<Json::UInt64>::max())}, {"Null", {}}}));
  mConfig->SetInt("Int", 1);
  EXPECT_FALSE(mConfig->GetBool("Int", false));
  EXPECT_EQ(mConfig->GetInt("Real", -1), -1);
  EXPECT_EQ(mConfig->GetInt("Large", -1), -1);
  EXPECT_EQ(mConfig->GetString("Null", "d"), "d");
  EXPECT_EQ(mRecorder.GetErrors().size(), 4u);
}

TEST_P(ConfigSuite, DeletingTellsWhetherTheKeyWasStored)
{
  OpenWithDefaults(Object({{"Packaged", 1}}));
  mConfig->SetInt("Key", 1);
  EXPECT_TRUE(mConfig->DeleteKey("Key"));
  EXPECT_FALSE(mConfig->HasKey("Key"));
  EXPECT_FALSE(mConfig->DeleteKey("Key"));
  EXPECT_FALSE(mConfig->DeleteKey("Packaged"));
  EXPECT_EQ(mConfig->ListKeys(), CKeys({"Packaged"}));
}

TEST_P(ConfigSuite, UsedBytesAreThoseOfStoredKeysAndValues)
{
  OpenWithDefaults(Object({{"Packaged", 1}}));
  mConfig->SetString("Key", "text");  // 3 + 6
  EXPECT_EQ(mConfig->GetUsedBytes(), 9u);
  mConfig->SetInt("Key", 1);  // 3 + 1
  EXPECT_EQ(mConfig->GetUsedBytes(), 4u);
  mConfig->Apply({}, {{"Object", Object({{"a", 1}})}, {"Key", true}});  // 6 + 7, 3 + 4
  EXPECT_EQ(mConfig->GetUsedBytes(), 20u);
  mConfig->SetJson("Object", Object({{"a", 1}}));
  EXPECT_EQ(mConfig->GetUsedBytes(), 20u);
  Open();
  EXPECT_EQ(mConfig->GetUsedBytes(), 20u);
  mConfig->DeleteKey("Object");
  EXPECT_EQ(mConfig->GetUsedBytes(), 7u);
  mConfig->Apply({"Key", "Absent"}, {});
  EXPECT_EQ(mConfig->GetUsedBytes(), 0u);
}

TEST_P(ConfigSuite, EveryChangeIsToldOnceInOrderWithItsValue)
{
  Open();
  std::vector<CChange> expected;
  for (int step = 0; step < 100; ++step) {
    const std::string key = "Key" + std::to_string(step % 7);
    mConfig->SetInt(key, step);
    expected.emplace_back(key, Json::Value(step));
  }
  EXPECT_EQ(TakeChanges(expected.size()), expected);
}

TEST_P(ConfigSuite, WritingThePresentValueAgainTellsNobody)
{
  OpenWithDefaults(Object({{"Packaged", 7}}));
  mConfig->SetInt("Key", 1);
  mConfig->SetInt("Key", 1);
  mConfig->SetJson("Key", Json::Value(Json::UInt64(1)));
  mConfig->SetInt("Packaged", 7);
  EXPECT_EQ(TakeChanges(1), (std::vector<CChange>{{"Key", 1}}));
}

TEST_P(ConfigSuite, WritingTheValueOfThePackagedDefaultStoresIt)
{
  OpenWithDefaults(Object({{"Packaged", 7}}));
  EXPECT_TRUE(mConfig->SetInt("Packaged", 7));
  EXPECT_GT(mConfig->GetUsedBytes(), 0u);
  OpenWithDefaults(Object({{"Packaged", 8}}));
  EXPECT_EQ(mConfig->GetInt("Packaged", 0), 7);
}

TEST_P(ConfigSuite, DeletionIsToldWithWhatReadersGetFromThenOn)
{
  OpenWithDefaults(Object({{"Packaged", 7}, {"Same", 9}}));
  CRecorder own;
  const auto plain = mConfig->RegisterChangeCallback("Plain", "fallback", own.GetChangeCB());
  const auto packaged = mConfig->RegisterChangeCallback("Packaged", -1, own.GetChangeCB());
  mConfig->Apply({}, {{"Packaged", 1}, {"Plain", 2}, {"Same", 9}});
  mConfig->DeleteKey("Plain");
  mConfig->DeleteKey("Packaged");
  mConfig->DeleteKey("Same");
  EXPECT_EQ(TakeChanges(4), (std::vector<CChange>{{"Packaged", 1}, {"Plain", 2}, {"Plain", {}}, {"Packaged", 7}}));
  EXPECT_EQ(own.GetChanges(),
            (std::vector<CChange>{{"Packaged", 1}, {"Plain", 2}, {"Plain", "fallback"}, {"Packaged", 7}}));
}

TEST_P(ConfigSuite, RegistrationHearsItsKeyOnlyAndOnlyLaterChanges)
{
  Open();
  mConfig->SetInt("Key", 1);
  CRecorder own;
  auto registration = mConfig->RegisterChangeCallback("Key", 0, own.GetChangeCB());
  mConfig->SetInt("Key", 2);
  mConfig->SetInt("Other", 3);
  TakeChanges(3);
  EXPECT_EQ(own.GetChanges(), (std::vector<CChange>{{"Key", 2}}));
  registration.reset();
  mConfig->SetInt("Key", 4);
  TakeChanges(1);
  EXPECT_EQ(own.GetChanges().size(), 1u);
}

TEST_P(ConfigSuite, SeveralRegistrationsOfOneKeyAllHearIt)
{
  Open();
  CRecorder first;
  CRecorder second;
  const auto a = mConfig->RegisterChangeCallback("Key", 0, first.GetChangeCB());
  const auto b = mConfig->RegisterChangeCallback("Key", 0, second.GetChangeCB());
  mConfig->SetInt("Key", 1);
  TakeChanges(1);
  EXPECT_EQ(first.GetChanges().size(), 1u);
  EXPECT_EQ(second.GetChanges().size(), 1u);
}

TEST_P(ConfigSuite, RegistrationMayBeDroppedInItsOwnCallback)
{
  Open();
  int calls = 0;
  std::shared_ptr<IcConfig::IRegistration> registration;
  registration = mConfig->RegisterChangeCallback("Key", 0, [&](const std::string&, const Json::Value&) {
    registration.reset();
    ++calls;
  });
  mConfig->SetInt("Key", 1);
  mConfig->SetInt("Key", 2);
  TakeChanges(2);
  EXPECT_EQ(calls, 1);
}

TEST_P(ConfigSuite, RegistrationMayOutliveItsDomain)
{
  Open();
  CRecorder own;
  auto registration = mConfig->RegisterChangeCallback("Key", 0, own.GetChangeCB());
  Open();
  mConfig->SetInt("Key", 1);
  TakeChanges(1);
  EXPECT_TRUE(own.GetChanges().empty());
  registration.reset();
}

TEST_P(ConfigSuite, CallbackMayReadWriteAndRegister)
{
  Open();
  std::shared_ptr<IcConfig::IRegistration> inner;
  CRecorder late;
  const auto outer = mConfig->RegisterChangeCallback("Key", 0, [&](const std::string& key, const Json::Value& value) {
    EXPECT_EQ(mConfig->GetInt(key, 0), value.asInt());
    inner = mConfig->RegisterChangeCallback("Echo", 0, late.GetChangeCB());
    mConfig->SetInt("Echo", value.asInt() + 1);
  });
  mConfig->SetInt("Key", 41);
  EXPECT_TRUE(late.WaitForChanges(1));
  TakeChanges(2);
  EXPECT_EQ(late.GetChanges(), (std::vector<CChange>{{"Echo", 42}}));
}

TEST_P(ConfigSuite, ApplyRemovesAndWritesInOneStep)
{
  Open();
  mConfig->Apply({}, {{"A", 1}, {"B", 2}, {"C", 3}});
  EXPECT_TRUE(mConfig->Apply({"C", "A", "Absent"}, {{"D", 4}, {"A", 5}}));
  EXPECT_EQ(mConfig->ListKeys(), CKeys({"A", "B", "D"}));
  EXPECT_EQ(mConfig->GetInt("A", 0), 5);
  EXPECT_TRUE(mConfig->Apply({}, {}));
  EXPECT_EQ(TakeChanges(6), (std::vector<CChange>{{"A", 1}, {"B", 2}, {"C", 3}, {"A", 5}, {"C", {}}, {"D", 4}}));
}

TEST_P(ConfigSuite, ApplyWithOneBadValueChangesNothing)
{
  Open();
  mConfig->SetInt("A", 1);
  EXPECT_FALSE(mConfig->Apply({"A"}, {{"B", 2}, {"C", "\xFF"}}));
  EXPECT_EQ(mConfig->ListKeys(), CKeys({"A"}));
  EXPECT_EQ(TakeChanges(1).size(), 1u);
}

TEST_P(ConfigSuite, OddKeysAndLongTextsAreKeptAsTheyAre)
{
  const std::vector<std::pair<std::string, Json::Value>> entries = {
      {"", "empty key"},           {"a\0b"s, "nul\0 inside"s},
      {"\"\\\n", "quotes"},        {"\xC3\xA4 \xF0\x9F\x94\x8C", "\xE2\x82\xAC"},
      {std::string(5000, 'k'), 1}, {"Huge", std::string(1000000, 'v')},
      {"a", "prefix of another"}};
  Open();
  EXPECT_TRUE(mConfig->Apply({}, entries));
  Open();
  for (const auto& entry : entries) {
    EXPECT_TRUE(mConfig->HasKey(entry.first));
    EXPECT_TRUE(mConfig->GetJson(entry.first, {}) == entry.second);
  }
  EXPECT_EQ(mConfig->ListKeys().size(), entries.size());
  EXPECT_TRUE(mConfig->DeleteKey("a\0b"s));
  EXPECT_TRUE(mConfig->HasKey("a"));
}

TEST_P(ConfigSuite, WhatCannotBeReadBackIsRefused)
{
  Open();
  Json::Value deep(1);
  for (int level = 0; level < 1000; ++level) {
    Json::Value outer(Json::arrayValue);
    outer.append(deep);
    deep = outer;
  }
  EXPECT_FALSE(mConfig->SetString("Key", "\xC3("));
  EXPECT_FALSE(mConfig->SetInt("\xFFKey", 1));
  EXPECT_FALSE(mConfig->SetJson("Key", deep));
  EXPECT_FALSE(mConfig->SetJson("Key", Json::Value(std::numeric_limits<double>::infinity())));
  EXPECT_EQ(mConfig->ListKeys(), CKeys());
}

TEST_P(ConfigSuite, DeepestNestingReadsBack)
{
  Json::Value deep(1);
  for (unsigned level = 0; level < IcConfig::kMaxNesting; ++level) {
    Json::Value outer(Json::arrayValue);
    outer.append(deep);
    deep = outer;
  }
  Open();
  EXPECT_TRUE(mConfig->SetJson("Key", deep));
  Open();
  EXPECT_TRUE(mConfig->GetJson("Key", {}) == deep);
}

// Walks the sources for configuration keys that are read or written and looks each up in the packaged metadata.
#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <set>

#include "src/components/configmetadata.h"
#include "tests/unit/src/components/config/datafiles.h"

namespace {

struct SUse {
  std::string file;
  std::string type;  // "Bool", "Int" or "String"; empty when the use does not tell
  std::string argument;
};

// Files whose typed reads are not of configuration keys.
const std::set<std::string> kOtherReaders = {
    "src/components/configmetadata.cpp",                        // members of the metadata itself
    "src/components/authorization/localauthorizationlist.cpp",  // a member of the list's own document
};

// A parameter handed on, or a declaration: the key is named by the caller.
bool IsHandedOn(const std::string& argument)
{
  static const std::regex kHandedOn("key|name|mKey|info.mKeyName|(const )?std::string(_view)?&? \\w+|");
  return std::regex_match(argument, kHandedOn);
}

std::vector<SUse> FindUses(const std::string& file, const std::string& text)
{
  static const std::regex kTyped(R"(\b(?:Read|Write|Get|Set)(Bool|Int|String)\s*\(\s*([^,()]*(?:\([^()]*\))?))");
  static const std::regex kCallback(R"(\bRegisterChangeCallback\s*\(\s*([^,()]*(?:\([^()]*\))?))");
  std::vector<SUse> uses;
  for (std::sregex_iterator it(text.begin(), text.end(), kTyped); it != std::sregex_iterator(); ++it) {
    uses.push_back({file, (*it)[1], (*it)[2]});
  }
  for (std::sregex_iterator it(text.begin(), text.end(), kCallback); it != std::sregex_iterator(); ++it) {
    uses.push_back({file, "", (*it)[1]});
  }
  return uses;
}

// The keys that an expression stands for: a literal, a constant, or a key that exists once for each backoffice.
std::optional<std::vector<std::string>> Resolve(const std::string& argument, const std::string& text)
{
  static const std::regex kLiteral("\"([^\"]*)\"");
  static const std::regex kMutual(R"rx((?:\w+::)?GetMutualKey\(\s*"([^"]*)"[^()]*\))rx");
  std::smatch match;
  if (std::regex_match(argument, match, kLiteral)) return {{match[1]}};
  if (std::regex_match(argument, match, kMutual)) return {{match[1], "Sbo" + match[1].str()}};
  if (!std::regex_match(argument, std::regex("\\w+"))) return std::nullopt;
  const std::regex definition("\\b" + argument +
                              R"rx((?:\[\])?\s*(?:=|\{|\()\s*((?:\w+::)?GetMutualKey\([^()]*\)|"[^"]*"))rx");
  if (!std::regex_search(text, match, definition)) return std::nullopt;
  return Resolve(match[1], "");
}

// What the metadata says of a key, or of the key that has this name in its store.
std::optional<SConfigKeyInfo> FindInfo(const Json::Value& metadata, const std::string& name)
{
  for (const std::string& key : metadata.getMemberNames()) {
    const SConfigKeyInfo info = ParseConfigKeyInfo(key, metadata[key]);
    if (key == name || info.mKeyName == name) return info;
  }
  return std::nullopt;
}

bool IsReadAs(EConfigType type, const std::string& use)
{
  switch (type) {
    case EConfigType::EBoolean:
      return use == "Bool";
    case EConfigType::EInteger:
      return use == "Int";
    case EConfigType::EString:
    case EConfigType::ECsl:
      return use == "String";
    case EConfigType::EUnknown:
      return false;
  }
  return false;
}

}  // namespace

TEST(KeyUsage, EveryKeyThatTheSourceNamesIsInTheMetadataWithItsType)
{
  const Json::Value metadata = ReadConfigDocument("ocpp_meta.json");
  std::set<std::string> found;
  for (const char* folder : {"src", "statemachines"}) {
    for (const auto& [file, text] : ReadSources(folder)) {
      if (kOtherReaders.count(file) > 0) continue;
      for (const SUse& use : FindUses(file, text)) {
        const auto keys = Resolve(use.argument, text);
        if (!keys) {
          EXPECT_TRUE(IsHandedOn(use.argument)) << file << ": cannot tell which key " << use.argument << " is";
          continue;
        }
        for (const std::string& key : *keys) {
          found.insert(key);
          const auto info = FindInfo(metadata, key);
          if (!info) {
            ADD_FAILURE() << file << ": " << key << " is not in data/config/ocpp_meta.json";
          } else {
            EXPECT_TRUE(use.type.empty() || IsReadAs(info->mType, use.type))
                << file << ": " << key << " as " << use.type;
          }
        }
      }
    }
  }
  // The walk itself works: these are read in three different ways.
  EXPECT_EQ(found.count("MessageTimeout"), 1U);
  EXPECT_EQ(found.count("WasAccepted"), 1U);
  EXPECT_EQ(found.count("SboHeartbeatInterval"), 1U);
}

TEST(KeyUsage, TheWalkSeesAllFormsOfAUse)
{
  const std::string text = R"(
    const std::string password = GetMutualKey("AuthorizationKey", id);
    constexpr const char* kInner = "Inner";
    a->ReadBool("One"); b.ReadInt(
        "Two"); c.GetString(GetMutualKey("Three", mId), ""); d.SetBool(kInner, true); e.ReadString(password);
    f.RegisterChangeCallback("Four", callback); g.ReadInt(key); h.ReadInt(table[i].name);)";
  std::vector<std::string> seen;
  for (const SUse& use : FindUses("x.cpp", text)) {
    const auto keys = Resolve(use.argument, text);
    if (!keys) seen.push_back(IsHandedOn(use.argument) ? "handed on" : "unknown");
    for (const std::string& key : keys.value_or(std::vector<std::string>())) seen.push_back(use.type + ":" + key);
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"Bool:One", "Int:Two", "String:Three", "String:SboThree", "Bool:Inner",
                                            "String:AuthorizationKey", "String:SboAuthorizationKey", "handed on",
                                            "unknown", ":Four"}));
}

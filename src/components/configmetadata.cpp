#include "src/components/configmetadata.h"

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<const char*, EConfigType>, 4> kTypes = {{
    {"boolean", EConfigType::EBoolean},
    {"integer", EConfigType::EInteger},
    {"string", EConfigType::EString},
    {"CSL", EConfigType::ECsl},
}};

constexpr std::array<std::pair<const char*, EConfigAccess>, 3> kAccessRights = {{
    {"readOnly", EConfigAccess::EReadOnly},
    {"readWrite", EConfigAccess::EReadWrite},
    {"writeOnly", EConfigAccess::EWriteOnly},
}};

// The members of one key's object, with what is wrong with them told by the key's name.
class CMembers {
 public:
  CMembers(const std::string& key, const Json::Value& object) : mKey(key), mObject(object) {}

  bool Has(const char* name) const { return mObject.isMember(name); }
  std::string GetString(const char* name, const std::string& defaultValue) const
  {
    return Has(name) ? Get(name, mObject[name].isString()).asString() : defaultValue;
  }
  bool GetBool(const char* name, bool defaultValue) const
  {
    return Has(name) ? Get(name, mObject[name].isBool()).asBool() : defaultValue;
  }
  int32_t GetInt(const char* name, int32_t defaultValue) const
  {
    return Has(name) ? Get(name, mObject[name].isInt()).asInt() : defaultValue;
  }
  const Json::Value& GetObject(const char* name) const
  {
    static const Json::Value kEmpty(Json::objectValue);
    return Has(name) ? Get(name, mObject[name].isObject()) : kEmpty;
  }

 private:
  const Json::Value& Get(const char* name, bool isRightType) const
  {
    if (!isRightType) throw OcppConfigException(mKey + " has a wrong value for " + name + " in metadata");
    return mObject[name];
  }

  const std::string& mKey;
  const Json::Value& mObject;
};

EConfigType ParseType(const std::string& key, const CMembers& members)
{
  if (!members.Has("type")) throw OcppConfigException("type property key is missing in metadata");
  const std::string text = members.GetString("type", "");
  for (const auto& [name, type] : kTypes) {
    if (text == name) return type;
  }
  throw CUnknownTypeException(key + " has unknown data type in metadata.");
}

EConfigAccess ParseAccess(const CMembers& members)
{
  if (!members.Has("accessRight")) {
    throw OcppConfigException("accessRight property key is missing in configuration metadata");
  }
  const std::string text = members.GetString("accessRight", "");
  for (const auto& [name, access] : kAccessRights) {
    if (text == name) return access;
  }
  throw OcppConfigException(text + " is unknown for the accessRight property in the metadata");
}

}  // namespace

std::vector<std::string> SplitCsl(const std::string& text)
{
  std::vector<std::string> items;
  if (text.empty()) return items;
  size_t begin = 0;
  for (size_t end = text.find(','); end != std::string::npos; end = text.find(',', begin)) {
    items.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  items.push_back(text.substr(begin));
  return items;
}

SConfigKeyInfo ParseConfigKeyInfo(const std::string& key, const Json::Value& metadata)
{
  const CMembers members(key, metadata);
  const CMembers source(key, members.GetObject("source"));
  SConfigKeyInfo info;
  info.mType = ParseType(key, members);
  info.mAccess = ParseAccess(members);
  info.mRebootRequired = members.GetBool("rebootRequiredWhenChanged", info.mRebootRequired);
  info.mMin = members.GetInt("min", info.mMin);
  info.mMax = members.GetInt("max", info.mMax);
  info.mSupportedItems = SplitCsl(members.GetString("supportedItems", ""));
  info.mFile = source.GetString("file", info.mFile);
  info.mKeyName = source.GetString("keyName", key);
  if (info.mType == EConfigType::EString) {
    info.mAllowedList = SplitCsl(members.GetString("allowedStringList", ""));
    info.mDeniedList = SplitCsl(members.GetString("deniedStringList", ""));
  }
  return info;
}

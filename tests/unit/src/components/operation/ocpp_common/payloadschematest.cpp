#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>

#include "src/components/operation/ocpp_common/constraints.h"
#include "src/components/operation/ocpp_common/json.h"
#include "tests/unit/src/components/operation/ocpp_common/payloadtable.h"

// The records against the published JSON schemas (OCPP 1.6 with its security extension, OCPP 2.0.1).

namespace {

using nlohmann::json;

// What a schema may say without a record having to know: names, prose, the formats of texts that stay texts here, and
// that unknown members are refused (they are skipped here). 2.0.1's minItems is left to the operation.
const std::set<std::string> kWithoutMeaningHere = {"$id",      "$schema",     "additionalItems", "additionalProperties",
                                                   "default",  "definitions", "description",     "format",
                                                   "minItems", "multipleOf"};

// The schema in the form that SPayload::describe gives; throws for a keyword that neither side knows.
json Normalise(const json& schema, const json& definitions)
{
  if (schema.contains("$ref")) {
    const std::string reference = schema["$ref"];
    return Normalise(definitions.at(reference.substr(reference.rfind('/') + 1)), definitions);
  }
  json result = json::object();
  for (const auto& [keyword, value] : schema.items()) {
    if (kWithoutMeaningHere.count(keyword) > 0) continue;
    if (keyword == "properties") {
      result[keyword] = json::object();
      for (const auto& [name, member] : value.items()) result[keyword][name] = Normalise(member, definitions);
    } else if (keyword == "items") {
      result[keyword] = Normalise(value, definitions);
    } else if (keyword == "required" || keyword == "enum") {
      auto sorted = value.get<std::vector<std::string>>();
      std::sort(sorted.begin(), sorted.end());
      result[keyword] = sorted;
    } else if (keyword == "type" || keyword == "maxLength" || keyword == "minLength") {
      result[keyword] = value;
    } else {
      throw std::runtime_error("The published schema uses the keyword " + keyword);
    }
  }
  if (result.value("type", "") == "object" && !result.contains("properties")) result["properties"] = json::object();
  return result;
}

// Units of StopTransaction have one spelling of Celsius, "Celcius"; some publications of the schema list both.
void RemoveSecondCelsius(json& schema)
{
  auto& units = schema["properties"]["transactionData"]["items"]["properties"]["sampledValue"]["items"]["properties"]
                      ["unit"]["enum"];
  units.erase(std::remove(units.begin(), units.end(), json("Celsius")), units.end());
}

json LoadFile(EOcppVersion version)
{
  const std::string path =
      std::string(SECC_OCPP_SCHEMAS) + (version == EOcppVersion::E16 ? "/ocpp1_6.json" : "/ocpp2_0_1.json");
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error("The published schemas are missing: " + path +
                             " (run 'npm ci' in simulator, or set SECC_OCPP_SCHEMAS)");
  }
  return json::parse(file);
}

json Published(const SPayload& payload)
{
  static const json files[] = {LoadFile(EOcppVersion::E16), LoadFile(EOcppVersion::E201)};
  for (const auto& schema : files[payload.version == EOcppVersion::E16 ? 0 : 1]) {
    if (schema.at("$id") != "urn:" + payload.name) continue;
    auto normalised = Normalise(schema, schema.value("definitions", json::object()));
    if (payload.name == "StopTransaction.req") RemoveSecondCelsius(normalised);
    return normalised;
  }
  throw std::runtime_error("No schema for " + payload.name);
}

// An instance of the schema with all its members, each text as long as it may be, or only those required.
enum class EMembers { EAll, ERequired };

json Instance(const json& schema, EMembers members)
{
  const std::string type = schema.at("type");
  if (type == "object") {
    json object = json::object();
    const auto required = schema.value("required", std::vector<std::string>());
    for (const auto& [name, member] : schema.at("properties").items()) {
      const bool isRequired = std::find(required.begin(), required.end(), name) != required.end();
      if (isRequired || members == EMembers::EAll) object[name] = Instance(member, members);
    }
    return object;
  }
  if (type == "array") return json::array({Instance(schema.at("items"), members)});
  if (type == "integer") return std::numeric_limits<int64_t>::max();
  if (type == "number") return 0.1;
  if (type == "boolean") return true;
  if (schema.contains("enum")) return schema["enum"].front();
  return std::string(schema.value("maxLength", size_t{40}), 'x');
}

// Calls `visit` with each member's schema and its place in `instance`, which holds all members.
void Walk(const json& schema, const json::json_pointer& place,
          const std::function<void(const json& schema, const json::json_pointer& place, bool isRequired)>& visit)
{
  const std::string type = schema.at("type");
  if (type == "array") {
    visit(schema["items"], place / 0, true);
    Walk(schema["items"], place / 0, visit);
  } else if (type == "object") {
    const auto required = schema.value("required", std::vector<std::string>());
    for (const auto& [name, member] : schema.at("properties").items()) {
      visit(member, place / name, std::find(required.begin(), required.end(), name) != required.end());
      Walk(member, place / name, visit);
    }
  }
}

json OfAnotherType(const json& schema)
{
  const std::string type = schema.at("type");
  if (type == "string") return 5;
  if (type == "integer") return 5.5;
  if (type == "array") return json::object();
  return json::array();
}

class CPayloadSchema : public testing::TestWithParam<SPayload> {};

std::string TestName(const testing::TestParamInfo<SPayload>& info)
{
  std::string name = info.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Payloads, CPayloadSchema, testing::ValuesIn(Payloads()), TestName);

TEST_P(CPayloadSchema, RecordHasThePublishedMembersTypesEnumerationsAndLengths)
{
  const auto published = Published(GetParam());
  const auto declared = GetParam().describe();
  EXPECT_EQ(declared, published) << "to make the declaration the published one: "
                                 << json::diff(declared, published).dump(2);
}

TEST_P(CPayloadSchema, LargestAndSmallestInstancesAreReadAndWrittenUnchanged)
{
  for (const auto members : {EMembers::EAll, EMembers::ERequired}) {
    const auto instance = Instance(Published(GetParam()), members);
    EXPECT_EQ(json::parse(GetParam().reread(instance.dump())), instance);
  }
}

TEST_P(CPayloadSchema, EveryEnumerationTextIsReadAndWrittenUnchangedAndAnyOtherRefused)
{
  const auto schema = Published(GetParam());
  auto instance = Instance(schema, EMembers::EAll);
  Walk(schema, json::json_pointer(), [&](const json& member, const json::json_pointer& place, bool /*isRequired*/) {
    if (!member.contains("enum")) return;
    const auto kept = instance[place];
    for (const auto& text : member["enum"]) {
      instance[place] = text;
      EXPECT_EQ(json::parse(GetParam().reread(instance.dump())), instance);
    }
    for (std::string other : {"", "NoSuchText"}) {
      instance[place] = other;
      EXPECT_THROW(GetParam().reread(instance.dump()), const char*) << place << other;
    }
    instance[place] = kept;
  });
}

TEST_P(CPayloadSchema, TextOneCharacterTooLongIsRefused)
{
  const auto schema = Published(GetParam());
  auto instance = Instance(schema, EMembers::EAll);
  Walk(schema, json::json_pointer(), [&](const json& member, const json::json_pointer& place, bool /*isRequired*/) {
    if (!member.contains("maxLength")) return;
    const auto kept = instance[place];
    instance[place] = kept.get<std::string>() + "x";
    EXPECT_THROW(GetParam().reread(instance.dump()), OcppConstraints::valueTooLongException) << place;
    instance[place] = kept;
  });
}

TEST_P(CPayloadSchema, MissingRequiredMemberIsOutOfRangeAndAMissingOptionalOneStaysMissing)
{
  const auto schema = Published(GetParam());
  const auto instance = Instance(schema, EMembers::EAll);
  Walk(schema, json::json_pointer(), [&](const json& /*member*/, const json::json_pointer& place, bool isRequired) {
    auto changed = instance;
    auto& parent = changed[place.parent_pointer()];
    if (!parent.is_object()) return;
    parent.erase(place.back());
    if (isRequired) {
      EXPECT_THROW(GetParam().reread(changed.dump()), json::out_of_range) << place;
    } else {
      EXPECT_EQ(json::parse(GetParam().reread(changed.dump())), changed) << place;
    }
  });
}

TEST_P(CPayloadSchema, MemberOfAnotherTypeAndNullAreTypeErrors)
{
  const auto schema = Published(GetParam());
  const auto instance = Instance(schema, EMembers::EAll);
  Walk(schema, json::json_pointer(), [&](const json& member, const json::json_pointer& place, bool /*isRequired*/) {
    for (const auto& value : {OfAnotherType(member), json(nullptr)}) {
      auto changed = instance;
      changed[place] = value;
      EXPECT_THROW(GetParam().reread(changed.dump()), json::type_error) << place << " " << value;
    }
  });
}

TEST_P(CPayloadSchema, PayloadThatIsNoObjectIsATypeError)
{
  for (const auto* text : {"null", "[]", "5", "\"a\"", "true"}) {
    EXPECT_THROW(GetParam().reread(text), json::type_error) << text;
  }
}

// Every action that the station sends or answers has both its messages in the table.
TEST(PayloadTable, HoldsRequestAndResponseOfEveryAction)
{
  const std::set<std::string> actions = {
      // sent
      "Authorize", "BootNotification", "DiagnosticsStatusNotification", "FirmwareStatusNotification", "Heartbeat",
      "LogStatusNotification", "MeterValues", "SecurityEventNotification", "StartTransaction", "StatusNotification",
      "StopTransaction",
      // answered
      "ChangeAvailability", "ChangeConfiguration", "ClearCache", "ClearChargingProfile", "DataTransfer",
      "ExtendedTriggerMessage", "GetConfiguration", "GetDiagnostics", "GetLocalListVersion", "GetLog",
      "RemoteStartTransaction", "RemoteStopTransaction", "Reset", "SendLocalList", "SetChargingProfile",
      "TriggerMessage", "UnlockConnector", "UpdateFirmware",
      // carried in DataTransfer
      "GetVariables"};
  std::set<std::string> expected;
  for (const auto& action : actions) {
    expected.insert(action + ".req");
    expected.insert(action + ".conf");
  }
  std::set<std::string> names;
  for (const auto& payload : Payloads()) names.insert(payload.name);
  EXPECT_EQ(names, expected);
}

#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "src/components/configkeyinfo.h"
#include "src/components/ocppconfigexception.h"

// The metadata names a data type that there is not.
class CUnknownTypeException : public OcppConfigException {
 public:
  using OcppConfigException::OcppConfigException;
};

// Reads the metadata object of one key (`ocpp_meta.json`). `key` is the key's name, which is also its name in the store
// unless the metadata says otherwise. An unknown type raises CUnknownTypeException; a missing type, a missing
// or unknown access right and a member of the wrong JSON type raise OcppConfigException.
SConfigKeyInfo ParseConfigKeyInfo(const std::string& key, const Json::Value& metadata);

// The items of a list separated by commas, as they stand; the empty text has none.
std::vector<std::string> SplitCsl(const std::string& text);

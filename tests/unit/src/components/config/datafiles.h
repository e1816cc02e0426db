#pragma once

#include <json/value.h>

#include <map>
#include <string>

// The files that are packaged with the program, read from the source tree.
std::string ReadSourceFile(const std::string& path);
// A document below data/config, as "ocpp_meta.json".
Json::Value ReadConfigDocument(const std::string& name);
// All sources below the folder `folder` of the source tree: path and text.
std::map<std::string, std::string> ReadSources(const std::string& folder);

#pragma once

#include <string>

// The frames of OCPP-J 1.6 section 4.2, as this station writes them: no whitespace, and nothing escaped in id, action,
// code or description. Payload and details are JSON text.
namespace FrameWriter {

// [2,"<id>","<action>",<payload>]
std::string WriteCall(const std::string& id, const std::string& action, const std::string& payload);
// [3,"<id>",<payload>]
std::string WriteCallResult(const std::string& id, const std::string& payload);
// [4,"<id>","<code>","<description>",<details>]
std::string WriteCallError(const std::string& id, const std::string& code, const std::string& description,
                           const std::string& details);

}  // namespace FrameWriter

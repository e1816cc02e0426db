#include "src/components/operation/ocpp_common/framewriter.h"

namespace FrameWriter {

std::string WriteCall(const std::string& id, const std::string& action, const std::string& payload)
{
  return "[2,\"" + id + "\",\"" + action + "\"," + payload + "]";
}

std::string WriteCallResult(const std::string& id, const std::string& payload)
{
  return "[3,\"" + id + "\"," + payload + "]";
}

std::string WriteCallError(const std::string& id, const std::string& code, const std::string& description,
                           const std::string& details)
{
  return "[4,\"" + id + "\",\"" + code + "\",\"" + description + "\"," + details + "]";
}

}  // namespace FrameWriter

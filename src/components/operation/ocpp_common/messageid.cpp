#include "src/components/operation/ocpp_common/messageid.h"

#include <uuid/uuid.h>

#include <array>

std::string NewMessageId()
{
  uuid_t uuid;
  uuid_generate(uuid);
  std::array<char, UUID_STR_LEN> text{};
  uuid_unparse(uuid, text.data());
  return text.data();
}

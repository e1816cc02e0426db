// Payloads: whatever the bytes, each record's reader takes them or refuses them, and reads what it wrote the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tests/unit/src/components/operation/ocpp_common/payloadtable.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (!CheckForeignPayload(std::string_view(reinterpret_cast<const char*>(data), size))) std::abort();
  return 0;
}

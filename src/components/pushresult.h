#pragma once

#include <cstdint>

// Result codes of everything that pushes an out-call; the numbers appear in log lines.
enum class EPushResult : uint8_t {
  ENothing = 0,     // nothing to push, or not an operation for the transaction queue
  EPassed = 1,      // taken by (or passed around) the transaction queue; from COcpp: no operation could be created
  ENoReceiver = 2,  // no backoffice may receive the operation
  EFailed = 3,      // no target named, payload could not be formed, or backoffice not enabled
  EQueued = 4,      // waits in the operation queue
};

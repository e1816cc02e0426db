#pragma once

#include <stdexcept>

namespace Rpc {

// A call to a sibling process failed: it is absent, did not answer within the deadline, answered garbage, or the
// communication was stopped. what() names the service, the call and the reason. The call may have had its effect.
class CommunicationException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Rpc

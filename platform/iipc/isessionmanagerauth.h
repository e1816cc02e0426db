#pragma once

#include <cstdint>
#include <functional>

#include "platform/iipc/messages.h"

// The authorization side of the session manager, one for the station.
//
// Every request throws Rpc::CommunicationException when it fails. Handlers are called on the notification thread of the
// IPC host, one at a time; an empty one drops its notifications. Setting and calling are safe from any thread.
class ISessionManagerAuth {
 public:
  // Connector from 1, or 0 when the identification was presented at no particular one.
  using AuthorizeIdHandler = std::function<void(uint32_t connector, ipc::MAuthorizeRequest)>;

  virtual ~ISessionManagerAuth() = default;

  // Answers a request that concerns no particular connector. Illegal: it does not wait any more.
  virtual ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) = 0;

  virtual void SetAuthorizeIdHandler(AuthorizeIdHandler handler) = 0;
};

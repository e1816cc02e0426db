#pragma once

#include <memory>
#include <string>

#include "platform/commutil/client.h"
#include "platform/iclogger/logconfig.h"
#include "platform/iipc/ibasiccharge2.h"
#include "platform/iipc/iboardcontrol.h"
#include "platform/iipc/icurrentcontrol.h"
#include "platform/iipc/idiagnostics.h"
#include "platform/iipc/ifeedback.h"
#include "platform/iipc/igenericcontrol.h"
#include "platform/iipc/imeter.h"
#include "platform/iipc/isafetymcucomm.h"
#include "platform/iipc/isessionmanager.h"
#include "platform/iipc/isessionmanagerauth.h"

class GrpcBackend;

// What AppCommunicationHost<GrpcBackend> can create clients of, and what it can offer. The clients throw
// Rpc::CommunicationException, never wait longer than the deadline of the service directory, and are safe from any
// thread.
namespace Rpc {

template <>
struct SClientBinding<IBasicCharge2> {
  static std::shared_ptr<IBasicCharge2> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<IBoardControl> {
  static std::shared_ptr<IBoardControl> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<ICurrentControl> {
  static std::shared_ptr<ICurrentControl> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<IDiagnostics> {
  static std::shared_ptr<IDiagnostics> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<IFeedback> {
  static std::shared_ptr<IFeedback> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<IMeter> {
  static std::shared_ptr<IMeter> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<ISafetyMcuComm> {
  static std::shared_ptr<ISafetyMcuComm> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<ISessionManager> {
  static std::shared_ptr<ISessionManager> Create(GrpcBackend& backend, const std::string& serviceName);
};

template <>
struct SClientBinding<ISessionManagerAuth> {
  static std::shared_ptr<ISessionManagerAuth> Create(GrpcBackend& backend, const std::string& serviceName);
};

// Sets the notifiers of the service. Enable and Disable may block; each request has a thread of its own.
template <>
struct SServiceBinding<IGenericControl> {
  static void Serve(GrpcBackend& backend, const std::string& serviceName, std::shared_ptr<IGenericControl> service);
};

template <>
struct SServiceBinding<ILogConfig> {
  static void Serve(GrpcBackend& backend, const std::string& serviceName, std::shared_ptr<ILogConfig> service);
};

}  // namespace Rpc

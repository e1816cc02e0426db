#include <cstdlib>
#include <exception>
#include <memory>
#include <typeinfo>

#include "platform/commutil/grpcbackend.h"
#include "platform/iclogger/log.h"
#include "src/secc/commandline.h"
#include "src/secc/secc.h"
#include "src/secc/terminationsignal.h"

namespace Rpc {

// The IPC layer writes into the process's log.
class IcLogger : public ILogger {
 public:
  void Critical(const std::string& message) override { LOG_CRITICAL("[RPC] {}", message); }
  void Error(const std::string& message) override { LOG_ERROR("[RPC] {}", message); }
  void Warning(const std::string& message) override { LOG_WARNING("[RPC] {}", message); }
  void Info(const std::string& message) override { LOG_INFO("[RPC] {}", message); }
  void Debug(const std::string& message) override { LOG_DEBUG("[RPC] {}", message); }
  void Trace(const std::string& message) override { LOG_TRACE("[RPC] {}", message); }
};

}  // namespace Rpc

namespace {

[[noreturn]] void HandleTermination()
{
  if (const auto current = std::current_exception()) {
    try {
      std::rethrow_exception(current);
    } catch (const std::exception& error) {
      LOG_CRITICAL("Uncaught exception of type '{}' with message: '{}'", Log::Demangle(typeid(error).name()),
                   error.what());
    } catch (...) {
      LOG_CRITICAL("Uncaught exception of unknown type.");
    }
  }
  LOG_CRITICAL("Aborting process.");
  std::abort();
}

}  // namespace

int main(int argc, char** argv)
{
  BlockTerminationSignal();
  Log::Init("Secc", Log::ELogLevel::EInfo);
  std::set_terminate(HandleTermination);
  const auto commandLine = ParseCommandLine(argc, argv);
  if (!commandLine) return 1;
  GrpcBackend::SetLogger(std::make_shared<Rpc::IcLogger>());
  {
    CSecc secc(commandLine->root);
    secc.Run();
  }
  return 0;
}

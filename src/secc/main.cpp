#include <exception>
#include <memory>

#include "platform/commutil/grpcbackend.h"
#include "platform/iclogger/log.h"
#include "src/secc/commandline.h"
#include "src/secc/iclogger.h"
#include "src/secc/secc.h"
#include "src/secc/terminationhandler.h"
#include "src/secc/terminationsignal.h"

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

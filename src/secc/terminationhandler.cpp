#include "src/secc/terminationhandler.h"

#include <cstdlib>
#include <exception>
#include <typeinfo>

#include "platform/iclogger/log.h"

void HandleTermination()
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

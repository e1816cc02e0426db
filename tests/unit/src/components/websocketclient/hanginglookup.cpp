#include "tests/unit/src/components/websocketclient/hanginglookup.h"

#include <dlfcn.h>
#include <netdb.h>

#include <chrono>
#include <cstring>

CMutex CHangingLookup::sMutex;
CCondition CHangingLookup::sChanged;
CHangingLookup* CHangingLookup::sCurrent = nullptr;

CHangingLookup::CHangingLookup()
{
  CLock lock(sMutex);
  sCurrent = this;
}

CHangingLookup::~CHangingLookup()
{
  CLock lock(sMutex);
  sCurrent = nullptr;
  CRealClock().NotifyAll(sChanged);
}

bool CHangingLookup::AwaitQuestion()
{
  CRealClock clock;
  const auto deadline = clock.SteadyNow() + std::chrono::seconds(20);
  CLock lock(sMutex);
  while (!mIsAsked) {
    if (!clock.WaitUntil(lock, sChanged, deadline)) return false;
  }
  return true;
}

void CHangingLookup::Hang()
{
  CRealClock clock;
  CLock lock(sMutex);
  if (sCurrent == nullptr) return;
  sCurrent->mIsAsked = true;
  clock.NotifyAll(sChanged);
  while (sCurrent != nullptr) clock.Wait(lock, sChanged);
}

// Takes the place of the C library's for this program.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
{
  using CFunction = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto original = reinterpret_cast<CFunction>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (node == nullptr || std::strcmp(node, CHangingLookup::kName) != 0) return original(node, service, hints, result);
  CHangingLookup::Hang();
  return original("127.0.0.1", service, hints, result);
}

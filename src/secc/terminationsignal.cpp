#include "src/secc/terminationsignal.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <system_error>

namespace {

// The C handler can only reach something of file scope.
std::function<void(int)> gCallback;

void HandleSignal(int signal)
{
  if (gCallback) gCallback(signal);
}

sigset_t TerminationSet()
{
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  return set;
}

}  // namespace

void BlockTerminationSignal()
{
  const sigset_t set = TerminationSet();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

CTerminationSignal::CTerminationSignal(IClock& clock, std::function<void(int)> callback) : mStop{-1, -1}
{
  if (pipe2(mStop, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  gCallback = std::move(callback);
  signal(SIGINT, HandleSignal);
  mThread = std::make_unique<CThread>(clock, "signals", [this] { Wait(); });
}

CTerminationSignal::~CTerminationSignal()
{
  signal(SIGINT, SIG_DFL);
  close(mStop[1]);
  mThread->Join();
  close(mStop[0]);
  gCallback = nullptr;
  const sigset_t set = TerminationSet();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void CTerminationSignal::Wait()
{
  const sigset_t set = TerminationSet();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  pollfd stop{mStop[0], POLLIN, 0};
  while (poll(&stop, 1, -1) < 0 && errno == EINTR) {
  }
}

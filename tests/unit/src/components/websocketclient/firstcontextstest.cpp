// The first TLS contexts of a process. Each attempt is a process of its own, because the engine prepares itself once.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "src/components/websocketppwrapper.h"

namespace {

constexpr int kProcesses = 20;
// An engine that prepares itself in several of them at once fails in every third process.
constexpr int kLinks = 3;
// It may also wait for itself for ever.
constexpr unsigned kPatienceSeconds = 60;

// At the moment when all others do so as well. True when a context was made.
bool MakeContext(std::atomic<int>& waiting)
{
  websocketppwrapper::CWebsocketPPWrapper link;
  link.clear_access_channels(websocketppwrapper::IWebsocketPPWrapper::kAllChannels);
  link.clear_error_channels(websocketppwrapper::IWebsocketPPWrapper::kAllChannels);
  link.init_asio();
  bool isMade = false;
  link.set_tls_init_handler(
      [&](const websocketppwrapper::CConnectionHandle&, websocketppwrapper::ITlsContext&) { return isMade = true; });
  --waiting;
  while (waiting > 0) {
  }
  std::error_code error;
  link.get_connection("wss://127.0.0.1/", error);
  return isMade && !error;
}

[[noreturn]] void MakeFirstContexts()
{
  alarm(kPatienceSeconds);
  std::atomic<int> waiting = kLinks;
  std::atomic<int> made = 0;
  std::vector<std::thread> threads;
  for (int link = 0; link < kLinks; ++link) {
    threads.emplace_back([&] { made += MakeContext(waiting) ? 1 : 0; });
  }
  for (auto& thread : threads) thread.join();
  std::_Exit(made == kLinks ? EXIT_SUCCESS : EXIT_FAILURE);
}

TEST(TlsEngineDeathTest, LinksThatConnectAtOnceMakeTheFirstContexts)
{
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (int process = 0; process < kProcesses; ++process) {
    ASSERT_EXIT(MakeFirstContexts(), testing::ExitedWithCode(EXIT_SUCCESS), "") << "process " << process;
  }
}

}  // namespace

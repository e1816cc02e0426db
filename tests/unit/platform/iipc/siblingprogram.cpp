// A sibling process for the tests: secc_test_sibling <mode> <address or path>.
//
// Mode "serve" serves every service at a gRPC address and takes orders on its standard input, one a line, with bytes in
// hexadecimal:
//   reply <method> <bytes>   hold <method>   notify <method> <bytes>   repeat <count> <method>
// "repeat" notifies <count> times, each time with an MSessionManagerNotification whose session_started carries the
// running number as energy register. On its standard output it tells "ready", "call <method>" for each call, and
// "obeyed <order>". Modes "mute" and "junk" listen on a Unix socket path: the one never says anything, the other greets
// everybody with bytes that are no HTTP/2. Both tell "ready".
//
// It ends with its standard input.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "platform/iipc/messages.h"
#include "tests/unit/platform/iipc/genericsibling.h"

namespace {

void Tell(const std::string& line) { std::cout << line + "\n" << std::flush; }

std::string FromHex(const std::string& text)
{
  std::string bytes;
  for (size_t index = 0; index + 1 < text.size(); index += 2) {
    bytes.push_back(static_cast<char>(std::stoi(text.substr(index, 2), nullptr, 16)));
  }
  return bytes;
}

void Repeat(CGenericSibling& sibling, int64_t count, const std::string& method)
{
  for (int64_t number = 1; number <= count; ++number) {
    ipc::MSessionManagerNotification notification;
    notification.mutable_session_started()->set_energy_register(number);
    sibling.Notify(method, notification.SerializeAsString());
  }
}

void Obey(CGenericSibling& sibling, const std::string& line)
{
  std::istringstream words(line);
  std::string order;
  std::string first;
  std::string second;
  words >> order >> first >> second;
  if (order == "reply") sibling.SetReply(first, FromHex(second));
  if (order == "hold") sibling.Hold(first);
  if (order == "notify") sibling.Notify(first, FromHex(second));
  if (order == "repeat") Repeat(sibling, std::stoll(first), second);
  Tell("obeyed " + order);
}

int Serve(const std::string& address)
{
  CGenericSibling sibling(address, [](const std::string& method, const std::string&) { Tell("call " + method); });
  Tell("ready");
  for (std::string line; std::getline(std::cin, line);) Obey(sibling, line);
  return 0;
}

int Listen(const std::string& path, bool junk)
{
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  unlink(path.c_str());
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) return 1;
  if (listen(listener, 100) != 0) return 1;
  std::thread([listener, junk] {
    for (int connection = accept(listener, nullptr, nullptr); connection >= 0;
         connection = accept(listener, nullptr, nullptr)) {
      const std::string greeting = "220 this is not the protocol that you are looking for\r\n";
      if (junk && write(connection, greeting.data(), greeting.size()) < 0) close(connection);
    }
  }).detach();
  Tell("ready");
  for (std::string line; std::getline(std::cin, line);) {
  }
  // The listening thread is not waited for.
  _exit(0);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
  if (argumentCount != 3) return 2;
  const std::string mode = arguments[1];
  return mode == "serve" ? Serve(arguments[2]) : Listen(arguments[2], mode == "junk");
}

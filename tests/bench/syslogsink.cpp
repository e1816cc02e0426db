// Takes what is written to the system log and throws it away, in the place of a station's log daemon: without one each
// line costs its writer a vain attempt to connect. tests/bench/processes.js starts it.
//
//   bench_syslogsink SOCKET

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
  sockaddr_un address{};
  if (argc != 2 || std::strlen(argv[1]) >= sizeof address.sun_path) {
    std::fprintf(stderr, "usage: bench_syslogsink SOCKET\n");
    return 2;
  }
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, argv[1]);
  const int receiver = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (bind(receiver, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    std::perror(argv[1]);
    return 1;
  }
  // Whoever started this waits for the line.
  std::puts("ready");
  std::fflush(stdout);
  std::array<char, 8192> line{};
  while (recv(receiver, line.data(), line.size(), 0) >= 0) {
  }
  return 0;
}

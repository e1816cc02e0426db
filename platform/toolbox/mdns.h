#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Toolbox {

// One service instance that answered.
struct SMdnsDevice {
  std::string name;     // instance name without the service, as "Cellar gateway"
  std::string host;     // host name of its SRV record, as "gateway.local"
  std::string address;  // IPv4 address of that host in dotted form
  uint16_t port{0};     // port of its SRV record
};

// Where the question goes, and when to give up early. The defaults are multicast DNS (RFC 6762).
struct SMdnsTransport {
  std::string destination{"224.0.0.251"};  // IPv4; a unicast address is asked without choosing an interface
  uint16_t port{5353};
  // Asked about every 100 ms; true ends the query with what has been found so far.
  std::function<bool()> isAborted;
};

// One-shot multicast DNS query (RFC 6762 section 5.1): asks for the instances of `service` (as "_ocpp._tcp"; ".local"
// is added when missing) with the unicast-response bit from an ephemeral port, and collects PTR, SRV and A records.
//
// `names` are host names, without regard to case and with or without the ending ".local"; only devices whose host or
// instance name is among them are returned. An empty list lets every device pass.
//
// `sends`: how often the question is sent, one second apart; at least once.
// `interfaceIndex`: the interface to ask on; 0 asks on every IPv4 interface that is up and can multicast.
// `deadlineSeconds`: how long answers are waited for, counted from the first question.
// `maxDevices`: the query ends as soon as so many devices have been found; 0 waits for all until the deadline.
//
// Blocks the calling thread for at most the deadline. Devices come in the order in which they became complete.
// A network without interfaces, or on which nothing can be sent, gives an empty list and an error line in the log.
std::vector<SMdnsDevice> QueryMdnsDevicesFiltered(const std::string& service, const std::vector<std::string>& names,
                                                  unsigned sends, unsigned interfaceIndex, unsigned deadlineSeconds,
                                                  size_t maxDevices, const SMdnsTransport& transport = {});

}  // namespace Toolbox

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "platform/toolbox/mdns.h"

namespace Toolbox {

// Type of a DNS record (RFC 1035, RFC 2782) as far as a browse for services needs it.
enum class EMdnsType : uint16_t { EA = 1, EPtr = 12, ESrv = 33 };

struct SMdnsQuestion {
  std::string name;
  EMdnsType type;
  bool operator<(const SMdnsQuestion& other) const { return std::tie(name, type) < std::tie(other.name, other.type); }
};

// The message that asks `question` with the unicast-response bit; empty when the name is no DNS name.
std::vector<uint8_t> MakeMdnsQuery(const SMdnsQuestion& question);

// What is known from the answers to one browse. Not thread-safe.
class CMdnsRecords {
 public:
  // `service` with the ending ".local", as "_ocpp._tcp.local".
  explicit CMdnsRecords(std::string service);

  // Takes the records of one response; anything that is no response, or is malformed, is ignored from there on.
  void Add(const uint8_t* message, size_t size);
  // Instances whose host, port and address are all known, in the order in which they were first heard of.
  std::vector<SMdnsDevice> GetDevices() const;
  // What has to be asked to complete the instances heard of so far.
  std::vector<SMdnsQuestion> GetOpenQuestions() const;

 private:
  struct SService {
    std::string host;
    uint16_t port{0};
  };

  const std::string mService;
  // Names are kept in presentation form and lower case; instances also as they were spelt.
  std::vector<std::string> mInstances;
  std::map<std::string, SService> mServices;
  std::map<std::string, std::string> mAddresses;
};

// True when the device's host or instance name is among `names`, or `names` is empty; without regard to case and with
// or without ".local".
bool IsWanted(const SMdnsDevice& device, const std::vector<std::string>& names);

}  // namespace Toolbox

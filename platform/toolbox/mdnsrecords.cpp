#include "platform/toolbox/mdnsrecords.h"

#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace Toolbox {
namespace {

// A network has a few stations; whoever answers with more is not believed.
constexpr size_t kMaxEntries = 256;
// RFC 6762 section 5.4: the top bit of the question's class asks for a unicast response.
constexpr uint16_t kUnicastResponse = 0x8000;
// Section 10.2: in an answer the same bit says that older records are to be dropped.
constexpr uint16_t kClassMask = 0x7FFF;

std::string ToLower(std::string text)
{
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

bool EndsWith(const std::string& text, const std::string& end)
{
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string WithoutLocal(const std::string& name)
{
  static const std::string kLocal = ".local";
  const std::string lower = ToLower(name);
  return EndsWith(lower, kLocal) ? lower.substr(0, lower.size() - kLocal.size()) : lower;
}

// Takes the escapes out of a name in presentation form: "\032" is the byte 32, "\." a dot.
std::string Unescape(const std::string& name)
{
  const auto isDigit = [&](size_t at) {
    return at < name.size() && std::isdigit(static_cast<unsigned char>(name[at]));
  };
  std::string text;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] != '\\' || i + 1 == name.size()) {
      text += name[i];
    } else if (isDigit(i + 1) && isDigit(i + 2) && isDigit(i + 3)) {
      text += static_cast<char>((name[i + 1] - '0') * 100 + (name[i + 2] - '0') * 10 + (name[i + 3] - '0'));
      i += 3;
    } else {
      text += name[++i];
    }
  }
  return text;
}

std::string ReadName(const ns_msg& message, const uint8_t* from)
{
  std::array<char, NS_MAXDNAME> name{};
  const int size = dn_expand(ns_msg_base(message), ns_msg_end(message), from, name.data(), name.size());
  return size < 0 ? std::string() : std::string(name.data());
}

}  // namespace

std::vector<uint8_t> MakeMdnsQuery(const SMdnsQuestion& question)
{
  // Id 0, no flags, one question; no name compression in so short a message.
  std::vector<uint8_t> message = {0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0};
  std::array<uint8_t, NS_MAXCDNAME> name{};
  const int size = dn_comp(question.name.c_str(), name.data(), name.size(), nullptr, nullptr);
  if (size < 0) return {};
  message.insert(message.end(), name.begin(), name.begin() + size);
  for (const unsigned value : {static_cast<unsigned>(question.type), unsigned{kUnicastResponse} | ns_c_in}) {
    message.push_back(static_cast<uint8_t>(value >> 8U));
    message.push_back(static_cast<uint8_t>(value & 0xFFU));
  }
  return message;
}

CMdnsRecords::CMdnsRecords(std::string service) : mService(std::move(service)) {}

void CMdnsRecords::Add(const uint8_t* data, size_t size)
{
  ns_msg message{};
  if (ns_initparse(data, static_cast<int>(size), &message) < 0) return;
  if (ns_msg_getflag(message, ns_f_qr) == 0 || ns_msg_getflag(message, ns_f_opcode) != ns_o_query) return;
  for (const ns_sect section : {ns_s_an, ns_s_ns, ns_s_ar}) {
    for (int i = 0; i < ns_msg_count(message, section); ++i) {
      ns_rr record{};
      if (ns_parserr(&message, section, i, &record) < 0) return;
      if ((ns_rr_class(record) & kClassMask) != ns_c_in) continue;
      const std::string name = ToLower(ns_rr_name(record));
      const uint8_t* content = ns_rr_rdata(record);
      switch (ns_rr_type(record)) {
        case ns_t_ptr: {
          const std::string instance = ReadName(message, content);
          const bool isKnown = std::find(mInstances.begin(), mInstances.end(), instance) != mInstances.end();
          if (name == ToLower(mService) && EndsWith(ToLower(instance), "." + ToLower(mService)) && !isKnown &&
              mInstances.size() < kMaxEntries) {
            mInstances.push_back(instance);
          }
          break;
        }
        case ns_t_srv: {
          // Priority and weight do not matter: an instance has one record.
          constexpr size_t kFixedPart = 6;
          if (ns_rr_rdlen(record) <= kFixedPart || mServices.size() >= kMaxEntries) break;
          const auto port = static_cast<uint16_t>(ns_get16(content + 4));
          mServices[name] = {ReadName(message, content + kFixedPart), port};
          break;
        }
        case ns_t_a: {
          std::array<char, INET_ADDRSTRLEN> text{};
          if (ns_rr_rdlen(record) != sizeof(in_addr) || mAddresses.size() >= kMaxEntries) break;
          if (inet_ntop(AF_INET, content, text.data(), text.size()) != nullptr) mAddresses.emplace(name, text.data());
          break;
        }
        default:  // the record types are an open set
          break;
      }
    }
  }
}

std::vector<SMdnsDevice> CMdnsRecords::GetDevices() const
{
  std::vector<SMdnsDevice> devices;
  for (const std::string& instance : mInstances) {
    const auto service = mServices.find(ToLower(instance));
    if (service == mServices.end()) continue;
    const auto address = mAddresses.find(ToLower(service->second.host));
    if (address == mAddresses.end()) continue;
    const std::string label = instance.substr(0, instance.size() - mService.size() - 1);
    devices.push_back({Unescape(label), Unescape(service->second.host), address->second, service->second.port});
  }
  return devices;
}

std::vector<SMdnsQuestion> CMdnsRecords::GetOpenQuestions() const
{
  std::vector<SMdnsQuestion> questions;
  for (const std::string& instance : mInstances) {
    const auto service = mServices.find(ToLower(instance));
    if (service == mServices.end()) {
      questions.push_back({instance, EMdnsType::ESrv});
    } else if (mAddresses.count(ToLower(service->second.host)) == 0) {
      questions.push_back({service->second.host, EMdnsType::EA});
    }
  }
  return questions;
}

bool IsWanted(const SMdnsDevice& device, const std::vector<std::string>& names)
{
  const std::string host = WithoutLocal(device.host);
  const std::string instance = ToLower(device.name);
  return names.empty() || std::any_of(names.begin(), names.end(), [&](const std::string& name) {
           return WithoutLocal(name) == host || ToLower(name) == instance;
         });
}

}  // namespace Toolbox

#pragma once

#include <memory>
#include <string>

namespace Toolbox {

// The part of an URL that IsUrlValid judges.
enum class EUrlPart { EHost, EPath };

// A handle on transfers by which another thread can end them. One object serves any number of transfers, one at a time;
// an abort is final and counts for the transfers to come as well.
class CCurlWrapper {
 public:
  CCurlWrapper();
  ~CCurlWrapper();
  CCurlWrapper(const CCurlWrapper&) = delete;
  CCurlWrapper& operator=(const CCurlWrapper&) = delete;

  // Ends the transfer in flight at once, whatever it waits for. From any thread.
  void Abort();
  bool IsAborted() const;

  // Judges one part of `url`, with or without a scheme.
  // EHost: the authority is a host name (see ValidateDomain) or an address, an IPv6 one in brackets, with or without a
  // port from 1 to 65535, and without user information.
  // EPath: what follows the authority is a path as RFC 3986 section 3.3 has it, possibly empty, without query and
  // fragment.
  static bool IsUrlValid(const std::string& url, EUrlPart part);

 private:
  friend class CTransfer;
  class CImpl;

  const std::unique_ptr<CImpl> mImpl;
};

}  // namespace Toolbox

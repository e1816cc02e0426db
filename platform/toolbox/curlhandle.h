#pragma once

#include <curl/curl.h>

#include <atomic>
#include <string>

#include "platform/toolbox/curlwrapper.h"

namespace Toolbox {

// Initialises the library once, whichever thread comes first.
void InitialiseCurl();

// A parsed URL.
class CUrlHandle {
 public:
  CUrlHandle() : mHandle(curl_url()) {}
  ~CUrlHandle() { curl_url_cleanup(mHandle); }
  CUrlHandle(const CUrlHandle&) = delete;
  CUrlHandle& operator=(const CUrlHandle&) = delete;

  bool Parse(const std::string& url)
  {
    return curl_url_set(mHandle, CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) == CURLUE_OK;
  }
  bool Has(CURLUPart part) const { return !Get(part).empty(); }
  // Empty when the URL does not have the part.
  std::string Get(CURLUPart part) const
  {
    char* text = nullptr;
    if (curl_url_get(mHandle, part, &text, 0) != CURLUE_OK) return {};
    std::string copy(text);
    curl_free(text);
    return copy;
  }

 private:
  CURLU* const mHandle;
};

// The multi interface runs even a single transfer because its wait can be ended from another thread.
class CCurlWrapper::CImpl {
 public:
  CImpl();
  ~CImpl();
  CImpl(const CImpl&) = delete;
  CImpl& operator=(const CImpl&) = delete;

  // Runs one transfer to its end; CURLE_ABORTED_BY_CALLBACK after an abort.
  CURLcode Perform(CURL* transfer);
  void Abort();
  bool IsAborted() const { return mIsAborted; }

 private:
  CURLM* const mHandle;
  std::atomic<bool> mIsAborted{false};
};

}  // namespace Toolbox

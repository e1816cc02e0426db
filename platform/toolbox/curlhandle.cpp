#include "platform/toolbox/curlhandle.h"

namespace Toolbox {

void InitialiseCurl()
{
  static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
  (void)initialised;
}

CCurlWrapper::CImpl::CImpl() : mHandle((InitialiseCurl(), curl_multi_init())) {}

CCurlWrapper::CImpl::~CImpl() { curl_multi_cleanup(mHandle); }

CURLcode CCurlWrapper::CImpl::Perform(CURL* transfer)
{
  // libcurl wakes by itself for its own timers; this only bounds a wait without any.
  constexpr int kWaitMilliseconds = 1000;
  if (mIsAborted) return CURLE_ABORTED_BY_CALLBACK;
  if (curl_multi_add_handle(mHandle, transfer) != CURLM_OK) return CURLE_FAILED_INIT;
  CURLcode result = CURLE_ABORTED_BY_CALLBACK;
  int running = 1;
  while (!mIsAborted) {
    if (curl_multi_perform(mHandle, &running) != CURLM_OK) {
      result = CURLE_FAILED_INIT;
      break;
    }
    if (running == 0) {
      int left = 0;
      if (const CURLMsg* message = curl_multi_info_read(mHandle, &left); message != nullptr) {
        result = message->data.result;
      }
      break;
    }
    curl_multi_poll(mHandle, nullptr, 0, kWaitMilliseconds, nullptr);
  }
  // Name resolution runs on a thread of the library, which an abort must not wait for.
  if (mIsAborted) curl_easy_setopt(transfer, CURLOPT_QUICK_EXIT, 1L);
  curl_multi_remove_handle(mHandle, transfer);
  return result;
}

void CCurlWrapper::CImpl::Abort()
{
  mIsAborted = true;
  curl_multi_wakeup(mHandle);
}

}  // namespace Toolbox

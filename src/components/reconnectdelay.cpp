#include "src/components/reconnectdelay.h"

#include <random>
#include <utility>

namespace {

constexpr uint32_t kFirstDelay = 3;
constexpr uint32_t kSpread = 3;
constexpr uint32_t kMaxAttempts = 6;

uint32_t DefaultRandom()
{
  std::random_device device;
  std::mt19937 twister(device());
  return static_cast<uint32_t>(twister());
}

}  // namespace

CReconnectDelay::CReconnectDelay(CRandom random) : mRandom(random ? std::move(random) : DefaultRandom) {}

uint32_t CReconnectDelay::Next()
{
  const uint32_t spread = mRandom() % kSpread;
  if (mReconnectAttempts == 0) {
    mReconnectDelay = kFirstDelay + spread;
    mReconnectAttempts = 1;
  } else if (mReconnectAttempts < kMaxAttempts) {
    mReconnectDelay = 2 * mReconnectDelay + spread;
    ++mReconnectAttempts;
  } else {
    mIsReconnectMaxedOut = true;
  }
  return mReconnectDelay;
}

void CReconnectDelay::Reset()
{
  mReconnectDelay = 0;
  mReconnectAttempts = 0;
  mIsReconnectMaxedOut = false;
}

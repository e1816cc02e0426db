#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/clock/simulatedclock.h"
#include "src/components/authorization/authorizationcache.h"
#include "src/components/authorization/localauthorizationlist.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/logcapture.h"

// Both stores over fake documents, with what their tests say of entries.
class CAuthorizationListTest : public testing::Test {
 protected:
  static constexpr size_t kCacheCapacity = 250;
  static constexpr size_t kListCapacity = 1000;

  CAuthorizationListEntry Entry(const std::string& id, EAuthorizationStatus status = EAuthorizationStatus::EAccepted,
                                CAuthorizationListEntry::CExpiry expiry = {}, const std::string& parentId = "") const
  {
    return CAuthorizationListEntry(id, parentId, status, expiry, mClock.SystemNow());
  }
  std::unique_ptr<CAuthorizationCache> OpenCache(size_t capacity = kCacheCapacity) const
  {
    return std::make_unique<CAuthorizationCache>(mClock, mStore, capacity);
  }
  std::unique_ptr<CLocalAuthorizationList> OpenList() const
  {
    return std::make_unique<CLocalAuthorizationList>(mClock, mStore, kListCapacity);
  }
  // What the document holds: all that a new process finds.
  CFakeConfig::CState Stored() const { return mStore->GetSurvivingState(); }
  // A new process finds what this one left.
  void Restart()
  {
    CFakeConfig::SOptions options;
    options.stored = Stored();
    mStore = std::make_shared<CFakeConfig>(std::move(options));
  }

  CLogCapture mLog;
  mutable CSimulatedClock mClock;
  std::shared_ptr<CFakeConfig> mStore = std::make_shared<CFakeConfig>();
};

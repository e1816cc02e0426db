#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "src/components/ipccallbacklayer.h"
#include "src/components/ocppcomponent.h"
#include "tests/unit/src/components/ocppcomponent/day/daylink.h"
#include "tests/unit/src/components/ocppcomponent/day/dayreader.h"
#include "tests/unit/src/components/ocppcomponent/day/daysessions.h"
#include "tests/unit/support/fakeconfig.h"

// A whole station around a COcppComponent: its stores, siblings, network and central systems, and a process that can be
// killed at any write. Driven by one thread.
class CDayStation {
 public:
  // When the process dies at the n-th write of a life.
  enum class ECut {
    EBehindWrite,      // with the write done, and nothing after it
    EBeforeNextWrite,  // at the next write, which is lost
  };

  struct SOptions {
    uint32_t seed = 1;
    CSimulatedClock::EThreads threads = CSimulatedClock::EThreads::EOneAtATime;
    bool hasAuxiliary = false;
    std::string chargeBeforeAcceptedPolicy = "acceptedOnce";
    int64_t sampleIntervalS = 900;
    int64_t clockAlignedIntervalS = 0;
    bool storesMeterValues = true;
    bool preAuthorizes = false;
    bool asksStoresOffline = true;
    bool allowsUnknownTagsOffline = false;
  };

  explicit CDayStation(const SOptions& options);
  ~CDayStation();
  CDayStation(const CDayStation&) = delete;
  CDayStation& operator=(const CDayStation&) = delete;

  // A new process on what the last one left, enabled.
  void PowerOn();
  // The process dies as it stands.
  void PowerOff();
  bool IsOn() const { return mLife != nullptr; }
  // Does nothing if a cut is due already in this life.
  void CutPowerAfter(uint64_t writes, ECut cut);
  // The process has died by CutPowerAfter; PowerOff clears what is left of it.
  bool IsPowerCut() const { return mLife != nullptr && mLife->IsPowerCut(); }
  void Enable();
  void Disable();
  bool IsEnabled() const { return mIsEnabled; }

  // Lets time pass; ends early when the power is cut.
  void Pass(std::chrono::nanoseconds duration);
  // Everything works again. Lets all that waits go out, and gives what is found then.
  CAccountBook::SEnd Settle();
  std::vector<std::string> Audit();

  void BreakLinks();
  void PlayMessage(const std::string& text);
  // A driver who is not in a session holds a tag to the reader.
  void PresentTag();
  // Whatever the drivers at the reader have to complain of goes into the book.
  void HearDrivers();
  // A domain over its packaged defaults. Valid until the next PowerOff.
  std::shared_ptr<CFakeConfig> Config(const std::string& domain);
  size_t CountStored() { return Config("secc_persistentmessages")->GetState().size(); }
  // Makes the store of messages look fuller than it is.
  void Inflate(uint64_t bytes) { mInflation->store(bytes); }
  // True, false, or never told.
  std::optional<bool> IsStorageFullSignal() const;

  CSimulatedClock& GetClock() { return mClock; }
  CDaySessions& GetSessions() { return *mSessions; }
  CDayReader& GetReader() { return *mReader; }
  CDayCentral& GetCentral() { return *mCentral; }
  CDayNetwork& GetNetwork() { return *mNetwork; }
  CFakeDiagnostics& GetDiagnostics() { return *mDiagnostics; }
  CFakeCurrentControl& GetCurrentControl() { return *mCurrentControl; }
  const CWireLog& GetLog() const { return *mLog; }

 private:
  // When a process counts as dead. Shared with its links.
  struct SPower {
    std::shared_ptr<CFakeMedium> medium = std::make_shared<CFakeMedium>();
    std::atomic<uint64_t> lastWrite{UINT64_MAX};
    bool isCutDue = false;
    bool IsCut() const { return medium->IsPowerCut() || medium->GetWriteCount() >= lastWrite; }
  };
  struct SLife {
    bool IsPowerCut() const { return power->IsCut(); }
    std::shared_ptr<SPower> power;
    std::vector<std::shared_ptr<CDayLink>> links;
    std::unique_ptr<COcppComponent> component;
  };

  void Preset(const SOptions& options);
  SIpcClients GetClients() const;
  SOcppEnvironment GetEnvironment();
  std::shared_ptr<CDayLink> CreateLink(const SHostSettings& settings);
  bool IsSettled();
  // Takes a cut back that is due; with all threads at rest.
  void SparePower();

  CSimulatedClock mClock;
  CAccountBook mBook;
  const std::shared_ptr<std::atomic<uint64_t>> mInflation = std::make_shared<std::atomic<uint64_t>>(0);
  const std::shared_ptr<CWireLog> mLog = std::make_shared<CWireLog>();
  const std::shared_ptr<CDayNetwork> mNetwork = std::make_shared<CDayNetwork>();
  const std::shared_ptr<CDayCentral> mCentral;
  const std::shared_ptr<CDayCentral> mHub;  // the auxiliary one, which nobody audits
  const std::shared_ptr<CFakeDiagnostics> mDiagnostics = std::make_shared<CFakeDiagnostics>();
  const std::shared_ptr<CFakeCurrentControl> mCurrentControl = std::make_shared<CFakeCurrentControl>();
  const std::unique_ptr<CDaySessions> mSessions;
  const std::unique_ptr<CDayReader> mReader;
  std::map<std::string, CFakeConfig::CState> mStored;  // of domains, while no process has them open
  std::map<std::string, std::shared_ptr<CFakeConfig>> mConfigs;
  uint32_t mLinkSeed;
  bool mIsEnabled = false;
  std::unique_ptr<SLife> mLife;
};

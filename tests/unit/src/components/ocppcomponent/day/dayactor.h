#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "tests/unit/src/components/ocppcomponent/day/daystation.h"

// Plays everybody who can make a station's day: drivers, network, central system, clock, supervisor, siblings, power.
class CDayActor {
 public:
  CDayActor(CDayStation& station, uint32_t seed) : mStation(station), mChance(seed) {}

  // Drawn from the seed as well.
  static CDayStation::SOptions DrawOptions(uint32_t seed);
  void Play(std::chrono::nanoseconds duration);

 private:
  struct SDeed {
    int64_t weight;
    void (CDayActor::*play)();
  };
  // What was broken and will work again by then.
  struct SRepair {
    IClock::SteadyTime due;
    std::function<void()> repair;
  };

  void PlayNext();
  void RepairWhatIsDue();
  void RepairIn(std::chrono::milliseconds from, std::chrono::milliseconds to, std::function<void()> repair);

  void BeginOrEndSession();
  void SuspendSession();
  void BreakConnection();
  void LoseNetwork();
  void ChangeMood();
  void StepClock();
  void Kill();
  void CutPowerSoon();
  void DisableForAWhile();
  void LoseSibling();
  void FillStore();
  void ChangeSampleInterval();
  void SpeakUnasked();
  void PresentTag();

  CDayStation& mStation;
  CDayChance mChance;
  std::vector<SRepair> mRepairs;
};

#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>

#include "platform/clock/simulatedclock.h"
#include "src/components/ocppcomponent.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/fakewebsocketclient.h"

// All of OCPP in one process: the component on simulated time, with stores in memory over the packaged defaults,
// siblings that keep no record, and a link whose other end is a central system that accepts everything. Nothing of it
// grows by itself, so that what grows is the component.
//
// For one thread, on which the central system answers as well.
class CBenchStation {
 public:
  // domain -> key -> value, over the packaged defaults
  using CSettings = std::map<std::string, std::map<std::string, Json::Value>>;

  explicit CBenchStation(const CSettings& settings);
  ~CBenchStation();
  CBenchStation(const CBenchStation&) = delete;
  CBenchStation& operator=(const CBenchStation&) = delete;

  // Starts and registers the component. False when it does not get that far.
  bool Start();
  void LoseLink();
  void RestoreLink();

  CSimulatedClock& GetClock() { return mClock; }
  CFakeWebsocketClient& GetLink() { return *mLink; }
  // Answers the CALLs among the frames that were sent, and those to which the answers lead, until the station is quiet.
  void AnswerAll();
  // How many CALLs of that action were answered.
  uint64_t CountAnswered(const std::string& action) const;
  // How many CALLs had the id of one shortly before them.
  uint64_t CountRepeated() const { return mRepeated; }

  void PresentTag(const std::string& idTag);
  void ChangeState(ipc::EConnectorState state);
  void StartSession(const std::string& idTag);
  void StopSession();

 private:
  class CSiblings;

  void Answer(const std::string& frame);
  std::shared_ptr<CFakeConfig> Config(const std::string& domain);
  ipc::MMeterData Reading(const std::string& idTag) const;

  CSimulatedClock mClock;
  std::map<std::string, std::shared_ptr<CFakeConfig>> mConfigs;
  const std::unique_ptr<CSiblings> mSiblings;
  const std::shared_ptr<CSystemAccessInterface> mAccess;
  std::shared_ptr<CFakeWebsocketClient> mLink;
  std::unique_ptr<COcppComponent> mComponent;
  std::map<std::string, uint64_t> mAnswered;
  std::array<std::string, 64> mLatestIds;
  size_t mNextId = 0;
  uint64_t mRepeated = 0;
  int64_t mTransactions = 0;
  int64_t mEnergyMilliWh = 1000000;
};

#pragma once

// The stores in which the processes of the station keep what must survive a loss of power.
enum class EPersistentId : int {
  ESeccPersistentData = 0,
  ESeccPersistentMessages = 1,
  ESeccChargeProfiles = 2,
  ESessionManagerPersistentData = 3,
};

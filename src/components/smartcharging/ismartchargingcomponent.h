#pragma once

// Charging profiles and the limit that follows from them.
class ISmartChargingComponent {
 public:
  virtual ~ISmartChargingComponent() = default;

  virtual void OnTransactionStart() = 0;
  virtual void OnTransactionEnd() = 0;
  virtual void ReloadProfilesFromPersistentStorage() = 0;
};

#pragma once

// Waits for the socket's lock to open.
class IUnlockMonitor {
 public:
  virtual ~IUnlockMonitor() = default;

  // Blocks; true when the lock opened before the configured time-out.
  virtual bool WaitForUnlock() = 0;
  virtual void NotifyUnlocked() = 0;
};

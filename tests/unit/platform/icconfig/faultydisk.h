#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>

// A disk under SQLite that fails, runs full or loses its power at a chosen operation. It is SQLite's default file layer
// while the object lives; one object at a time, used by one thread.
//
// An operation is a write, a truncation, a sync or a deletion. Written data is durable from the next sync of its file
// on; at a power cut each earlier write is kept, lost or torn, by chance.
class CFaultyDisk {
 public:
  enum class EFault { ENone, EFull, EError, EPowerCut };

  CFaultyDisk();
  ~CFaultyDisk();
  CFaultyDisk(const CFaultyDisk&) = delete;
  CFaultyDisk& operator=(const CFaultyDisk&) = delete;

  // The n-th operation from now on (1 = the next) fails. EFull and EError: that one alone. EPowerCut: all from there
  // on.
  void Arm(EFault fault, uint64_t n, uint64_t seed = 0);
  // True once the fault has occurred.
  bool HasStruck() const;
  uint64_t GetOperationCount() const;
  // After a power cut, with all files closed: puts on the disk what the power cut left of them.
  void RestoreDurableState();

  class CImplementation;

 private:
  const std::unique_ptr<CImplementation> mImplementation;
};

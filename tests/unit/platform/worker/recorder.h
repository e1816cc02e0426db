#pragma once

#include <string>
#include <vector>

#include "platform/clock/clock.h"

// Notes in the order in which they came, from any thread.
class CRecorder {
 public:
  void Note(const std::string& note) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    mNotes.push_back(note);
  }

  std::vector<std::string> GetNotes() const EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mNotes;
  }

  size_t Count() const EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mNotes.size();
  }

 private:
  mutable CMutex mMutex;
  std::vector<std::string> mNotes GUARDED_BY(mMutex);
};

// Holds up threads until it is opened, by a wait of the clock.
class CGate {
 public:
  explicit CGate(IClock& clock) : mClock(clock) {}

  void Pass() EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    while (!mOpen) mClock.Wait(lock, mChanged);
  }

  void Open() EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    mOpen = true;
    mClock.NotifyAll(mChanged);
  }

 private:
  IClock& mClock;
  CMutex mMutex;
  CCondition mChanged;
  bool mOpen GUARDED_BY(mMutex) = false;
};

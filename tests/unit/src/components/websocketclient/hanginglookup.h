#pragma once

#include "platform/clock/mutex.h"
#include "platform/clock/realclock.h"

// The system's resolver, as asked by this program: the name "hanging.example.com" is not answered while an object of
// this class lives, and is 127.0.0.1 afterwards.
class CHangingLookup {
 public:
  static constexpr const char* kName = "hanging.example.com";

  CHangingLookup();
  // Answers the lookups under way.
  ~CHangingLookup();
  CHangingLookup(const CHangingLookup&) = delete;
  CHangingLookup& operator=(const CHangingLookup&) = delete;

  // Waits until somebody asks for the name.
  bool AwaitQuestion();

  // For the resolver: returns when the object has gone; at once when there is none.
  static void Hang();

 private:
  static CMutex sMutex;
  static CCondition sChanged;
  static CHangingLookup* sCurrent GUARDED_BY(sMutex);
  bool mIsAsked GUARDED_BY(sMutex) = false;
};

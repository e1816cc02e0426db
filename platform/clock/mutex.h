#pragma once

#include <condition_variable>
#include <mutex>

// Annotations for Clang's thread-safety analysis (-Wthread-safety); they vanish under other compilers.
#if defined(__clang__)
#define SECC_TS_ATTRIBUTE(x) __attribute__((x))
#else
#define SECC_TS_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) SECC_TS_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY SECC_TS_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) SECC_TS_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) SECC_TS_ATTRIBUTE(pt_guarded_by(x))
#define ACQUIRED_BEFORE(...) SECC_TS_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) SECC_TS_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define REQUIRES(...) SECC_TS_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) SECC_TS_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) SECC_TS_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) SECC_TS_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS SECC_TS_ATTRIBUTE(no_thread_safety_analysis)

// A std::mutex that Clang's analysis can follow.
class CAPABILITY("mutex") CMutex {
 public:
  CMutex() = default;
  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;

  void Lock() ACQUIRE() { mMutex.lock(); }
  void Unlock() RELEASE() { mMutex.unlock(); }

 private:
  friend class CLock;
  std::mutex mMutex;
};

// Holds a CMutex for a scope; may be released and taken again within it.
class SCOPED_CAPABILITY CLock {
 public:
  explicit CLock(CMutex& mutex) ACQUIRE(mutex) : mLock(mutex.mMutex) {}
  ~CLock() RELEASE() = default;
  CLock(const CLock&) = delete;
  CLock& operator=(const CLock&) = delete;

  void Unlock() RELEASE() { mLock.unlock(); }
  void Lock() ACQUIRE() { mLock.lock(); }

  // For the clock's waits only.
  std::unique_lock<std::mutex>& Native() { return mLock; }

 private:
  std::unique_lock<std::mutex> mLock;
};

// A condition variable. It has no operations of its own: waits and notifications go through IClock, so that the
// simulated clock knows which threads are at rest.
class CCondition {
 public:
  CCondition() = default;
  CCondition(const CCondition&) = delete;
  CCondition& operator=(const CCondition&) = delete;

  // For the clock only.
  std::condition_variable& Native() { return mCondition; }

 private:
  std::condition_variable mCondition;
};

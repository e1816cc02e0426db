#include "platform/icconfig/changewatcher.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "platform/clock/realclock.h"
#include "platform/icconfig/filetools.h"
#include "platform/iclogger/log.h"

namespace IcConfig {

namespace {

// A write shows as a touch (IN_ATTRIB) or a rename; a writer that died, and a tool that is not ours, as a close.
constexpr uint32_t kEvents =
    IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ONLYDIR;
constexpr size_t kEventBuffer = 16384;
constexpr const char* kThreadName = "icconfig";

// Outlives a thread that was let go of.
CRealClock& ThreadClock()
{
  static CRealClock clock;
  return clock;
}

// Signals are for the other threads of the process: a new thread inherits the mask.
class CSignalsBlocked {
 public:
  CSignalsBlocked()
  {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mPrevious);
  }
  ~CSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr); }
  CSignalsBlocked(const CSignalsBlocked&) = delete;
  CSignalsBlocked& operator=(const CSignalsBlocked&) = delete;

 private:
  sigset_t mPrevious = {};
};

}  // namespace

// Shared with the thread, which may outlive the watcher when that is dropped from a callback.
class CChangeWatcher::CState {
 public:
  CState() : mNotify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
  {
    // Changes of this process are still told then: each write wakes the thread.
    if (!mNotify.IsOpen()) LOG_ERROR("Configuration changes of other processes are not seen: {}", ErrorText(errno));
  }

  uint64_t Add(SWatchedFiles files, std::function<void()> callback) EXCLUDES(mMutex)
  {
    auto entry = std::make_shared<SEntry>();
    entry->files = std::move(files);
    entry->callback = std::move(callback);
    uint64_t id = 0;
    {
      CLock lock(mMutex);
      id = ++mLastId;
      mEntries[id] = entry;
      WatchFolder(*entry);
    }
    Wake(id);
    return id;
  }

  void Remove(uint64_t id) EXCLUDES(mMutex)
  {
    std::shared_ptr<SEntry> entry;  // destroyed without the lock
    CLock lock(mMutex);
    const auto position = mEntries.find(id);
    entry = std::move(position->second);
    mEntries.erase(position);
    const bool isShared = std::any_of(mEntries.begin(), mEntries.end(),
                                      [&](const auto& other) { return other.second->folder == entry->folder; });
    if (entry->folder >= 0 && !isShared) inotify_rm_watch(mNotify.Get(), entry->folder);
    while (mRunning == id && mThread != std::this_thread::get_id()) mClock.Wait(lock, mEnded);
    lock.Unlock();
  }

  void Wake(uint64_t id) EXCLUDES(mMutex)
  {
    {
      CLock lock(mMutex);
      mDue.insert(id);
      const auto entry = mEntries.find(id);
      if (entry != mEntries.end() && entry->second->folder < 0) WatchFolder(*entry->second);
    }
    Signal();
  }

  void Stop() EXCLUDES(mMutex)
  {
    {
      CLock lock(mMutex);
      mIsStopped = true;
    }
    Signal();
  }

  void Run() EXCLUDES(mMutex)
  {
    for (;;) {
      std::array<pollfd, 2> descriptors = {pollfd{mWake.Get(), POLLIN, 0}, pollfd{mNotify.Get(), POLLIN, 0}};
      poll(descriptors.data(), descriptors.size(), -1);
      uint64_t count = 0;
      while (read(mWake.Get(), &count, sizeof(count)) < 0 && errno == EINTR) {
      }
      ReadEvents();
      uint64_t id = 0;
      while (std::shared_ptr<SEntry> entry = Begin(id)) {
        entry->callback();
        End(std::move(entry));
      }
      CLock lock(mMutex);
      if (mIsStopped) return;
    }
  }

 private:
  struct SEntry {
    SWatchedFiles files;
    std::function<void()> callback;
    int folder = -1;  // inotify's number of the folder; -1 while it is not watched
  };

  // Both calls return at once, so the lock may be held.
  void WatchFolder(SEntry& entry) REQUIRES(mMutex)
  {
    entry.folder = inotify_add_watch(mNotify.Get(), entry.files.directory.c_str(), kEvents);
    if (entry.folder < 0 && mNotify.IsOpen()) {
      LOG_WARNING("Configuration folder {} is not watched: {}", entry.files.directory, ErrorText(errno));
    }
  }

  void Signal()
  {
    const uint64_t one = 1;
    while (write(mWake.Get(), &one, sizeof(one)) < 0 && errno == EINTR) {
    }
  }

  void ReadEvents() EXCLUDES(mMutex)
  {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): read fills it
    alignas(inotify_event) std::array<char, kEventBuffer> buffer;
    for (;;) {
      const ssize_t size = read(mNotify.Get(), buffer.data(), buffer.size());
      if (size < 0 && errno == EINTR) continue;
      if (size <= 0) return;
      for (size_t position = 0; position < static_cast<size_t>(size);) {
        inotify_event event = {};
        std::memcpy(&event, buffer.data() + position, sizeof(event));
        const char* name = event.len > 0 ? buffer.data() + position + sizeof(event) : "";
        HandleEvent(event, name);
        position += sizeof(event) + event.len;
      }
    }
  }

  void HandleEvent(const inotify_event& event, const std::string& name) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    for (const auto& item : mEntries) {
      SEntry& entry = *item.second;
      const bool isOverflow = (event.mask & IN_Q_OVERFLOW) != 0;
      if (!isOverflow && entry.folder != event.wd) continue;
      const bool isFolderGone = (event.mask & IN_IGNORED) != 0;
      if (isFolderGone) WatchFolder(entry);
      const auto& names = entry.files.names;
      const bool isOurs = std::find(names.begin(), names.end(), name) != names.end();
      if (isOverflow || isFolderGone || isOurs) mDue.insert(item.first);
    }
  }

  // The next watch that is due, marked as running; empty when there is none.
  std::shared_ptr<SEntry> Begin(uint64_t& id) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    mThread = std::this_thread::get_id();
    while (!mDue.empty() && !mIsStopped) {
      // In turn, so that a busy domain does not starve the others.
      const auto after = mDue.upper_bound(id);
      const auto next = after == mDue.end() ? mDue.begin() : after;
      id = *next;
      mDue.erase(next);
      const auto entry = mEntries.find(id);
      if (entry == mEntries.end()) continue;
      mRunning = id;
      return entry->second;
    }
    return nullptr;
  }

  void End(std::shared_ptr<SEntry> entry) EXCLUDES(mMutex)
  {
    // What a removed watch holds goes here, before its remover goes on.
    entry.reset();
    CLock lock(mMutex);
    mRunning = 0;
    mClock.NotifyAll(mEnded);
  }

  // Constant after construction.
  const CDescriptor mNotify;
  const CDescriptor mWake;
  CRealClock mClock;

  // A leaf: no callback runs while it is held.
  CMutex mMutex;
  CCondition mEnded;  // a run has ended
  std::map<uint64_t, std::shared_ptr<SEntry>> mEntries GUARDED_BY(mMutex);
  std::set<uint64_t> mDue GUARDED_BY(mMutex);
  uint64_t mLastId GUARDED_BY(mMutex) = 0;
  uint64_t mRunning GUARDED_BY(mMutex) = 0;  // 0: none
  std::thread::id mThread GUARDED_BY(mMutex);
  bool mIsStopped GUARDED_BY(mMutex) = false;
};

// Keeps the watcher, and so its thread, for as long as it is watching.
class CChangeWatcher::CWatch : public IWatch {
 public:
  CWatch(std::shared_ptr<CChangeWatcher> watcher, uint64_t id) : mWatcher(std::move(watcher)), mId(id) {}
  ~CWatch() override { mWatcher->mState->Remove(mId); }
  CWatch(const CWatch&) = delete;
  CWatch& operator=(const CWatch&) = delete;
  void Wake() override { mWatcher->mState->Wake(mId); }

 private:
  const std::shared_ptr<CChangeWatcher> mWatcher;
  const uint64_t mId;
};

std::shared_ptr<CChangeWatcher> CChangeWatcher::GetShared()
{
  static CMutex mutex;
  static std::weak_ptr<CChangeWatcher> shared;
  CLock lock(mutex);
  auto watcher = shared.lock();
  if (!watcher) {
    watcher = std::make_shared<CChangeWatcher>();
    shared = watcher;
  }
  return watcher;
}

CChangeWatcher::CChangeWatcher() : mState(std::make_shared<CState>())
{
  const CSignalsBlocked blocked;
  mThread.emplace(ThreadClock(), kThreadName, [state = mState] { state->Run(); });
}

CChangeWatcher::~CChangeWatcher() { mState->Stop(); }

std::shared_ptr<CChangeWatcher::IWatch> CChangeWatcher::Watch(SWatchedFiles files, std::function<void()> callback)
{
  return std::make_shared<CWatch>(shared_from_this(), mState->Add(std::move(files), std::move(callback)));
}

}  // namespace IcConfig

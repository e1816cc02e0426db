#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/clock/thread.h"
#include "platform/icconfig/store.h"

namespace IcConfig {

// Tells when watched files may have been changed by anybody, on the one thread of this library: "icconfig".
//
// The thread sleeps in the kernel until there is something (inotify), and ends with the last user of the watcher.
class CChangeWatcher : public std::enable_shared_from_this<CChangeWatcher> {
 public:
  // One watch; dropping it ends it. A run in flight has ended when the destructor returns, unless it is called from
  // that very run.
  class IWatch {
   public:
    virtual ~IWatch() = default;
    // Runs the callback soon, for a cause that makes no event.
    virtual void Wake() = 0;
  };

  // The process's watcher: made when there is none.
  static std::shared_ptr<CChangeWatcher> GetShared();

  CChangeWatcher();
  ~CChangeWatcher();
  CChangeWatcher(const CChangeWatcher&) = delete;
  CChangeWatcher& operator=(const CChangeWatcher&) = delete;

  // Runs `callback` on the watcher's thread once now and after each event on the files, several events at once where
  // they come fast. The folder should exist; a folder that lacks is watched from the first Wake after it was made.
  std::shared_ptr<IWatch> Watch(SWatchedFiles files, std::function<void()> callback);

 private:
  class CState;
  class CWatch;

  const std::shared_ptr<CState> mState;
  std::optional<CThread> mThread;
};

}  // namespace IcConfig

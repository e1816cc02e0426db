#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/clock/realclock.h"
#include "platform/clock/thread.h"
#include "platform/commutil/appcommunicationhost.h"
#include "platform/commutil/grpcbackend.h"
#include "platform/icconfig/icconfig.h"
#include "src/secc/configreporter.h"

class CIpcCallbackLayer;
class COcppComponent;
class CProcessControlService;
class CSeccHsmActionHandler;
class CSystemAccessInterface;
class IHsmInterface;

// The process: creates and wires every top-level object, parks the main thread in the lifecycle machine until it ends,
// and stops everything in order. Constructed once, run once, destroyed once, on the main thread.
//
// An exception that leaves construction or Run ends the process (see main).
class CSecc {
 public:
  // `root` is joined with the names below it without a separator.
  explicit CSecc(const std::string& root);
  ~CSecc();
  CSecc(const CSecc&) = delete;
  CSecc& operator=(const CSecc&) = delete;

  void Run();

 private:
  void HandleConfigError(const std::string& text);
  // Sends the signal and posts the fatal error, if one is pending.
  void ReportConfigError();
  void RunStateMachine();
  void StopServices();

  CRealClock mClock;
  const CConfigReporter mConfigReporter;
  std::shared_ptr<AppCommunicationHost<GrpcBackend>> mCommunicationHost;
  std::shared_ptr<CProcessControlService> mProcessControl;
  std::shared_ptr<CSystemAccessInterface> mSystemAccess;
  std::shared_ptr<CIpcCallbackLayer> mIpcCallbackLayer;
  std::shared_ptr<COcppComponent> mOcppComponent;
  std::shared_ptr<CSeccHsmActionHandler> mActionHandler;
  std::shared_ptr<IHsmInterface> mHsm;
  std::unique_ptr<CThread> mServerThread;
  std::unique_ptr<CThread> mNotificationThread;

  // Any thread: a configuration error that has not been reported yet.
  std::atomic<bool> mConfigErrorPending{false};
};

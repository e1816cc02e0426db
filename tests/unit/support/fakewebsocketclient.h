#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/ihostinfo.h"
#include "src/components/iwebsocketclient.h"

// A link without a network: it records what is sent, and the test plays the backoffice. Callbacks run on the thread of
// whoever plays. Safe from any thread.
class CFakeWebsocketClient : public IWebsocketClient {
 public:
  struct SClose {
    uint16_t code;
    std::string reason;
  };

  explicit CFakeWebsocketClient(std::shared_ptr<IHostInfo> hostInfo = nullptr) : mHostInfo(std::move(hostInfo)) {}

  // The backoffice's side.

  // The connection is open from now on.
  void PlayOpen()
  {
    COnOpen callback;
    std::shared_ptr<int> connection = std::make_shared<int>(0);
    {
      CLock lock(mMutex);
      mStatus = EWebsocketStatus::EOpen;
      mConnection = connection;
      callback = mOnOpenCB;
    }
    if (callback) callback(connection);
  }

  // An attempt to connect has failed, the next one is waited for.
  void PlayFail(bool isSuppressed = false)
  {
    COnFail callback;
    {
      CLock lock(mMutex);
      mStatus = EWebsocketStatus::EFailed;
      callback = mOnFailCB;
    }
    if (callback) callback({}, isSuppressed);
    CLock lock(mMutex);
    if (mStatus == EWebsocketStatus::EFailed) mStatus = EWebsocketStatus::EConnecting;
  }

  // The connection was lost.
  void PlayClose(bool willReconnect = true)
  {
    COnClose callback;
    std::shared_ptr<int> connection;
    {
      CLock lock(mMutex);
      mStatus = EWebsocketStatus::EClosed;
      connection = std::move(mConnection);
      callback = mOnCloseCB;
    }
    if (callback) callback(connection, willReconnect);
    CLock lock(mMutex);
    if (willReconnect && mStatus == EWebsocketStatus::EClosed) mStatus = EWebsocketStatus::EConnecting;
  }

  // The backoffice has sent a text frame.
  void PlayMessage(std::string_view text)
  {
    COnMessage callback;
    {
      CLock lock(mMutex);
      callback = mOnMessageCB;
    }
    if (callback) callback(text);
  }

  // With false every Send fails, as on a connection that is breaking.
  void SetSendWorks(bool works)
  {
    CLock lock(mMutex);
    mSendWorks = works;
  }

  // What was asked of the link.

  std::vector<std::string> GetSent() const
  {
    CLock lock(mMutex);
    return mSent;
  }

  // The frames sent so far; they are forgotten.
  std::vector<std::string> TakeSent()
  {
    CLock lock(mMutex);
    return std::exchange(mSent, {});
  }

  std::vector<SClose> GetCloses() const
  {
    CLock lock(mMutex);
    return mCloses;
  }

  int GetConnectCount() const
  {
    CLock lock(mMutex);
    return mConnects;
  }

  EBackofficeId GetBackofficeId() const
  {
    CLock lock(mMutex);
    return mBackofficeId;
  }

  // IWebsocketClient.

  bool Connect() override
  {
    CLock lock(mMutex);
    ++mConnects;
    mStatus = EWebsocketStatus::EConnecting;
    return true;
  }

  // An open connection is reported closed before this returns.
  void Close(uint16_t code, const std::string& reason) override
  {
    bool wasOpen = false;
    {
      CLock lock(mMutex);
      mCloses.push_back({code, reason});
      wasOpen = mStatus == EWebsocketStatus::EOpen;
      mStatus = EWebsocketStatus::EClosed;
    }
    if (wasOpen) PlayClose(false);
  }

  // Works on an open connection only.
  bool Send(const std::string& text) override
  {
    CLock lock(mMutex);
    if (!mSendWorks || mStatus != EWebsocketStatus::EOpen) return false;
    mSent.push_back(text);
    return true;
  }

  void SetOnOpenCallback(COnOpen callback) override
  {
    CLock lock(mMutex);
    mOnOpenCB = std::move(callback);
  }

  void SetOnFailCallback(COnFail callback) override
  {
    CLock lock(mMutex);
    mOnFailCB = std::move(callback);
  }

  void SetOnCloseCallback(COnClose callback) override
  {
    CLock lock(mMutex);
    mOnCloseCB = std::move(callback);
  }

  void SetOnMessageCallback(COnMessage callback) override
  {
    CLock lock(mMutex);
    mOnMessageCB = std::move(callback);
  }

  void SetBackofficeId(EBackofficeId id) override
  {
    CLock lock(mMutex);
    mBackofficeId = id;
  }

  EWebsocketStatus GetStatus() const override
  {
    CLock lock(mMutex);
    return mStatus;
  }

  void SetStatus(EWebsocketStatus status) override
  {
    CLock lock(mMutex);
    mStatus = status;
  }

  std::shared_ptr<IHostInfo> GetHostInfo() const override { return mHostInfo; }

 private:
  // Constant after construction.
  const std::shared_ptr<IHostInfo> mHostInfo;

  mutable CMutex mMutex;
  COnOpen mOnOpenCB GUARDED_BY(mMutex);
  COnFail mOnFailCB GUARDED_BY(mMutex);
  COnClose mOnCloseCB GUARDED_BY(mMutex);
  COnMessage mOnMessageCB GUARDED_BY(mMutex);
  std::vector<std::string> mSent GUARDED_BY(mMutex);
  std::vector<SClose> mCloses GUARDED_BY(mMutex);
  std::shared_ptr<int> mConnection GUARDED_BY(mMutex);
  EWebsocketStatus mStatus GUARDED_BY(mMutex) = EWebsocketStatus::EClosed;
  EBackofficeId mBackofficeId GUARDED_BY(mMutex) = EBackofficeId::ENone;
  int mConnects GUARDED_BY(mMutex) = 0;
  bool mSendWorks GUARDED_BY(mMutex) = true;
};

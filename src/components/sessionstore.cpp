#include "src/components/sessionstore.h"

#include <utility>
#include <vector>

#include "platform/icconfig/icconfig.h"
#include "platform/icconfig/jsontext.h"
#include "platform/iclogger/log.h"
#include "src/components/isystemaccessinterface.h"

namespace {

constexpr const char* kOpenedTransaction = "OpenedTransaction";
constexpr const char* kCurrentTransactionId = "CurrentTransactionId";
// {"Current": <key of the transaction that "CurrentTransactionId" is the id of>,
//  "Closed": <key of the transaction whose stop was answered last>}
constexpr const char* kTransactionKeys = "TransactionKeys";
constexpr const char* kCurrent = "Current";
constexpr const char* kClosed = "Closed";
// An SSessionRecord.
constexpr const char* kSession = "SessionTransaction";

}  // namespace

CSessionStore::CSessionStore(uint32_t connector, const ISystemAccessInterface& systemAccess)
    : mConnector(connector), mLogPrefix(fmt::format("[{}] ", connector)), mSystemAccess(systemAccess)
{}

CSessionStore::SState CSessionStore::Read() const
{
  const auto& data = *mSystemAccess.GetSeccPersistentData(mConnector);
  const auto keys = data.GetJson(kTransactionKeys, Json::Value());
  const auto record = data.GetJson(kSession, Json::Value());
  SState state;
  state.isOpened = data.GetBool(kOpenedTransaction, false);
  state.transactionId = data.GetInt(kCurrentTransactionId, kNoTransaction);
  state.currentKey = IcConfig::GetTextMember(keys, kCurrent);
  state.closedKey = IcConfig::GetTextMember(keys, kClosed);
  if (record.isObject()) state.record = SSessionRecord::FromJson(record);
  return state;
}

void CSessionStore::Load()
{
  CLock writing(mWriteMutex);
  auto state = Read();
  mIsWritten = true;
  CLock lock(mMutex);
  mState = std::move(state);
}

CSessionStore::SState CSessionStore::Get() const
{
  {
    CLock lock(mMutex);
    if (mState) return *mState;
  }
  auto state = Read();
  CLock lock(mMutex);
  if (!mState) mState = std::move(state);
  return *mState;
}

void CSessionStore::Change(const std::function<void(SState& state)>& change)
{
  CLock writing(mWriteMutex);
  auto state = Get();
  change(state);
  {
    CLock lock(mMutex);
    mState = std::move(state);
  }
  Write();
}

void CSessionStore::ChangeRecord(const std::function<void(SState& state, SSessionRecord& record)>& change)
{
  Change([&](SState& state) {
    if (!state.record) state.record.emplace();
    change(state, *state.record);
  });
}

void CSessionStore::Repeat()
{
  CLock writing(mWriteMutex);
  if (!mIsWritten) Write();
}

// All in one step, so that a file that was replaced meanwhile is whole again. What is the same costs no write.
void CSessionStore::Write()
{
  const auto state = Get();
  Json::Value keys(Json::objectValue);
  keys[kCurrent] = state.currentKey;
  keys[kClosed] = state.closedKey;
  std::vector<std::pair<std::string, Json::Value>> values = {
      {kOpenedTransaction, Json::Value(state.isOpened)},
      {kCurrentTransactionId, Json::Value(static_cast<Json::Int64>(state.transactionId))},
      {kTransactionKeys, keys}};
  if (state.record) values.emplace_back(kSession, state.record->ToJson());
  const bool isWritten = mSystemAccess.GetSeccPersistentData(mConnector)->Apply({}, values);
  if (!isWritten) {
    LOG_ERROR("{}What is known of the session cannot be written, it is held in memory until it can be", mLogPrefix);
  } else if (!mIsWritten) {
    LOG_INFO("{}What is known of the session is written again", mLogPrefix);
  }
  mIsWritten = isWritten;
}

#include "src/components/persistentmessagestoragemanager.h"

#include <json/writer.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"

namespace {

const std::string kQueuedCounter = "QueuedCounter";
const std::string kOperationType = "OperationType";
const std::string kPayload = "Payload";
const std::string kTransactionKey = "TransactionKey";

// The highest counter is kept free, so that there is always a next one.
constexpr uint32_t kMaxCounter = std::numeric_limits<uint32_t>::max() - 1;
// More than a store holds whose messages are starts and stops; what is forgotten is sent once more after a restart.
constexpr size_t kMaxLeftovers = 10000;

std::string ToText(const Json::Value& value)
{
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

std::string TextMember(const Json::Value& record, const std::string& name)
{
  return record[name].isString() ? record[name].asString() : ToText(record[name]);
}

std::optional<uint32_t> CounterOf(const Json::Value& record)
{
  if (!record.isObject() || !record[kQueuedCounter].isUInt()) return std::nullopt;
  const uint32_t counter = record[kQueuedCounter].asUInt();
  return counter <= kMaxCounter ? std::optional<uint32_t>(counter) : std::nullopt;
}

}  // namespace

CPersistentMessageStorageManager::CPersistentMessageStorageManager(std::shared_ptr<IcConfig::IConfig> store,
                                                                   uint32_t maxStorageBytes)
    : mStore(std::move(store)),
      mMaxStorageBytes(maxStorageBytes),
      mStorageFullCB([] { LOG_ERROR("StorageFullCallback in PersistentMessageStorageManager is not set."); }),
      mStorageReadyCB([] { LOG_ERROR("StorageReadyCallback in PersistentMessageStorageManager is not set."); })
{
  CLock lock(mMutex);
  for (const auto& key : mStore->ListKeys()) {
    ++mNumStored;
    const auto counter = CounterOf(mStore->GetJson(key, Json::Value()));
    if (counter) mQueuedCounter = std::max(mQueuedCounter, *counter + 1);
  }
  mFirstCounterOfRun = mQueuedCounter;
}

IPersistentMessageStorageManager::EStoreResult CPersistentMessageStorageManager::Store(
    const COutCallOperationBase& operation)
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  if (!operation.IsPersistentOp()) return EStoreResult::ENotPersistent;
  EStoreResult result = EStoreResult::ENotStored;
  {
    CLock lock(mMutex);
    result = Write(operation);
  }
  ReportFullState();
  return result;
}

IPersistentMessageStorageManager::EStoreResult CPersistentMessageStorageManager::Write(
    const COutCallOperationBase& operation)
{
  const std::string& id = operation.GetMessageId();
  ForgetLeftover(id);
  EraseLeftovers();
  if (mStore->HasKey(id)) {
    LOG_WARNING("{} already exist in storage", id);
    return EStoreResult::EAlreadyStored;
  }
  CheckUsage();
  if (mIsStorageFull && operation.GetAction() == OutOpTypeToName(EOutOpType::EMeterValues)) {
    LOG_WARNING("Not saving meter value persistently due to storage full");
    return EStoreResult::ENotStored;
  }
  Json::Value record(Json::objectValue);
  record[kQueuedCounter] = mQueuedCounter;
  record[kOperationType] = operation.GetAction();
  record[kPayload] = operation.GetPayload();
  if (const auto key = operation.GetTransactionKey()) record[kTransactionKey] = *key;
  if (!mStore->SetJson(id, record)) {
    LOG_ERROR("{}(ID:{}) could not be written to storage", operation.GetAction(), id);
    return EStoreResult::ENotStored;
  }
  ++mQueuedCounter;
  ++mNumStored;
  return EStoreResult::EStored;
}

IPersistentMessageStorageManager::EClearResult CPersistentMessageStorageManager::Clear(const std::string& messageId)
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  EClearResult result = EClearResult::EUnknown;
  {
    CLock lock(mMutex);
    result = Erase(messageId);
  }
  ReportFullState();
  return result;
}

IPersistentMessageStorageManager::EClearResult CPersistentMessageStorageManager::Erase(const std::string& messageId)
{
  if (!mStore->HasKey(messageId)) {
    LOG_WARNING("{} does not exist in storage when clearing", messageId);
    return EClearResult::EUnknown;
  }
  ForgetLeftover(messageId);
  if (!Delete(messageId)) {
    LOG_ERROR("{} could not be erased from storage", messageId);
    return EClearResult::EUnknown;
  }
  EraseLeftovers();
  return EClearResult::ECleared;
}

bool CPersistentMessageStorageManager::Delete(const std::string& messageId)
{
  if (!mStore->DeleteKey(messageId)) {
    if (mLeftovers.size() < kMaxLeftovers) mLeftovers.push_back(messageId);
    return false;
  }
  --mNumStored;
  ResetWhenEmpty();
  return true;
}

void CPersistentMessageStorageManager::EraseLeftovers()
{
  for (size_t left = mLeftovers.size(); left > 0; --left) {
    const std::string id = std::move(mLeftovers.front());
    mLeftovers.pop_front();
    // The one that fails goes to the end, so that it does not stand before the others for ever.
    if (mStore->HasKey(id) && !Delete(id)) return;
  }
}

void CPersistentMessageStorageManager::ForgetLeftover(const std::string& messageId)
{
  mLeftovers.erase(std::remove(mLeftovers.begin(), mLeftovers.end(), messageId), mLeftovers.end());
}

void CPersistentMessageStorageManager::ResetWhenEmpty()
{
  if (mNumStored > 0) return;
  LOG_DEBUG("Persistent messages storage is now empty. Reset queued counter");
  mQueuedCounter = 0;
  mFirstCounterOfRun = 0;
  if (!mIsStorageFull) return;
  LOG_DEBUG("Trigger storage ready callback. Storage full condition resolved.");
  mIsStorageFull = false;
}

std::deque<SMessage> CPersistentMessageStorageManager::GetStoredMessages()
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  std::vector<SRecord> records;
  {
    CLock lock(mMutex);
    records = ReadOldRecords();
    if (mNumStored == 0) {
      mQueuedCounter = 0;
      LOG_DEBUG("Persistent message storage is empty, queuedCounter starts from 0");
    }
    if (!records.empty()) {
      const uint32_t highest = records.back().queuedCounter;
      LOG_INFO("Highest queued counter from the storage is {}", highest);
      mQueuedCounter = std::max(mQueuedCounter, highest + 1);
    }
  }
  ReportFullState();
  std::deque<SMessage> messages;
  for (auto& record : records) {
    LOG_INFO("Queuing SMessage from persistent storage. id: {}, type: {}, queuedCounter: {}", record.message.messageId,
             OutOpTypeToName(record.message.type), record.queuedCounter);
    messages.push_back(std::move(record.message));
  }
  return messages;
}

std::vector<CPersistentMessageStorageManager::SRecord> CPersistentMessageStorageManager::ReadOldRecords()
{
  std::vector<SRecord> records;
  for (const auto& id : mStore->ListKeys()) {
    const Json::Value stored = mStore->GetJson(id, Json::Value());
    if (!stored.isObject() || !stored[kPayload].isString()) {
      LOG_ERROR("Stored message ID:{} is not readable, discard message. Record: {}", id, ToText(stored));
      Discard(id);
      continue;
    }
    const auto counter = CounterOf(stored);
    if (!counter) {
      LOG_ERROR("Stored message ID:{}, Type:{}, Payload:{} has invalid queued counter {}, discard message. Error: {}",
                id, TextMember(stored, kOperationType), TextMember(stored, kPayload), ToText(stored[kQueuedCounter]),
                "not an integer from 0 to 4294967294");
      Discard(id);
      continue;
    }
    if (*counter >= mFirstCounterOfRun) continue;
    SMessage message{id, OutOpTypeFromName(TextMember(stored, kOperationType)), stored[kPayload].asString()};
    if (stored[kTransactionKey].isString()) message.transactionKey = stored[kTransactionKey].asString();
    records.push_back({*counter, std::move(message)});
  }
  std::stable_sort(records.begin(), records.end(),
                   [](const SRecord& left, const SRecord& right) { return left.queuedCounter < right.queuedCounter; });
  return records;
}

// A record that no reading will ever understand cannot be sent or answered: it would only keep the store from becoming
// empty. What it held is in the log.
void CPersistentMessageStorageManager::Discard(const std::string& messageId)
{
  ForgetLeftover(messageId);
  Delete(messageId);
}

size_t CPersistentMessageStorageManager::GetNumStoredMessages() const
{
  CLock lock(mMutex);
  return mNumStored;
}

bool CPersistentMessageStorageManager::IsStorageFull() const
{
  CLock lock(mMutex);
  return mIsStorageFull;
}

void CPersistentMessageStorageManager::CheckStorageUsage()
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  {
    CLock lock(mMutex);
    EraseLeftovers();
    CheckUsage();
  }
  ReportFullState();
}

void CPersistentMessageStorageManager::FinishLoading()
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  {
    CLock lock(mMutex);
    CheckUsage();
    mIsFullReported.reset();
  }
  ReportFullState();
}

void CPersistentMessageStorageManager::CheckUsage()
{
  if (mIsStorageFull) {
    LOG_DEBUG("Storage full callback was triggered once, skip triggering again.");
    return;
  }
  const uint64_t usedBytes = mStore->GetUsedBytes();
  if (usedBytes <= mMaxStorageBytes) return;
  LOG_WARNING("Used persistent storage ({} bytes) exceeded configured size ({} bytes).", usedBytes, mMaxStorageBytes);
  mIsStorageFull = true;
  LOG_DEBUG("Triggering storage full callback");
}

void CPersistentMessageStorageManager::ReportFullState()
{
  CLock lock(mMutex);
  if (mIsReporting) return;  // whoever reports sees this change as well
  mIsReporting = true;
  while (mIsFullReported != mIsStorageFull) {
    mIsFullReported = mIsStorageFull;
    const auto callback = mIsStorageFull ? mStorageFullCB : mStorageReadyCB;
    lock.Unlock();
    if (callback) callback();
    lock.Lock();
  }
  mIsReporting = false;
}

void CPersistentMessageStorageManager::SetStorageFullCallback(std::function<void()> callback)
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  CLock lock(mMutex);
  mStorageFullCB = std::move(callback);
}

void CPersistentMessageStorageManager::SetStorageReadyCallback(std::function<void()> callback)
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  CLock lock(mMutex);
  mStorageReadyCB = std::move(callback);
}

bool CPersistentMessageStorageManager::IsStored(const std::string& messageId) const
{
  return mStore->HasKey(messageId);
}

bool CPersistentMessageStorageManager::UpdatePayload(const COutCallOperationBase& operation)
{
  LOG_ENTRY("CPersistentMessageStorageManager");
  CLock lock(mMutex);
  const std::string& id = operation.GetMessageId();
  Json::Value record = mStore->GetJson(id, Json::Value());
  if (!record.isObject()) return false;
  record[kPayload] = operation.GetPayload();
  if (mStore->SetJson(id, record)) return true;
  LOG_ERROR("Payload of {}(ID:{}) could not be updated in storage", operation.GetAction(), id);
  return false;
}

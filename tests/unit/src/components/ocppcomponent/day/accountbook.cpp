#include "tests/unit/src/components/ocppcomponent/day/accountbook.h"

#include <algorithm>

namespace {

constexpr const char* kStart = "StartTransaction";
constexpr const char* kStop = "StopTransaction";
constexpr const char* kMeterValues = "MeterValues";
constexpr const char* kRegister = "Energy.Active.Import.Register";
constexpr int64_t kNoTransaction = -1;

bool IsTransactionMessage(const std::string& action)
{
  return action == kStart || action == kStop || action == kMeterValues;
}

std::string Describe(const CAccountBook::SCall& call)
{
  return call.action + " " + call.id + " " + call.payload.dump();
}

int64_t TransactionIdOf(const nlohmann::json& payload) { return payload.value("transactionId", kNoTransaction); }

// All but the transaction id, which may be put in while a message waits.
nlohmann::json WithoutTransactionId(nlohmann::json payload)
{
  payload.erase("transactionId");
  return payload;
}

struct SReading {
  int64_t registerWh = 0;
  bool isClockAligned = false;
};

std::optional<SReading> ReadingOf(const nlohmann::json& payload)
{
  for (const auto& value : payload.value("meterValue", nlohmann::json::array())) {
    for (const auto& sample : value.value("sampledValue", nlohmann::json::array())) {
      if (sample.value("measurand", kRegister) != kRegister) continue;
      return SReading{std::stoll(sample.at("value").get<std::string>()),
                      sample.value("context", std::string()) == "Sample.Clock"};
    }
  }
  return std::nullopt;
}

}  // namespace

void CAccountBook::StartSession(const std::string& idTag, int64_t startWh, const std::string& time)
{
  SSession session;
  session.idTag = idTag;
  session.startWh = startWh;
  session.startTime = time;
  mSessions.push_back(session);
}

void CAccountBook::StopSession(int64_t stopWh, const std::string& time)
{
  mSessions.back().stopWh = stopWh;
  mSessions.back().stopTime = time;
}

void CAccountBook::Restart() { ++mLife; }

void CAccountBook::Receive(const SCall& call)
{
  const auto known = mMessages.find(call.id);
  if (known == mMessages.end()) {
    ReceiveFirst(call);
  } else {
    ReceiveAgain(known->second, call);
  }
}

void CAccountBook::ReceiveFirst(const SCall& call)
{
  auto& message = mMessages[call.id];
  message.first = call;
  if (call.action == kStart) {
    EnterStart(call, message);
  } else if (call.action == kStop) {
    EnterStop(call, message);
  } else if (call.action == kMeterValues) {
    EnterMeterValues(call, message);
  } else if (call.action == "StatusNotification") {
    EnterStatus(call);
  }
  if (IsTransactionMessage(call.action)) mOrder.push_back(call.id);
}

void CAccountBook::ReceiveAgain(SMessage& message, const SCall& call)
{
  if (call.action != message.first.action) AddFault("one message id for two actions: " + Describe(call));
  if (!IsTransactionMessage(call.action)) return;
  if (WithoutTransactionId(call.payload) != WithoutTransactionId(message.first.payload)) {
    AddFault("sent again with another payload: " + Describe(message.first) + " became " + Describe(call));
  }
  const int64_t before = TransactionIdOf(message.first.payload);
  if (before != kNoTransaction && TransactionIdOf(call.payload) != before) {
    AddFault("sent again with another transaction id: " + Describe(call));
  }
  if (message.isSettled && message.life == mLife && call.sentAt >= message.settledAt)
    AddFault("sent again after its answer: " + Describe(call));
  if (mOrder.back() != call.id) AddFault("sent again behind a later message: " + Describe(call));
  CheckTransactionId(call, message.session, call.action == kStop);
  message.first.payload = call.payload;
}

void CAccountBook::EnterStart(const SCall& call, SMessage& message)
{
  const int64_t meterStart = call.payload.value("meterStart", int64_t{-1});
  const auto found = std::find_if(mSessions.begin(), mSessions.end(),
                                  [&](const SSession& session) { return session.startWh == meterStart; });
  if (found == mSessions.end()) {
    AddFault("start of a session that never was: " + Describe(call));
    return;
  }
  message.session = static_cast<size_t>(found - mSessions.begin());
  if (call.payload.value("idTag", std::string()) != found->idTag) {
    AddFault("start with the tag of another session: " + Describe(call));
  }
  if (call.payload.value("timestamp", std::string()) != found->startTime) {
    AddFault("start with a time that is not the session's: " + Describe(call));
  }
  found->starts.push_back(call.id);
  for (auto later = found; later != mSessions.end(); ++later) {
    if (later != found && !later->starts.empty()) AddFault("start behind that of a later session: " + Describe(call));
    if (!later->stops.empty()) AddFault("start behind a stop: " + Describe(call));
  }
  for (auto earlier = mSessions.begin(); earlier != found; ++earlier) {
    if (earlier->stops.empty()) AddFault("start ahead of the stop of an earlier session: " + Describe(call));
  }
}

void CAccountBook::EnterStop(const SCall& call, SMessage& message)
{
  const int64_t meterStop = call.payload.value("meterStop", int64_t{-1});
  const auto found = std::find_if(mSessions.begin(), mSessions.end(),
                                  [&](const SSession& session) { return session.stopWh == meterStop; });
  if (found == mSessions.end()) {
    AddFault("stop of a session that never was: " + Describe(call));
    return;
  }
  message.session = static_cast<size_t>(found - mSessions.begin());
  if (call.payload.value("idTag", found->idTag) != found->idTag) {
    AddFault("stop with the tag of another session: " + Describe(call));
  }
  if (call.payload.value("timestamp", std::string()) != found->stopTime) {
    AddFault("stop with a time that is not the session's: " + Describe(call));
  }
  if (found->starts.empty()) AddFault("stop ahead of its start: " + Describe(call));
  CheckMeterStep(*found, meterStop, call);
  found->stops.push_back(call.id);
  CheckTransactionId(call, message.session, true);
}

void CAccountBook::EnterMeterValues(const SCall& call, SMessage& message)
{
  const auto reading = ReadingOf(call.payload);
  if (!reading) {
    AddFault("meter values without register: " + Describe(call));
    return;
  }
  // The meter was away.
  if (reading->registerWh == 0) return;
  const size_t index = FindSession(reading->registerWh);
  if (index == kNoSession) {
    if (TransactionIdOf(call.payload) != kNoTransaction)
      AddFault("transaction id outside a session: " + Describe(call));
    return;
  }
  auto& session = mSessions[index];
  // At its first and last register a session has not begun, or is over, for a reading on the clock.
  const bool isAtEdge = reading->registerWh == session.startWh || reading->registerWh == session.stopWh;
  if (isAtEdge && reading->isClockAligned) {
    CheckTransactionId(call, index, false);
    return;
  }
  message.session = index;
  if (session.starts.empty()) AddFault("meter values ahead of their start: " + Describe(call));
  if (!session.stops.empty()) AddFault("meter values behind their stop: " + Describe(call));
  CheckMeterStep(session, reading->registerWh, call);
  CheckTransactionId(call, index, true);
}

void CAccountBook::EnterStatus(const SCall& call)
{
  mStatuses[call.payload.value("connectorId", int64_t{-1})] = call.payload.value("status", std::string());
}

void CAccountBook::CheckMeterStep(SSession& session, int64_t registerWh, const SCall& call)
{
  if (registerWh < session.lastWh || registerWh < session.startWh) {
    AddFault("meter runs backwards: " + Describe(call));
  }
  session.lastWh = registerWh;
}

void CAccountBook::CheckTransactionId(const SCall& call, size_t session, bool isRequired)
{
  if (session == kNoSession) return;
  const auto& known = mSessions[session];
  const int64_t id = TransactionIdOf(call.payload);
  if (id == kNoTransaction) {
    if (isRequired && known.givenId) AddFault("without the transaction id that had been given: " + Describe(call));
  } else if (known.assignedIds.count(id) == 0) {
    AddFault("transaction id of another session: " + Describe(call));
  }
}

size_t CAccountBook::FindSession(int64_t registerWh) const
{
  for (size_t i = 0; i < mSessions.size(); ++i) {
    if (registerWh >= mSessions[i].startWh && registerWh <= mSessions[i].stopWh.value_or(INT64_MAX)) return i;
  }
  return kNoSession;
}

void CAccountBook::AssignTransactionId(const std::string& messageId, int64_t transactionId)
{
  const size_t session = mMessages[messageId].session;
  if (session != kNoSession) mSessions[session].assignedIds.insert(transactionId);
}

void CAccountBook::Answer(const std::string& messageId, EAnswer answer, std::chrono::nanoseconds at)
{
  auto& message = mMessages[messageId];
  // A new life of the station counts anew.
  if (message.life != mLife) message.errors = 0;
  message.life = mLife;
  if (answer == EAnswer::EError && ++message.errors < mAttempts) return;
  message.isSettled = true;
  message.settledAt = at;
  message.isAccepted = answer == EAnswer::EAccepted;
  if (!message.isAccepted || message.first.action != kStart || message.session == kNoSession) return;
  auto& session = mSessions[message.session];
  if (!session.assignedIds.empty()) session.givenId = *session.assignedIds.rbegin();
}

void CAccountBook::AuditSession(const SSession& session, std::vector<std::string>& faults) const
{
  const auto settled = [&](const std::string& id) { return mMessages.at(id).isSettled; };
  const auto count = [&](const std::vector<std::string>& ids, const std::string& what) {
    if (ids.empty()) faults.push_back(what + " of session " + session.idTag + " is lost");
    if (ids.size() > 1) faults.push_back(what + " of session " + session.idTag + " is doubled");
    if (!std::all_of(ids.begin(), ids.end(), settled)) {
      faults.push_back(what + " of session " + session.idTag + " was dropped without an answer");
    }
  };
  count(session.starts, "start");
  if (session.stopWh) count(session.stops, "stop");
}

std::vector<std::string> CAccountBook::Audit(const SEnd& end) const
{
  auto faults = mFaults;
  for (const auto& session : mSessions) AuditSession(session, faults);
  const auto status = mStatuses.find(1);
  const std::string told = status == mStatuses.end() ? "nothing" : status->second;
  if (told != end.connectorStatus) faults.push_back("connector is " + end.connectorStatus + ", told was " + told);
  if (end.storedMessages > 0) faults.push_back("messages are left in the store");
  if (!end.isStorageAvailable) faults.emplace_back("the session manager believes that the store is full");
  if (end.isStorageFullSignal) faults.emplace_back("diagnostics believes that the store is full");
  return faults;
}

#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The operator's book: what the station's meter and drivers did on one side, what the central system heard of it on the
// other, and whether the two agree. It knows OCPP and nothing of how the station works.
//
// Sessions are told apart by their registers, which no two of them share, and by their tags. Entries are made in the
// order in which things happened.
class CAccountBook {
 public:
  // How an answer of the central system was taken by the station.
  enum class EAnswer {
    EAccepted,
    EUnreadable,      // counts as an answer, but nothing can be learned from it
    EError,           // a CALLERROR: the message comes again, up to a number of times
    ENotImplemented,  // a CALLERROR after which the message is not sent again
  };

  struct SCall {
    std::string id;
    std::string action;
    nlohmann::json payload;
    std::chrono::nanoseconds sentAt{};  // on steady time; a call may cross the answer to an earlier one on its way
  };

  // What is found when everything has come to rest.
  struct SEnd {
    std::string connectorStatus;       // of connector 1, as OCPP names it
    size_t storedMessages = 0;         // that still wait for an answer
    bool isStorageAvailable = true;    // as the session manager was told
    bool isStorageFullSignal = false;  // as diagnostics was told
  };

  // `attempts`: CALLERRORs after which a message may be given up.
  explicit CAccountBook(uint32_t attempts) : mAttempts(attempts) {}

  // The station's side. Times are the texts of the meter.
  void StartSession(const std::string& idTag, int64_t startWh, const std::string& time);
  void StopSession(int64_t stopWh, const std::string& time);
  // The process begins anew. Whatever it had sent may come again.
  void Restart();

  // The central system's side.
  void Receive(const SCall& call);
  // The id that the central system has for a StartTransaction, whether or not the station comes to know it.
  void AssignTransactionId(const std::string& messageId, int64_t transactionId);
  // An answer that the station took; see CInFlight.
  void Answer(const std::string& messageId, EAnswer answer, std::chrono::nanoseconds at = {});
  // Any other fault that whoever keeps the book came upon.
  void AddFault(const std::string& text) { mFaults.push_back(text); }

  // Every rule that is broken, in words. Empty: the book balances.
  std::vector<std::string> Audit(const SEnd& end) const;
  size_t CountSessions() const { return mSessions.size(); }
  size_t CountMessages() const { return mOrder.size(); }
  uint64_t CountLives() const { return mLife; }

 private:
  struct SSession {
    std::string idTag;
    int64_t startWh = 0;
    std::string startTime;
    std::optional<int64_t> stopWh;
    std::string stopTime;
    std::vector<std::string> starts;  // message ids
    std::vector<std::string> stops;
    std::optional<int64_t> givenId;  // the station knows it
    std::set<int64_t> assignedIds;
    int64_t lastWh = 0;
  };

  struct SMessage {
    SCall first;
    size_t session = kNoSession;
    uint32_t errors = 0;
    bool isSettled = false;
    bool isAccepted = false;
    std::chrono::nanoseconds settledAt{};
    uint64_t life = 0;  // of the station, in which it was last answered
  };

  static constexpr size_t kNoSession = SIZE_MAX;

  void ReceiveFirst(const SCall& call);
  void ReceiveAgain(SMessage& message, const SCall& call);
  void EnterStart(const SCall& call, SMessage& message);
  void EnterStop(const SCall& call, SMessage& message);
  void EnterMeterValues(const SCall& call, SMessage& message);
  void EnterStatus(const SCall& call);
  void CheckTransactionId(const SCall& call, size_t session, bool isRequired);
  void CheckMeterStep(SSession& session, int64_t registerWh, const SCall& call);
  size_t FindSession(int64_t registerWh) const;
  void AuditSession(const SSession& session, std::vector<std::string>& faults) const;

  const uint32_t mAttempts;
  std::vector<SSession> mSessions;
  std::map<std::string, SMessage> mMessages;  // by message id
  std::vector<std::string> mOrder;            // transaction messages, as they first came
  std::map<int64_t, std::string> mStatuses;   // the last one of each connector
  std::vector<std::string> mFaults;
  uint64_t mLife = 0;
};

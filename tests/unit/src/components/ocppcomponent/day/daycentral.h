#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "platform/clock/clock.h"
#include "tests/unit/src/components/ocppcomponent/day/accountbook.h"

// Of the station's configuration: an answer after that comes too late.
constexpr std::chrono::seconds kMessageTimeout{30};

// Chance. One for each of those who decide something, so that one's decisions do not shift another's.
class CDayChance {
 public:
  explicit CDayChance(uint32_t seed) : mEngine(seed) {}
  // From 0 to `end` - 1.
  int64_t Below(int64_t end) { return std::uniform_int_distribution<int64_t>(0, end - 1)(mEngine); }
  bool Percent(int64_t percent) { return Below(100) < percent; }
  // Never a whole number of milliseconds, so that it meets no timer by accident.
  std::chrono::nanoseconds Between(std::chrono::milliseconds from, std::chrono::milliseconds to)
  {
    return from + std::chrono::milliseconds(Below((to - from).count() + 1)) +
           std::chrono::nanoseconds(1 + Below(999998));
  }

 private:
  std::mt19937 mEngine;
};

// Per cent of the calls that are not simply answered, and how.
struct SDayMood {
  int64_t error = 0;           // CALLERROR
  int64_t notImplemented = 0;  // CALLERROR of that code
  int64_t silence = 0;
  int64_t malformed = 0;
  int64_t late = 0;
  int64_t twice = 0;
  int64_t wrongId = 0;
  int64_t close = 0;        // before or after the answer
  int64_t notAccepted = 0;  // Pending or Rejected boots
  int64_t badTag = 0;       // a tag that is not accepted
};

// A central system that answers as well as its mood allows. It knows a message that comes again by its id.
class CDayCentral {
 public:
  // What an answer does at the station if it takes it.
  enum class EEffect {
    ENone,
    EAccepted,
    EUnreadable,
    EError,
    ENotImplemented,
  };

  struct SReply {
    std::chrono::nanoseconds delay{};
    std::string text;  // a frame; empty: the connection is closed
    std::string id;    // of the call that it answers
    EEffect effect = EEffect::ENone;
  };

  using SMood = SDayMood;
  static constexpr SMood kKind{};

  // `book` may be null, for a central system that nobody audits.
  CDayCentral(CAccountBook* book, uint32_t seed) : mBook(book), mChance(seed) {}

  void SetMood(const SMood& mood) EXCLUDES(mMutex);
  // A frame of the station has arrived. An answer of the station's to one of our calls gives no replies.
  std::vector<SReply> Receive(const std::string& frame, std::chrono::nanoseconds sentAt) EXCLUDES(mMutex);
  // A reply was taken by the station as the answer to the call in flight.
  void ReportTaken(const SReply& reply, std::chrono::nanoseconds at) EXCLUDES(mMutex);
  // The station sent a call while another was in flight.
  void ReportOverlap(const std::string& frame) EXCLUDES(mMutex);
  // Anything that touches the book while the station runs.
  void WithBook(const std::function<void(CAccountBook&)>& entry) EXCLUDES(mMutex);

 private:
  using CReplies = std::vector<SReply>;

  CReplies Decide(const CAccountBook::SCall& call) REQUIRES(mMutex);
  SReply Accept(const CAccountBook::SCall& call) REQUIRES(mMutex);
  SReply Fail(const CAccountBook::SCall& call, bool isNotImplemented) REQUIRES(mMutex);
  SReply Break(const CAccountBook::SCall& call) REQUIRES(mMutex);
  nlohmann::json PayloadFor(const CAccountBook::SCall& call) REQUIRES(mMutex);
  nlohmann::json BootPayload() REQUIRES(mMutex);
  int64_t TransactionIdFor(const std::string& messageId) REQUIRES(mMutex);

  CMutex mMutex;
  CAccountBook* const mBook PT_GUARDED_BY(mMutex);
  CDayChance mChance GUARDED_BY(mMutex);
  SMood mMood GUARDED_BY(mMutex);
  std::map<std::string, int64_t> mTransactionIds GUARDED_BY(mMutex);  // by message id
};

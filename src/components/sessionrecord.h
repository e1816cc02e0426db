#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "platform/iipc/messages.h"

// What a connector remembers of its sessions beside "OpenedTransaction": enough to know, after the process was killed
// at any moment, which of the session manager's events it had come to, because those are told again.
struct SSessionRecord {
  // Sessions whose end is remembered; more than a session manager can tell again.
  static constexpr size_t kMaxEnded = 16;

  struct SEnded {
    std::string start;           // as StartOf gives it
    bool hasMovedMeter = false;  // energy was measured, so that no later session can have the same start
  };

  std::string key;            // of the running session's transaction; empty outside of a session
  bool hasEnded = false;      // its StopTransaction is being made
  std::string start;          // of the session that started last
  std::string end;            // of the session whose StopTransaction is being made
  std::string stop;           // of the StopTransaction that was made last, as StopOf gives it
  std::vector<SEnded> ended;  // the latest sessions whose stop was reported, oldest first

  Json::Value ToJson() const;
  // A record of another form, as earlier versions wrote it, gives what can be read.
  static SSessionRecord FromJson(const Json::Value& json);

  // Makes the session of that start the running one.
  void Begin(const std::string& transactionKey, const std::string& sessionStart);
  // Moves the session into the list of ended ones: that of the reading or, when the reading does not say, the one that
  // started last.
  void Close(const ipc::MMeterData& meterData);
  void Remember(const SEnded& session);

  // The end of the session that started last, when nobody tells it, by the reading at the start of the next one.
  ipc::MMeterData EndBefore(const ipc::MMeterData& next) const;

  // What tells a session from all others: time and register at its start. Empty when the reading does not say.
  static std::string StartOf(const ipc::MMeterData& meterData);
  // Time and register in Wh at the end of a session, as its StopTransaction carries them. Empty when the reading does
  // not say.
  static std::string EndOf(const ipc::MMeterData& meterData);
  // What tells the end of a session from others when it is told again: EndOf or, without one, all that was measured.
  // Empty when nothing was.
  static std::string StopOf(const ipc::MMeterData& meterData);
  // As EndOf, of the payload of a StopTransaction.
  static std::string EndOf(const std::string& stopTransaction);
};

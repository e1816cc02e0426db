#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/clock/realclock.h"

// The process that runs tlsserver.js (see there for commands and answers), and the certificates that it serves. One of
// them lives for the whole test program.
class CScriptedServer {
 public:
  static constexpr std::chrono::seconds kPatience{20};

  // Makes the certificates in a temporary folder and starts the process; throws std::runtime_error when it cannot.
  CScriptedServer();
  // Ends the process and removes the folder.
  ~CScriptedServer();
  CScriptedServer(const CScriptedServer&) = delete;
  CScriptedServer& operator=(const CScriptedServer&) = delete;

  const std::string& GetFolder() const { return mFolder; }
  // `members`: the members of the command's JSON object after "do" and "id", with a leading comma if there are any.
  void Command(const std::string& command, const std::string& id, const std::string& members = "");
  // Starts a listener and returns its port.
  uint16_t Listen(const std::string& id, const std::string& members);
  // TLS with the certificate `name`.
  uint16_t ListenTls(const std::string& id, const std::string& name, const std::string& members = "");
  // Waits for a line "ID WORD..." that begins with `id` and `words`, takes it and all of this server before it out, and
  // returns what follows; empty, with a failure of the test, when it does not come.
  std::string Await(const std::string& id, const std::string& words);
  // Lines so far that begin with `id` and `words`.
  size_t Count(const std::string& id, const std::string& words) const;
  // Decrypted bytes that the server has received so far.
  int GetBytes(const std::string& id);

 private:
  void Start();
  void Read();

  // Constant after construction.
  std::string mFolder;
  pid_t mProcess = -1;
  int mInput = -1;
  int mOutput = -1;
  std::thread mReader;

  mutable CRealClock mClock;
  mutable CMutex mMutex;
  CCondition mChanged;
  std::vector<std::string> mLines GUARDED_BY(mMutex);
};

#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/commutil/rpclogger.h"

// Takes the place of the process's RPC logger for the life of the object and keeps its lines, each with its level in
// front: "error: ...".
class CRpcLogRecorder {
 public:
  CRpcLogRecorder() { Rpc::SetProcessLogger(mLogger); }
  ~CRpcLogRecorder() { Rpc::SetProcessLogger(nullptr); }
  CRpcLogRecorder(const CRpcLogRecorder&) = delete;
  CRpcLogRecorder& operator=(const CRpcLogRecorder&) = delete;

  std::vector<std::string> Lines() const { return mLogger->Lines(); }
  // Lines that begin with `prefix`.
  size_t Count(const std::string& prefix) const
  {
    const std::vector<std::string> lines = Lines();
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&prefix](const std::string& line) { return line.rfind(prefix, 0) == 0; }));
  }
  bool Contains(const std::string& part) const
  {
    const std::vector<std::string> lines = Lines();
    return std::any_of(lines.begin(), lines.end(),
                       [&part](const std::string& line) { return line.find(part) != std::string::npos; });
  }

 private:
  class CLogger : public Rpc::ILogger {
   public:
    void Critical(const std::string& message) override { Add("critical: " + message); }
    void Error(const std::string& message) override { Add("error: " + message); }
    void Warning(const std::string& message) override { Add("warning: " + message); }
    void Info(const std::string& message) override { Add("info: " + message); }
    void Debug(const std::string& message) override { Add("debug: " + message); }
    void Trace(const std::string& message) override { Add("trace: " + message); }

    std::vector<std::string> Lines() const
    {
      const CLock lock(mMutex);
      return mLines;
    }

   private:
    void Add(std::string line)
    {
      const CLock lock(mMutex);
      mLines.push_back(std::move(line));
    }

    mutable CMutex mMutex;
    std::vector<std::string> mLines GUARDED_BY(mMutex);
  };

  const std::shared_ptr<CLogger> mLogger = std::make_shared<CLogger>();
};

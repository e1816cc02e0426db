#pragma once

#include <optional>
#include <string>
#include <utility>

#include "src/components/operation/ocpp_common/incallerror.h"
#include "src/components/operation/ocpp_common/json.h"
#include "src/components/operation/ocpp_common/operationbase.h"

// A CALL that a backoffice started.
class CInCallOperationBase : public COperationBase {
 public:
  using COperationBase::COperationBase;

  // The answer's payload as compact JSON text; "null" before Execute and after an answer that is a CALLERROR.
  virtual std::string GetResponsePayload() const = 0;
  // What to log in place of the answer's payload; empty: the payload itself.
  virtual std::string GetResponseLogText() const = 0;
  // True: logged at info level; false: at debug level.
  virtual bool IsInfoLogLevel() const = 0;
  // Reads the request, acts on it and gives the frame to answer with, CALLRESULT or CALLERROR.
  //
  // Throws when the payload is not the request's: exceptions of the JSON library, constraint exceptions, and a plain
  // text pointer for an unknown enumeration value. What the action itself throws never leaves here.
  virtual std::string Execute(const std::string& payload) = 0;
  // Runs after the answer has gone out.
  virtual void PostAction() {}

 protected:
  // Runs `action` and gives what it failed with: the CInCallError it threw, InternalError (after a log line) for
  // anything else it threw, empty when it succeeded.
  template <typename TAction>
  static std::optional<CInCallError> Guard(const TAction& action)
  {
    try {
      action();
      return std::nullopt;
    } catch (...) {
      return ErrorOfCurrentException();
    }
  }
  std::string WriteError(const CInCallError& error) const;
  std::string WriteResult(const std::string& payload) const;

 private:
  static CInCallError ErrorOfCurrentException();
};

// What all in-calls share. A concrete operation adds Action and, where it needs it, PostAction.
template <typename TReq, typename TResp>
class CInCallOperation : public CInCallOperationBase {
 public:
  using CInCallOperationBase::CInCallOperationBase;

  std::string GetResponsePayload() const override { return mPayload; }
  std::string GetResponseLogText() const override { return mResponseLogText; }
  bool IsInfoLogLevel() const override { return mIsInfoLogLevel; }

  std::string Execute(const std::string& payload) override
  {
    const auto request = OcppJson::Read<TReq>(payload);
    TResp response{};
    if (const auto error = Guard([&] { Action(request, response); })) return WriteError(*error);
    mPayload = OcppJson::Write(response);
    return WriteResult(mPayload);
  }

 protected:
  // Acts on the request and fills the response. Throws a CInCallError to answer with that error.
  virtual void Action(const TReq& request, TResp& response) = 0;

  std::string mPayload = "null";  // compact JSON text of the response
  std::string mResponseLogText;
  bool mIsInfoLogLevel = true;
};

#pragma once

#include <functional>
#include <string>

// Cuts one OCPP-J text frame (OCPP-J 1.6 section 4.2) into its fields and hands them to one of three callbacks.
//
// The frame is cut by plain text operations and never parsed as JSON: the payload stays raw text until the operation
// that knows its schema reads it. Nothing is kept between frames. A frame that cannot be cut ends in a log line.
//
// No lock: frames come from the one thread that receives for a backoffice, and the callbacks are set before the first.
class CMessageHandler {
 public:
  using CInCallCB = std::function<void(const std::string& id, const std::string& action, const std::string& payload)>;
  using CInResultCB = std::function<void(const std::string& id, const std::string& payload)>;
  using CInErrorCB = std::function<void(const std::string& id, const std::string& code, const std::string& description,
                                        const std::string& details)>;

  // Replace the callback; an empty one is accepted and leaves that kind of frame unhandled.
  void SetInCallCB(CInCallCB callback);
  void SetInResultCB(CInResultCB callback);
  void SetInErrorCB(CInErrorCB callback);
  bool IsAllCallbackSet() const;

  // Cuts one frame and runs at most one callback before it returns.
  //
  // Id and action come without any quotes and white space, the payload of CALL and CALLRESULT without white space at
  // its ends, and code, description and details of a CALLERROR as they stand in the frame, quotes included. The last
  // field reaches to the first line feed, a missing field is empty. Throws only what the callback throws.
  void ParseMessage(const std::string& text);

 private:
  CInCallCB mInCallCB;
  CInResultCB mInResultCB;
  CInErrorCB mInErrorCB;
};

#include "tests/unit/src/components/ocppcomponent/day/daycentral.h"

#include <array>

using namespace std::chrono_literals;

namespace {

constexpr int64_t kFirstTransactionId = 1000;

CAccountBook::EAnswer ToAnswer(CDayCentral::EEffect effect)
{
  switch (effect) {
    case CDayCentral::EEffect::EAccepted:
      return CAccountBook::EAnswer::EAccepted;
    case CDayCentral::EEffect::EError:
      return CAccountBook::EAnswer::EError;
    case CDayCentral::EEffect::ENotImplemented:
      return CAccountBook::EAnswer::ENotImplemented;
    case CDayCentral::EEffect::ENone:
    case CDayCentral::EEffect::EUnreadable:
      break;
  }
  return CAccountBook::EAnswer::EUnreadable;
}

std::string Result(const std::string& id, const std::string& payload)
{
  std::string frame = R"([3,")";
  frame += id;
  frame += R"(",)";
  frame += payload;
  frame += "]";
  return frame;
}

}  // namespace

void CDayCentral::SetMood(const SMood& mood)
{
  CLock lock(mMutex);
  mMood = mood;
}

std::vector<CDayCentral::SReply> CDayCentral::Receive(const std::string& frame, std::chrono::nanoseconds sentAt)
{
  const auto json = nlohmann::json::parse(frame, nullptr, false);
  if (!json.is_array() || json.size() != 4 || json[0] != 2) {
    if (json.is_array() && !json.empty() && json[0] != 2) return {};
    WithBook([&](CAccountBook& book) { book.AddFault("not a frame: " + frame); });
    return {};
  }
  CLock lock(mMutex);
  const CAccountBook::SCall call{json[1], json[2], json[3], sentAt};
  if (mBook != nullptr) mBook->Receive(call);
  return Decide(call);
}

CDayCentral::CReplies CDayCentral::Decide(const CAccountBook::SCall& call)
{
  int64_t dice = mChance.Below(100);
  const auto falls = [&dice](int64_t percent) {
    dice -= percent;
    return dice < 0;
  };
  auto reply = Accept(call);
  if (falls(mMood.silence)) return {};
  if (falls(mMood.error)) return {Fail(call, false)};
  if (falls(mMood.notImplemented)) return {Fail(call, true)};
  if (falls(mMood.malformed)) return {Break(call)};
  if (falls(mMood.late)) {
    reply.delay = mChance.Between(kMessageTimeout, 3 * kMessageTimeout);
    return {reply};
  }
  if (falls(mMood.twice)) {
    auto second = mChance.Percent(70) ? reply : Fail(call, false);
    second.delay = reply.delay + mChance.Between(0ms, 2s);
    return {reply, second};
  }
  if (falls(mMood.wrongId)) {
    auto wrong = mChance.Percent(50) ? reply : Fail(call, false);
    const std::string otherId = "not-" + call.id.substr(4);
    wrong.text.replace(wrong.text.find(call.id), call.id.size(), otherId);
    wrong.id = otherId;
    if (mChance.Percent(50)) return {wrong};
    reply.delay = wrong.delay + mChance.Between(0ms, 2s);
    return {wrong, reply};
  }
  if (falls(mMood.close)) {
    const SReply close{mChance.Between(1ms, 1s), "", "", EEffect::ENone};
    if (mChance.Percent(50)) return {close};
    reply.delay = close.delay - 1us;
    return {reply, close};
  }
  return {reply};
}

CDayCentral::SReply CDayCentral::Accept(const CAccountBook::SCall& call)
{
  return {mChance.Between(5ms, 500ms), Result(call.id, PayloadFor(call).dump()), call.id, EEffect::EAccepted};
}

CDayCentral::SReply CDayCentral::Fail(const CAccountBook::SCall& call, bool isNotImplemented)
{
  const std::array<const char*, 4> codes{"InternalError", "GenericError", "FormationViolation", "NotSupported"};
  const std::string code =
      isNotImplemented ? "NotImplemented" : codes.at(static_cast<size_t>(mChance.Below(codes.size())));
  std::string frame = R"([4,")" + call.id;
  frame += R"(",")" + code;
  frame += R"(","",{}])";
  return {mChance.Between(5ms, 500ms), frame, call.id, isNotImplemented ? EEffect::ENotImplemented : EEffect::EError};
}

CDayCentral::SReply CDayCentral::Break(const CAccountBook::SCall& call)
{
  struct SBreakage {
    std::string frame;
    EEffect effect;
  };
  const std::array<SBreakage, 7> breakages{{
      {Result(call.id, R"({"idTagInfo":{"status":"Acc)"), EEffect::EUnreadable},
      {Result(call.id, R"({"idTagInfo":7,"transactionId":"x","status":1})"), EEffect::EUnreadable},
      {Result(call.id, ""), EEffect::ENone},
      {R"([3,")" + call.id, EEffect::ENone},
      {R"({"what":"is this"})", EEffect::ENone},
      {R"([4,")" + call.id + R"(","InternalError",""])", EEffect::ENone},
      {"", EEffect::ENone},
  }};
  auto breakage = breakages.at(static_cast<size_t>(mChance.Below(breakages.size())));
  if (breakage.frame.empty()) breakage.frame = "]";
  return {mChance.Between(5ms, 500ms), breakage.frame, call.id, breakage.effect};
}

nlohmann::json CDayCentral::PayloadFor(const CAccountBook::SCall& call)
{
  const char* tagStatus = mChance.Percent(mMood.badTag) ? "Blocked" : "Accepted";
  if (call.action == "BootNotification") return BootPayload();
  if (call.action == "Heartbeat") return {{"currentTime", "2026-01-15T10:00:00Z"}};
  if (call.action == "Authorize") return {{"idTagInfo", {{"status", tagStatus}}}};
  if (call.action == "StopTransaction" && mChance.Percent(50)) return {{"idTagInfo", {{"status", "Accepted"}}}};
  if (call.action != "StartTransaction") return nlohmann::json::object();
  return {{"idTagInfo", {{"status", mChance.Percent(2) ? "Unheard" : tagStatus}}},
          {"transactionId", TransactionIdFor(call.id)}};
}

nlohmann::json CDayCentral::BootPayload()
{
  const char* status = "Accepted";
  if (mChance.Percent(mMood.notAccepted)) status = mChance.Percent(50) ? "Pending" : "Rejected";
  return {{"status", status}, {"interval", 60 + mChance.Below(600)}, {"currentTime", "2026-01-15T10:00:00Z"}};
}

int64_t CDayCentral::TransactionIdFor(const std::string& messageId)
{
  const auto id =
      mTransactionIds.emplace(messageId, kFirstTransactionId + static_cast<int64_t>(mTransactionIds.size()));
  if (mBook != nullptr) mBook->AssignTransactionId(messageId, id.first->second);
  return id.first->second;
}

void CDayCentral::ReportTaken(const SReply& reply, std::chrono::nanoseconds at)
{
  WithBook([&](CAccountBook& book) { book.Answer(reply.id, ToAnswer(reply.effect), at); });
}

void CDayCentral::ReportOverlap(const std::string& frame)
{
  WithBook([&](CAccountBook& book) { book.AddFault("two calls in flight: " + frame); });
}

void CDayCentral::WithBook(const std::function<void(CAccountBook&)>& entry)
{
  CLock lock(mMutex);
  if (mBook != nullptr) entry(*mBook);
}

// A whole session whose power is cut at every write in turn, and what the central system's book says in the end.

#include <algorithm>
#include <set>

#include "tests/unit/src/components/operation/ocpp16/implementation/transactionlife.h"

using namespace std::chrono_literals;

namespace {

constexpr uint64_t kMaxWrites = 60;

// Gives every StartTransaction an id of its own, and the same one to its repetitions.
class CBook {
 public:
  void Enter(const SSentCall& call)
  {
    if (std::find(mOrder.begin(), mOrder.end(), call.id) == mOrder.end()) mOrder.push_back(call.id);
    if (call.action == "StartTransaction") {
      mIds.emplace(call.id, 100 + static_cast<int64_t>(mIds.size()));
      EXPECT_TRUE(mStops.empty());
    } else if (call.action == "StopTransaction") {
      mStops.insert(call.id);
      EXPECT_EQ(call.TransactionId(), 100);
      EXPECT_EQ(call.payload["meterStop"], 9);
    } else if (call.action == "MeterValues") {
      EXPECT_EQ(call.TransactionId(), 100);
    }
  }
  int64_t IdFor(const SSentCall& call) const { return mIds.count(call.id) > 0 ? mIds.at(call.id) : 0; }
  size_t CountStarts() const { return mIds.size(); }
  size_t CountStops() const { return mStops.size(); }

 private:
  std::map<std::string, int64_t> mIds;  // by message id
  std::set<std::string> mStops;
  std::vector<std::string> mOrder;
};

void AnswerAll(CTransactionLife& life, CBook& book)
{
  for (auto calls = life.Take(); !calls.empty(); calls = life.Take()) {
    for (const auto& call : calls) {
      book.Enter(call);
      life.Accept(call, book.IdFor(call));
    }
  }
}

bool IsStopStored(const CFakeConfig::CState& messages)
{
  return std::any_of(messages.begin(), messages.end(),
                     [](const auto& entry) { return entry.second["OperationType"] == "StopTransaction"; });
}

enum class ELink { EOnline, EOfflineUntilTheEnd };

// The session in one life with the power cut after `writes`; a second life settles what is left. True when the power
// was cut at all.
bool RunSession(uint64_t writes, ELink link)
{
  SCOPED_TRACE(writes);
  STransactionStation station;
  station.SetIdTag("TAG");
  CBook book;
  bool isStopTold = false;
  bool isStopKept = false;
  {
    CTransactionLife life(station);
    if (link == ELink::EOfflineUntilTheEnd) life.SetOnline(false);
    station.medium->CutPowerAfterWrite(writes);
    life.StartSession(1);
    AnswerAll(life, book);
    if (!station.medium->IsPowerCut()) {
      life.StopSession(9);
      isStopTold = true;
      AnswerAll(life, book);
      life.SetOnline(true);
      AnswerAll(life, book);
      isStopKept = IsStopStored(station.messages->GetSurvivingState()) || book.CountStops() > 0;
    }
  }
  const bool isCut = station.medium->IsPowerCut();
  station.Restore(station.messages->GetSurvivingState(), station.data->GetSurvivingState());
  CTransactionLife life(station);
  // A session that still runs is told again.
  if (!isStopTold) life.StartSession(1);
  AnswerAll(life, book);
  // A stop of which nothing is left is lost, unless it is told again as well.
  if (!isStopKept) life.StopSession(9);
  AnswerAll(life, book);
  EXPECT_EQ(book.CountStarts(), 1U);
  EXPECT_EQ(book.CountStops(), 1U);
  EXPECT_EQ(life.CountStored(), 0U);
  EXPECT_EQ(life.GetSession().GetTransactionId(), -1);
  // The next session is one of its own.
  life.StartSession(9);
  EXPECT_EQ(life.TakeOne().action, "StartTransaction");
  return isCut;
}

void CutAtEveryWrite(ELink link)
{
  uint64_t writes = 0;
  while (writes < kMaxWrites && RunSession(writes, link)) ++writes;
  EXPECT_GT(writes, 8U);
  EXPECT_LT(writes, kMaxWrites);
}

}  // namespace

TEST(TransactionPowerCut, AtAnyWriteOfASessionOnlineItIsBilledOnceUnderOneIdWithItsTransactionId)
{
  CutAtEveryWrite(ELink::EOnline);
}

TEST(TransactionPowerCut, AtAnyWriteOfASessionThatIsQueuedOfflineItIsBilledOnceUnderOneIdWithItsTransactionId)
{
  CutAtEveryWrite(ELink::EOfflineUntilTheEnd);
}

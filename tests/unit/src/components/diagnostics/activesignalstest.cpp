#include "src/components/activesignals.h"

#include <gtest/gtest.h>

#include "tests/unit/src/components/diagnostics/signals.h"

namespace {

using CIds = std::vector<int32_t>;

TEST(ActiveSignals, UnknownConnectorHasNone) { EXPECT_EQ(CActiveSignals().Get(3), CIds{}); }

TEST(ActiveSignals, RaisedOnesAreListedInOrderOfArrivalPerConnector)
{
  CActiveSignals active;
  active.Update(MakeSignal(1104, 0, true));
  active.Update(MakeSignal(1000, 1, true));
  active.Update(MakeSignal(1100, 0, true));
  EXPECT_EQ(active.Get(0), (CIds{1104, 1100}));
  EXPECT_EQ(active.Get(1), CIds{1000});
}

TEST(ActiveSignals, RaisedTwiceIsListedOnceAtItsFirstPlace)
{
  CActiveSignals active;
  active.Update(MakeSignal(1000, 1, true));
  active.Update(MakeSignal(1001, 1, true));
  active.Update(MakeSignal(1000, 1, true));
  EXPECT_EQ(active.Get(1), (CIds{1000, 1001}));
}

TEST(ActiveSignals, ClearedOneIsGoneAndComesBackAtTheEnd)
{
  CActiveSignals active;
  active.Update(MakeSignal(1000, 1, true));
  active.Update(MakeSignal(1001, 1, true));
  active.Update(MakeSignal(1000, 1, false));
  EXPECT_EQ(active.Get(1), CIds{1001});
  active.Update(MakeSignal(1000, 1, true));
  EXPECT_EQ(active.Get(1), (CIds{1001, 1000}));
}

TEST(ActiveSignals, ClearingWhatIsNotRaisedDoesNothing)
{
  CActiveSignals active;
  active.Update(MakeSignal(1000, 1, false));
  EXPECT_EQ(active.Get(1), CIds{});
}

TEST(ActiveSignals, SignalWithoutATruthValueCountsAsCleared)
{
  CActiveSignals active;
  active.Update(MakeSignal(1000, 1, true));
  auto signal = MakeSignal(1000, 1, true);
  signal.clear_bool_values();
  active.Update(signal);
  EXPECT_EQ(active.Get(1), CIds{});
}

TEST(ActiveSignals, OnlyTheFirstTruthValueCounts)
{
  CActiveSignals active;
  auto signal = MakeSignal(1000, 1, true);
  signal.add_bool_values(false);
  active.Update(signal);
  EXPECT_EQ(active.Get(1), CIds{1000});
}

TEST(ActiveSignals, AnswerReplacesWhatWasThereBeforeTheQuestion)
{
  CActiveSignals active;
  active.Update(MakeSignal(1000, 1, true));
  const auto number = active.BeginSync();
  EXPECT_EQ(active.Get(1), CIds{});
  active.EndSync(number, {MakeSignal(1003, 1, true), MakeSignal(1002, 1, true), MakeSignal(1104, 0, true)});
  EXPECT_EQ(active.Get(1), (CIds{1003, 1002}));
  EXPECT_EQ(active.Get(0), CIds{1104});
}

TEST(ActiveSignals, NotificationDuringTheQuestionIsNewerThanTheAnswer)
{
  CActiveSignals active;
  const auto number = active.BeginSync();
  active.Update(MakeSignal(1000, 1, true));
  active.Update(MakeSignal(1001, 1, false));
  active.EndSync(number, {MakeSignal(1001, 1, true), MakeSignal(1002, 1, true)});
  EXPECT_EQ(active.Get(1), (CIds{1002, 1000}));
}

TEST(ActiveSignals, AnswerToAnOlderQuestionIsDropped)
{
  CActiveSignals active;
  const auto first = active.BeginSync();
  const auto second = active.BeginSync();
  active.EndSync(second, {MakeSignal(1000, 1, true)});
  active.EndSync(first, {MakeSignal(1001, 1, true)});
  EXPECT_EQ(active.Get(1), CIds{1000});
}

TEST(ActiveSignals, RemoveTakesIdentifiersFromEveryConnector)
{
  CActiveSignals active;
  active.Update(MakeSignal(10101, 0, true));
  active.Update(MakeSignal(10101, 1, true));
  active.Update(MakeSignal(10102, 1, true));
  active.Remove({10101, 10103});
  EXPECT_EQ(active.Get(0), CIds{});
  EXPECT_EQ(active.Get(1), CIds{10102});
}

}  // namespace

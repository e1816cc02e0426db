#include "platform/diagnostics/diagnosticssignal.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/clock/simulatedclock.h"
#include "platform/diagnostics/signaldefinitions.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

namespace {

constexpr auto kStation = ipc::EInstanceTypeStation;

class CDiagnosticsSignalTest : public testing::Test {
 protected:
  ~CDiagnosticsSignalTest() override { CDiagnosticsCommClient::Terminate(); }

  void Initialize() { CDiagnosticsCommClient::Initialize(mDiagnostics, mClock); }
  std::vector<bool> SentBools(ipc::ESignalIdentifier identifier)
  {
    mClock.WaitIdle();
    std::vector<bool> values;
    for (const auto& signal : mDiagnostics->SentSignals(identifier)) values.push_back(signal.bool_values(0));
    return values;
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeDiagnostics> mDiagnostics = std::make_shared<CFakeDiagnostics>();
};

using CBools = std::vector<bool>;

TEST_F(CDiagnosticsSignalTest, SentValueArrivesWithIdentifierConnectorAndTime)
{
  Initialize();
  CDiagnosticsSignal<uint32_t> signal(SignalDefinitions::TransactionQueueSize, ipc::EInstanceTypeConnector1);
  signal.Send(7);
  mClock.WaitIdle();
  const auto sent = mDiagnostics->SentSignals();
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].identifier(), 205);
  EXPECT_EQ(sent[0].connector(), 1U);
  ASSERT_EQ(sent[0].uint_values_size(), 1);
  EXPECT_EQ(sent[0].uint_values(0), 7U);
  EXPECT_EQ(sent[0].timestamp().seconds(), 1768472100);
}

TEST_F(CDiagnosticsSignalTest, LastValueIsTheDefaultUntilSomethingWasSent)
{
  const CSignalDefinition<int32_t> definition(9, "Answer", 42, "s", 1);
  CDiagnosticsSignal<int32_t> signal(definition, kStation);
  EXPECT_EQ(signal.GetLast(), 42);
  signal.Send(43);
  EXPECT_EQ(signal.GetLast(), 43);
}

TEST_F(CDiagnosticsSignalTest, ValueSentBeforeInitialisationIsKeptButNotDelivered)
{
  CDiagnosticsSignal<bool> signal(SignalDefinitions::MessageStorageFull, kStation);
  signal.Send(true);
  Initialize();
  EXPECT_EQ(SentBools(ipc::ESignalSeccMessageStorageFull), CBools{});
  EXPECT_TRUE(signal.GetLast());
}

TEST_F(CDiagnosticsSignalTest, SendRepeatsAValueAndSendOnChangeDoesNot)
{
  Initialize();
  CDiagnosticsSignal<bool> signal(SignalDefinitions::MessageStorageFull, kStation);
  signal.SendOnChange(false);
  signal.SendOnChange(true);
  signal.SendOnChange(true);
  signal.Send(true);
  signal.SendOnChange(false);
  EXPECT_EQ(SentBools(ipc::ESignalSeccMessageStorageFull), (CBools{true, true, false}));
}

TEST_F(CDiagnosticsSignalTest, LastDeliveredValueIsTheLastOneKeptWhenTwoThreadsSend)
{
  Initialize();
  CDiagnosticsSignal<bool> signal(SignalDefinitions::MessageStorageFull, kStation);
  const auto toggle = [&] {
    for (int i = 0; i < 100; ++i) signal.SendOnChange(i % 2 == 0);
  };
  std::thread first(toggle);
  std::thread second(toggle);
  first.join();
  second.join();
  const auto sent = SentBools(ipc::ESignalSeccMessageStorageFull);
  ASSERT_FALSE(sent.empty());
  EXPECT_EQ(sent.back(), signal.GetLast());
  bool last = false;
  for (const bool value : sent) {
    EXPECT_NE(value, last);
    last = value;
  }
}

TEST_F(CDiagnosticsSignalTest, ReceiveGivesTheLastValueOfTheDiagnosticsProcess)
{
  Initialize();
  ipc::MDiagnosticsSignal value;
  value.set_identifier(ipc::ESignalLteIccid);
  value.add_string_values("8931");
  mDiagnostics->SetSignal(value);
  EXPECT_EQ(CDiagnosticsSignal<std::string>(SignalDefinitions::LteIccid, kStation).Receive(), "8931");
}

TEST_F(CDiagnosticsSignalTest, ReceiveIsEmptyForAnUnknownSignalAndForAnotherConnector)
{
  Initialize();
  EXPECT_EQ(CDiagnosticsSignal<std::string>(SignalDefinitions::LteIccid, kStation).Receive(), std::nullopt);
  ipc::MDiagnosticsSignal value;
  value.set_identifier(ipc::ESignalLteIccid);
  value.set_connector(1);
  value.add_string_values("8931");
  mDiagnostics->SetSignal(value);
  EXPECT_EQ(CDiagnosticsSignal<std::string>(SignalDefinitions::LteIccid, kStation).Receive(), std::nullopt);
}

TEST_F(CDiagnosticsSignalTest, ReceiveIsEmptyWhenTheValueHasAnotherType)
{
  Initialize();
  ipc::MDiagnosticsSignal value;
  value.set_identifier(ipc::ESignalLteIccid);
  value.add_int_values(8931);
  mDiagnostics->SetSignal(value);
  EXPECT_EQ(CDiagnosticsSignal<std::string>(SignalDefinitions::LteIccid, kStation).Receive(), std::nullopt);
}

TEST_F(CDiagnosticsSignalTest, ReceiveOfAListKeepsItsOrder)
{
  Initialize();
  ipc::MDiagnosticsSignal value;
  value.set_identifier(ipc::ESignalBopCurrentPhase123);
  for (const float current : {1.5F, 2.5F, 0.5F}) value.add_float_values(current);
  mDiagnostics->SetSignal(value);
  EXPECT_EQ(CDiagnosticsSignal<std::vector<float>>(SignalDefinitions::BopCurrent, kStation).Receive(),
            (std::vector<float>{1.5F, 2.5F, 0.5F}));
}

TEST_F(CDiagnosticsSignalTest, ReceiveWithoutTheDiagnosticsProcessIsEmptyAndLogged)
{
  Initialize();
  mDiagnostics->SetUnreachable("gone");
  EXPECT_EQ(CDiagnosticsSignal<std::string>(SignalDefinitions::LteIccid, kStation).Receive(), std::nullopt);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with Diagnostics, error: gone"), 1U);
}

TEST_F(CDiagnosticsSignalTest, ReceiveBeforeInitialisationIsEmpty)
{
  EXPECT_EQ(CDiagnosticsSignal<std::string>(SignalDefinitions::LteIccid, kStation).Receive(), std::nullopt);
}

}  // namespace

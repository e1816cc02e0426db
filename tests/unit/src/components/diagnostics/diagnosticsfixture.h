#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "src/components/diagnosticsclienthandler.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/src/components/diagnostics/recordingocpp.h"
#include "tests/unit/src/components/diagnostics/signals.h"
#include "tests/unit/support/fakeconfigmanager.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

// The handler between a diagnostics process and a switchboard that are played by the test.
class CDiagnosticsFixture : public testing::Test {
 protected:
  static constexpr auto kPrimary = EBackofficeId::EPrimary;
  static constexpr auto kAuxiliary = EBackofficeId::EAuxiliary;

  CDiagnosticsFixture()
  {
    mConfig->SetString("IgnoredWarnings", "");
    mAccess.RegisterHandle(std::shared_ptr<IOcppConfigManager>(mConfig));
    mAccess.RegisterHandle(std::shared_ptr<IOcpp>(mOcpp));
    CDiagnosticsCommClient::Initialize(mDiagnostics, mClock);
  }
  ~CDiagnosticsFixture() override { CDiagnosticsCommClient::Terminate(); }

  // The diagnostics process's view of what was sent under an identifier, in order.
  std::vector<ipc::MDiagnosticsSignal> Sent(int32_t identifier)
  {
    mClock.WaitIdle();
    return mDiagnostics->SentSignals(static_cast<ipc::ESignalIdentifier>(identifier));
  }
  std::vector<bool> SentBools(int32_t identifier)
  {
    std::vector<bool> values;
    for (const auto& signal : Sent(identifier)) values.push_back(signal.bool_values(0));
    return values;
  }
  std::vector<std::string> SentTexts(int32_t identifier)
  {
    std::vector<std::string> values;
    for (const auto& signal : Sent(identifier)) values.push_back(signal.string_values(0));
    return values;
  }
  std::vector<std::vector<std::string>> SentLists(int32_t identifier)
  {
    std::vector<std::vector<std::string>> values;
    for (const auto& signal : Sent(identifier)) {
      values.emplace_back(signal.string_values().begin(), signal.string_values().end());
    }
    return values;
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeDiagnostics> mDiagnostics = std::make_shared<CFakeDiagnostics>();
  std::shared_ptr<CFakeOcppConfigManager> mConfig = std::make_shared<CFakeOcppConfigManager>();
  std::shared_ptr<CRecordingOcpp> mOcpp = std::make_shared<CRecordingOcpp>();
  CSystemAccessInterface mAccess;
  CDiagnosticsClientHandler mHandler{mClock, mDiagnostics, mAccess};
};

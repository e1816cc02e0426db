#include "src/components/diagnosticsclienthandler.h"
#include "tests/unit/src/components/diagnostics/signals.h"
#include "tests/unit/src/components/ocpp/ocppfixture.h"
#include "tests/unit/support/fakesiblings.h"

namespace {

using namespace std::chrono_literals;

// The handler and the real switchboard.
class CFatalStatusTest : public COcppFixture {
 protected:
  CFatalStatusTest()
  {
    mConfig->SetString("IgnoredWarnings", "10102");
    mAccess.RegisterHandle(std::shared_ptr<IDiagnosticsClientHandler>(mHandler));
    mHandler->Init();
  }
  void Notify(int type, int32_t identifier)
  {
    mHandler->HandleDiagnosticsNotification(MakeSignal(identifier, 0, true), MakeType(type));
  }

  std::shared_ptr<CDiagnosticsClientHandler> mHandler =
      std::make_shared<CDiagnosticsClientHandler>(mClock, std::make_shared<CFakeDiagnostics>(), mAccess);
};

TEST_F(CFatalStatusTest, FatalErrorWithAnAcceptedBackofficeIsOneFaultedStatusOfTheStation)
{
  const auto primary = AddAccepted(kPrimary);
  Notify(0, 1104);
  mClock.AdvanceBy(1s);
  const auto operations = primary->TakeOperations();
  ASSERT_EQ(operations.size(), 1U);
  EXPECT_EQ(operations[0]->GetAction(), "StatusNotification");
  const auto parameters = ParametersOf(operations[0]);
  EXPECT_EQ(GetIntParameter(parameters, EOperationParameter::EConnectorId), 0);
  EXPECT_EQ(GetIntParameter(parameters, EOperationParameter::EConnectorState), 10);
  EXPECT_EQ(GetParameter<std::vector<int32_t>>(parameters, EOperationParameter::EErrorList),
            std::vector<int32_t>{1104});
}

TEST_F(CFatalStatusTest, IgnoredWarningGivesNoStatusAndAnotherOneDoes)
{
  const auto primary = AddAccepted(kPrimary);
  Notify(1, 10102);
  mClock.AdvanceBy(5s);
  EXPECT_TRUE(primary->TakeOperations().empty());
  Notify(1, 10101);
  mClock.AdvanceBy(5s);
  const auto operations = primary->TakeOperations();
  ASSERT_FALSE(operations.empty());
  const auto errors = GetParameter<std::vector<int32_t>>(ParametersOf(operations[0]), EOperationParameter::EErrorList);
  EXPECT_EQ(errors, std::vector<int32_t>{10101});
}

}  // namespace

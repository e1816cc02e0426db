// What the component gives to whom: filters, link settings, and the word of a full message store.
#include "src/components/ipersistentmessagestoragemanager.h"
#include "tests/unit/src/components/ocppcomponent/ocppcomponentfixture.h"
#include "tests/unit/support/fakeoperations.h"

namespace {

using namespace std::chrono_literals;

class ComponentWiring : public COcppComponentTest {
 protected:
  void Start()
  {
    SetNtpStatus("synced");
    Create();
    mComponent->Enable();
    mClock.AdvanceBy(2s);
    for (const auto& link : mLinks) link->PlayOpen();
    mClock.WaitIdle();
    for (const auto& link : mLinks) link->TakeSent();
  }
  // True when the station says anything to an incoming call of `action`.
  bool IsAnswered(EBackofficeId id, const std::string& action)
  {
    LinkOf(id)->PlayMessage(R"([2,"1",")" + action + R"(",{}])");
    mClock.WaitIdle();
    return !LinkOf(id)->TakeSent().empty();
  }
  std::vector<bool> StorageFullSignals()
  {
    mClock.WaitIdle();
    std::vector<bool> values;
    for (const auto& signal : mDiagnostics->SentSignals(static_cast<ipc::ESignalIdentifier>(10001))) {
      values.push_back(signal.bool_values(0));
    }
    return values;
  }
};

}  // namespace

TEST_F(ComponentWiring, AuxiliaryBesideAPrimaryMayNotSteerTheStationButMayAskForItsLists)
{
  ActivatePrimary();
  ActivateAuxiliary();
  Start();
  EXPECT_FALSE(IsAnswered(kAuxiliary, "CancelReservation"));
  EXPECT_EQ(mLog.Count("In call from Tovira Hub with action CancelReservation is rejected by filter. Call ignored"),
            1U);
  EXPECT_TRUE(IsAnswered(kAuxiliary, "GetLocalListVersion"));
  EXPECT_TRUE(IsAnswered(kPrimary, "CancelReservation"));
}

TEST_F(ComponentWiring, AuxiliaryThatStandsAloneMayNotAskForTheListsEither)
{
  ActivateAuxiliary();
  Start();
  for (const char* action : {"CancelReservation", "GetLocalListVersion"}) {
    EXPECT_FALSE(IsAnswered(kAuxiliary, action)) << action;
    EXPECT_EQ(mLog.Count("In call from Tovira Hub with action " + std::string(action) +
                         " is rejected by filter. Call ignored"),
              1U);
  }
  EXPECT_TRUE(IsAnswered(kAuxiliary, "NoSuchAction"));
}

TEST_F(ComponentWiring, EachLinkHasTheTimesOfItsOwnBackoffice)
{
  ActivatePrimary();
  ActivateAuxiliary();
  Config("ocpp")->Preset("SboWebSocketPingInterval", 45);
  Config("ocpp")->Preset("SboWebSocketPongTimeout", 15);
  Create();
  const auto primary = LinkOf(kPrimary)->GetHostInfo()->GetSettings();
  EXPECT_EQ(primary.pingInterval, 30);
  EXPECT_EQ(primary.pongTimeout, 20);
  const auto auxiliary = LinkOf(kAuxiliary)->GetHostInfo()->GetSettings();
  EXPECT_EQ(auxiliary.pingInterval, 45);
  EXPECT_EQ(auxiliary.pongTimeout, 15);
}

TEST_F(ComponentWiring, FullMessageStoreIsToldToDiagnosticsAndTheSessionManagerUntilItIsEmpty)
{
  Config("secc_persistentmessages")->Preset("old", std::string(2000000, 'x'));
  Create();
  auto* storage = mAccess->GetPersistentMessageStorage();
  storage->Store(*FakeOutCalls::StartTransaction("new"));
  EXPECT_EQ(StorageFullSignals(), std::vector<bool>{true});
  EXPECT_EQ(mSessionManager->MessageStorageAvailabilities(), std::vector<bool>{false});
  storage->Clear("new");
  storage->Clear("old");
  EXPECT_EQ(StorageFullSignals(), (std::vector<bool>{true, false}));
  EXPECT_EQ(mSessionManager->MessageStorageAvailabilities(), (std::vector<bool>{false, true}));
}

TEST_F(ComponentWiring, EnablingSaysThatTheClockIsAwaited)
{
  Create();
  mComponent->Enable();
  EXPECT_EQ(mLog.Count("Enabling OCPP"), 1U);
  EXPECT_EQ(mLog.Count("Checking NTP system time-sync: The CPO/Tovira connection will be established after time has "
                       "synced."),
            1U);
}

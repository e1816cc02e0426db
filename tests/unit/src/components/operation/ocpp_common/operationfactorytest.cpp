// The tables of the factories, walked row by row, and what becomes of what is not in them.

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <typeindex>
#include <vector>

#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/operation/ocpp16/operationfactory.h"
#include "src/components/operation/ocpp16/operationfilters.h"
#include "src/components/operation/ocpp16/operationtable.h"
#include "src/components/operation/ocpp201/operationfactory201.h"
#include "src/components/operation/ocpp_common/erroroperation.h"
#include "tests/unit/support/fakeoperations.h"
#include "tests/unit/support/logcapture.h"

namespace {

const std::set<EOutOpType> kKnownOutCalls = {
    EOutOpType::EAuthorize,
    EOutOpType::EBootNotification,
    EOutOpType::EDataTransfer,
    EOutOpType::EHeartbeat,
    EOutOpType::EMeterValues,
    EOutOpType::EFirmwareStatusNotification,
    EOutOpType::ELogStatusNotification,
    EOutOpType::EStatusNotification,
    EOutOpType::ESecurityEventNotification,
    EOutOpType::ESignCertificate,
    EOutOpType::EStartTransaction,
    EOutOpType::EStopTransaction,
    EOutOpType::EDiagnosticStatusNotification,
    EOutOpType::ESignedFirmwareStatusNotification,
};

const std::set<EInOpType> kNeverOffered = {
    EInOpType::ECancelReservation,  EInOpType::EReserveNow,           EInOpType::EGetCompositeSchedule,
    EInOpType::ECertificateSigned,  EInOpType::EDeleteCertificate,    EInOpType::EGetInstalledCertificateIds,
    EInOpType::EInstallCertificate, EInOpType::ESignedUpdateFirmware,
};

// A factory over a table of fakes, to see the machinery apart from the classes that exist.
class CFakeTableFactory : public CTableFactory {
 public:
  explicit CFakeTableFactory(const SOperationTable& table) : CTableFactory(nullptr, table) {}

 private:
  void LogTrace(const char*) const override {}
  void LogError(const std::string& text) const override { LOG_ERROR("{}", text); }
};

SOperationTable FakeTable()
{
  SOperationTable table;
  table.outCalls = {
      {EOutOpType::EHeartbeat,
       [](ISystemAccessInterface*, const std::string& id) { return FakeOutCalls::Heartbeat(id); }},
      {EOutOpType::EAuthorize,
       [](ISystemAccessInterface*, const std::string&) -> std::shared_ptr<COutCallOperationBase> {
         throw nlohmann::json::type_error::create(302, "bad", nullptr);
       }},
  };
  table.storedCalls = {
      {EOutOpType::EStopTransaction,
       [](ISystemAccessInterface*, const std::string& id, SStoredPayload payload) {
         if (payload.text == "throw text") throw "Input JSON does not conform to schema";
         nlohmann::json::parse(payload.text).size();
         auto operation = FakeOutCalls::StopTransaction(id);
         operation->SetPayload(payload.text);
         return operation;
       }},
  };
  table.inCalls = {
      {EInOpType::EReset,
       [](ISystemAccessInterface*, const std::string& id) {
         return std::make_shared<CFakeInCall>(id, CFakeInCall::SBehaviour());
       }},
      {EInOpType::EClearCache, OperationTable::NoInCall, false},
  };
  return table;
}

class OperationFactory : public testing::Test {
 protected:
  CLogCapture mLog;
  COperationFactory mFactory{nullptr};
  CFakeTableFactory mFakes{FakeTable()};
};

}  // namespace

TEST_F(OperationFactory, EveryOutCallOfTheTableIsKnownAndNoOther)
{
  std::set<EOutOpType> types;
  for (const auto& entry : Ocpp16::GetOperationTable().outCalls) {
    EXPECT_TRUE(types.insert(entry.type).second) << OutOpTypeToName(entry.type);
    EXPECT_TRUE(entry.create);
  }
  EXPECT_EQ(types, kKnownOutCalls);
}

TEST_F(OperationFactory, EveryInCallOfTheTableIsKnownAndNoOther)
{
  std::set<EInOpType> types;
  for (const auto& entry : Ocpp16::GetOperationTable().inCalls) {
    EXPECT_TRUE(types.insert(entry.type).second) << InOpTypeToName(entry.type);
    EXPECT_TRUE(entry.create);
  }
  std::set<EInOpType> expected;
  for (int value = 1; value <= static_cast<int>(EInOpType::ESignedUpdateFirmware); ++value) {
    expected.insert(static_cast<EInOpType>(value));
  }
  EXPECT_EQ(types, expected);
}

TEST_F(OperationFactory, OnlyTheThreePersistentKindsComeBackFromTheStore)
{
  std::set<EOutOpType> types;
  for (const auto& entry : Ocpp16::GetOperationTable().storedCalls) types.insert(entry.type);
  EXPECT_EQ(types, (std::set<EOutOpType>{EOutOpType::EStartTransaction, EOutOpType::EStopTransaction,
                                         EOutOpType::EMeterValues}));
}

TEST_F(OperationFactory, LogLevelOfTheTableIsThatOfTheOperation)
{
  for (const auto& entry : Ocpp16::GetOperationTable().inCalls) {
    const auto operation = entry.create(nullptr, "id");
    if (!operation) continue;
    EXPECT_EQ(operation->IsInfoLogLevel(), entry.isInfoLogLevel) << InOpTypeToName(entry.type);
  }
}

TEST_F(OperationFactory, ActionsThatAreNeverOfferedGiveNothingAndALogLine)
{
  for (const auto type : kNeverOffered) {
    EXPECT_EQ(mFactory.CreateInOperation("id", type, EBackofficeId::EPrimary), nullptr);
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                         "Failed to create incall operation [" + InOpTypeToName(type) + "], returning nullptr."),
              1u);
  }
}

TEST_F(OperationFactory, OutCallIsOfTheClassThatItsTypeNames)
{
  for (const auto type :
       {EOutOpType::EBootNotification, EOutOpType::EHeartbeat, EOutOpType::EMeterValues,
        EOutOpType::EStatusNotification, EOutOpType::EStartTransaction, EOutOpType::EStopTransaction}) {
    const auto operation = mFactory.CreateOutOperation(type);
    ASSERT_NE(operation, nullptr) << OutOpTypeToName(type);
    EXPECT_EQ(operation->GetAction(), OutOpTypeToName(type));
    EXPECT_EQ(operation->GetMessageId().size(), 36u);
  }
}

TEST_F(OperationFactory, DataTransferFromThisSideNeverExists)
{
  EXPECT_EQ(mFactory.CreateOutOperation(EOutOpType::EDataTransfer), nullptr);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Failed to create operation pair [DataTransfer], returning nullptr."),
            1u);
  EXPECT_EQ(mFactory.CreateOutOperation(EOutOpType::ESignCertificate), nullptr);
  EXPECT_EQ(mFactory.CreateOutOperation(EOutOpType::ESignedFirmwareStatusNotification), nullptr);
}

TEST_F(OperationFactory, InvalidTypesGiveNothingAndALogLine)
{
  EXPECT_EQ(mFactory.CreateOutOperation(EOutOpType::EInvalid), nullptr);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "EOutOpType EInvalid is used to created operations, return nullptr"),
            1u);
  EXPECT_EQ(mFactory.CreateInOperation("id", EInOpType::EInvalid, EBackofficeId::EPrimary), nullptr);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "EInOpType EInvalid is used to created operation, return nullptr"), 1u);
}

TEST_F(OperationFactory, TypesOutsideOfTheTableRaiseBadFunctionCall)
{
  EXPECT_THROW(mFactory.CreateInOperation("id", EInOpType::EGetBaseReport, EBackofficeId::EPrimary),
               std::bad_function_call);
  EXPECT_THROW(mFactory.CreateInOperation("id", EInOpType::EGetVariables, EBackofficeId::EPrimary),
               std::bad_function_call);
  EXPECT_THROW(mFactory.CreateOutOperation(EOutOpType::ENotifyReport), std::bad_function_call);
  EXPECT_THROW(mFactory.CreateInOperation("id", EInOpType::EGetBaseReport, EBackofficeId::EPrimary),
               std::bad_function_call);
}

TEST_F(OperationFactory, StoredMessageOfAnotherKindIsRefused)
{
  EXPECT_EQ(mFactory.CreateOutOperation(SMessage{"id", EOutOpType::ESecurityEventNotification, "{}"}), nullptr);
  EXPECT_EQ(mLog.Count("SecurityEventNotification is not a persistent operation, returning nullptr"), 1u);
  EXPECT_EQ(mFactory.CreateOutOperation(SMessage{"id", EOutOpType::EInvalid, "{}"}), nullptr);
  EXPECT_EQ(mLog.Count("Invalid is not a persistent operation, returning nullptr"), 1u);
}

TEST_F(OperationFactory, StoredMessageComesBackWithItsIdAndPayload)
{
  const auto operation =
      mFakes.CreateOutOperation(SMessage{"stored", EOutOpType::EStopTransaction, R"({"transactionId":3})"});
  ASSERT_NE(operation, nullptr);
  EXPECT_EQ(operation->GetMessageId(), "stored");
  EXPECT_EQ(operation->GetPayload(), R"({"transactionId":3})");
}

TEST_F(OperationFactory, StoredMessageThatCannotBeReadIsRefused)
{
  EXPECT_EQ(mFakes.CreateOutOperation(SMessage{"stored", EOutOpType::EStopTransaction, "{"}), nullptr);
  EXPECT_TRUE(mLog.ContainsPart("Cannot create operation, invalid payload. [json.exception.parse_error.101]"));
  EXPECT_EQ(mFakes.CreateOutOperation(SMessage{"stored", EOutOpType::EStopTransaction, "throw text"}), nullptr);
  EXPECT_TRUE(mLog.Contains("Cannot create operation, invalid payload. Input JSON does not conform to schema"));
}

TEST_F(OperationFactory, NewOperationsHaveIdsOfTheirOwn)
{
  std::set<std::string> ids;
  for (int i = 0; i < 100; ++i) {
    const auto operation = mFakes.CreateOutOperation(EOutOpType::EHeartbeat);
    ASSERT_NE(operation, nullptr);
    EXPECT_EQ(operation->GetMessageId().size(), 36u);
    ids.insert(operation->GetMessageId());
  }
  EXPECT_EQ(ids.size(), 100u);
}

TEST_F(OperationFactory, ExceptionOfTheJsonLibraryDuringCreationGivesNothing)
{
  EXPECT_EQ(mFakes.CreateOutOperation(EOutOpType::EAuthorize), nullptr);
  EXPECT_TRUE(mLog.Contains("Cannot create operation, invalid payload. [json.exception.type_error.302] bad"));
  EXPECT_TRUE(mLog.Contains("Failed to create operation pair [Authorize], returning nullptr."));
}

TEST_F(OperationFactory, InCallHasTheIdOfTheCallAndItsBackoffice)
{
  const auto operation = mFakes.CreateInOperation("7", EInOpType::EReset, EBackofficeId::EAuxiliary);
  ASSERT_NE(operation, nullptr);
  EXPECT_EQ(operation->GetMessageId(), "7");
  EXPECT_EQ(operation->GetBackofficeId(), EBackofficeId::EAuxiliary);
}

TEST_F(OperationFactory, UnknownInCallsAreLoggedAtInfoLevel)
{
  EXPECT_TRUE(mFakes.IsInfoLogLevel(EInOpType::EInvalid));
  EXPECT_TRUE(mFakes.IsInfoLogLevel(EInOpType::EGetBaseReport));
  EXPECT_TRUE(mFakes.IsInfoLogLevel(EInOpType::EReset));
  EXPECT_FALSE(mFakes.IsInfoLogLevel(EInOpType::EClearCache));
}

TEST_F(OperationFactory, ErrorResponseCarriesIdAndCode)
{
  const auto operation = mFactory.CreateErrorResponse("7", EInCallError::ENotSupported);
  EXPECT_EQ(operation->GetFrame(),
            R"([4,"7","NotSupported","Requested Action is recognized but not supported by the receiver",{}])");
}

TEST_F(OperationFactory, FactoryOf201KnowsGetVariablesAlone)
{
  COperationFactory201 factory(nullptr);
  EXPECT_NO_THROW(factory.CreateInOperation("id", EInOpType::EGetVariables, EBackofficeId::EPrimary));
  EXPECT_THROW(factory.CreateInOperation("id", EInOpType::EReset, EBackofficeId::EPrimary), std::bad_function_call);
  EXPECT_THROW(factory.CreateOutOperation(EOutOpType::EHeartbeat), std::bad_function_call);
  EXPECT_EQ(factory.CreateOutOperation(EOutOpType::EInvalid), nullptr);
}

TEST_F(OperationFactory, FiltersNameWhatAnAuxiliaryMayNotDo)
{
  const auto beside = Ocpp16::GetFiltersBesidePrimary();
  EXPECT_EQ(beside.inCalls, (std::set<EInOpType>{EInOpType::ECancelReservation, EInOpType::EChangeAvailability,
                                                 EInOpType::ERemoteStartTransaction, EInOpType::ERemoteStopTransaction,
                                                 EInOpType::EReserveNow}));
  const auto alone = Ocpp16::GetFiltersStandingAlone();
  EXPECT_EQ(alone.inCalls,
            (std::set<EInOpType>{EInOpType::ECancelReservation, EInOpType::EChangeAvailability, EInOpType::EClearCache,
                                 EInOpType::EGetCompositeSchedule, EInOpType::EGetLocalListVersion,
                                 EInOpType::ERemoteStartTransaction, EInOpType::ERemoteStopTransaction,
                                 EInOpType::EReserveNow, EInOpType::ESendLocalList}));
  for (const auto type : {EOutOpType::EStartTransaction, EOutOpType::EStopTransaction}) {
    const auto operation = mFactory.CreateOutOperation(type);
    ASSERT_NE(operation, nullptr);
    const std::type_index index(operation->GetTypeInfo());
    EXPECT_EQ(beside.outCallResults.count(index), 1u) << OutOpTypeToName(type);
    EXPECT_EQ(alone.outCallResults.count(index), 0u) << OutOpTypeToName(type);
  }
}

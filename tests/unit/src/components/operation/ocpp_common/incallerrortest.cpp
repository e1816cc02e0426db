#include "src/components/operation/ocpp_common/incallerror.h"

#include <gtest/gtest.h>

#include "src/components/operation/ocpp_common/erroroperation.h"

namespace {

struct SExpected {
  int value;
  std::string code;
  std::string description;
};

const std::string kInternalText =
    "An internal error occurred and the receiver was not able to process the requested Action successfully";

const SExpected kExpected[] = {
    {0, "NotImplemented", "Requested Action is not known by receiver"},
    {1, "NotSupported", "Requested Action is recognized but not supported by the receiver"},
    {2, "InternalError", kInternalText},
    {3, "ProtocolError", "Payload for Action is incomplete"},
    {4, "SecurityError",
     "During the processing of Action a security issue occurred preventing receiver from completing the Action "
     "successfully"},
    {5, "FormationViolation",
     "Payload for Action is syntactically incorrect or not conform the PDU structure for Action"},
    {6, "PropertyConstraintViolation",
     "Payload is syntactically correct but at least one field contains an invalid value"},
    {7, "OccurenceConstraintViolation",
     "Payload for Action is syntactically correct but at least one of the fields violates occurence constraints"},
    {8, "TypeConstraintViolation",
     "Payload for Action is syntactically correct but at least one of the fields violates data type constraints"},
    {9, "GenericError", ""},
    {10, "InternalError", kInternalText},
    {-1, "InternalError", kInternalText},
};

}  // namespace

TEST(InCallError, EveryValueHasItsCodeAndDescriptionAndAnUnknownOneIsInternalError)
{
  for (const auto& expected : kExpected) {
    const CInCallError error(static_cast<EInCallError>(expected.value));
    EXPECT_EQ(error.GetCode(), expected.code) << expected.value;
    EXPECT_EQ(error.GetDescription(), expected.description) << expected.value;
    EXPECT_EQ(error.GetDetails(), "{}") << expected.value;
    EXPECT_EQ(error.what(), expected.code + ": " + expected.description) << expected.value;
  }
}

TEST(InCallError, CodeOfOccurenceConstraintViolationIsSpelledWithOneR)
{
  EXPECT_EQ(CInCallError(EInCallError::EOccurenceConstraintViolation).GetCode(), "OccurenceConstraintViolation");
}

TEST(InCallError, CodeAndDescriptionOfOnesOwnAreKeptAndDetailsAreAnEmptyObject)
{
  const CInCallError error("GenericError", "Too many keys.");
  EXPECT_EQ(error.GetCode(), "GenericError");
  EXPECT_EQ(error.GetDescription(), "Too many keys.");
  EXPECT_EQ(error.GetDetails(), "{}");
  EXPECT_STREQ(error.what(), "GenericError: Too many keys.");
  EXPECT_EQ(CInCallError("GenericError", "", R"({"n":1})").GetDetails(), R"({"n":1})");
}

TEST(ErrorOperation, CarriesTheIdOfTheCallAndGivesTheWholeFrame)
{
  const CErrorOperation operation("19223201", CInCallError(EInCallError::ENotImplemented));
  EXPECT_EQ(operation.GetMessageId(), "19223201");
  EXPECT_EQ(operation.GetFrame(), R"([4,"19223201","NotImplemented","Requested Action is not known by receiver",{}])");
  EXPECT_EQ(operation.GetError().GetCode(), "NotImplemented");
}

TEST(ErrorOperation, GenericErrorHasAnEmptyDescriptionInTheFrame)
{
  EXPECT_EQ(CErrorOperation("1", CInCallError(EInCallError::EGenericError)).GetFrame(),
            R"([4,"1","GenericError","",{}])");
}

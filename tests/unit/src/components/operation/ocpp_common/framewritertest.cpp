#include "src/components/operation/ocpp_common/framewriter.h"

#include <gtest/gtest.h>

TEST(FrameWriter, CallHasTypeIdActionAndPayloadWithoutBlanks)
{
  EXPECT_EQ(FrameWriter::WriteCall("6f9c", "BootNotification", R"({"a":1})"),
            R"([2,"6f9c","BootNotification",{"a":1}])");
}

TEST(FrameWriter, CallResultHasTypeIdAndPayload)
{
  EXPECT_EQ(FrameWriter::WriteCallResult("6f9c", "{}"), R"([3,"6f9c",{}])");
}

TEST(FrameWriter, CallErrorHasTypeIdCodeDescriptionAndDetails)
{
  EXPECT_EQ(FrameWriter::WriteCallError("6f9c", "GenericError", "Too many", R"({"n":2})"),
            R"([4,"6f9c","GenericError","Too many",{"n":2}])");
}

TEST(FrameWriter, NothingIsEscapedInIdActionCodeAndDescription)
{
  EXPECT_EQ(FrameWriter::WriteCall("a\"b", "x\\y", "{}"), "[2,\"a\"b\",\"x\\y\",{}]");
  EXPECT_EQ(FrameWriter::WriteCallResult("a\"b", "{}"), "[3,\"a\"b\",{}]");
  EXPECT_EQ(FrameWriter::WriteCallError("a\"b", "c\"d", "e\"f", "{}"), "[4,\"a\"b\",\"c\"d\",\"e\"f\",{}]");
}

// What the service directory makes of etc/iipc.json: good, missing, and broken in each way.

#include "platform/commutil/servicedirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/commutil/rpclogrecorder.h"
#include "tests/unit/platform/commutil/temporaryroot.h"

namespace {

using namespace std::chrono_literals;

class ServiceDirectory : public ::testing::Test {
 protected:
  std::string Default(const std::string& service) const { return "unix:" + mRoot.SocketPath(service); }

  const CTemporaryRoot mRoot;
  const CRpcLogRecorder mLog;
};

TEST_F(ServiceDirectory, ListedServicesAreAtTheirAddresses)
{
  const Rpc::CServiceDirectory directory(mRoot.WriteConfiguration(R"({"services": {
      "Relative": "unix:run/a.sock", "Absolute": "unix:/run/b.sock", "Slashes": "unix:///run/c.sock",
      "Loopback": "127.0.0.1:50051", "Name": "localhost:1", "Six": "[::1]:65535"}})"));

  EXPECT_EQ(directory.Address("Relative"), "unix:" + (mRoot.GetPath() / "run/a.sock").string());
  EXPECT_EQ(directory.Address("Absolute"), "unix:/run/b.sock");
  EXPECT_EQ(directory.Address("Slashes"), "unix:/run/c.sock");
  EXPECT_EQ(directory.Address("Loopback"), "127.0.0.1:50051");
  EXPECT_EQ(directory.Address("Name"), "localhost:1");
  EXPECT_EQ(directory.Address("Six"), "[::1]:65535");
  EXPECT_THAT(mLog.Lines(), ::testing::IsEmpty());
}

TEST_F(ServiceDirectory, AServiceThatIsNotListedIsAtItsDefaultSocketBelowTheRoot)
{
  const Rpc::CServiceDirectory directory(mRoot.WriteConfiguration("{}"));
  EXPECT_EQ(directory.Address("Meter"), Default("Meter"));
  EXPECT_EQ(directory.Deadline(), 2s);
  EXPECT_THAT(mLog.Lines(), ::testing::IsEmpty());
}

TEST_F(ServiceDirectory, TheRootIsTheFolderAboveTheOneOfTheFile)
{
  // A root without its trailing slash runs into the name of the folder.
  const Rpc::CServiceDirectory directory("/nowhere/xetc/iipc.json");
  EXPECT_EQ(directory.Address("Meter"), "unix:/nowhere/run/secc/Meter.sock");
}

TEST_F(ServiceDirectory, DeadlineIsTakenWithinItsLimits)
{
  EXPECT_EQ(Rpc::CServiceDirectory(mRoot.WriteConfiguration(R"({"deadlineMs": 100})")).Deadline(), 100ms);
  EXPECT_EQ(Rpc::CServiceDirectory(mRoot.WriteConfiguration(R"({"deadlineMs": 60000})")).Deadline(), 60s);
  EXPECT_EQ(mLog.Count("error"), 0);
  for (const char* wrong : {"99", "60001", "-1", "1e300", "1.5", "\"2000\"", "true", "[]"}) {
    const std::string content = std::string(R"({"deadlineMs": )") + wrong + "}";
    EXPECT_EQ(Rpc::CServiceDirectory(mRoot.WriteConfiguration(content)).Deadline(), 2s) << wrong;
  }
  EXPECT_EQ(mLog.Count("error: IPC configuration "), 8);
}

TEST_F(ServiceDirectory, AMissingFileIsToldAndTheDefaultsHold)
{
  const Rpc::CServiceDirectory directory((mRoot.GetPath() / "etc" / "iipc.json").string());
  EXPECT_EQ(directory.Address("Meter"), Default("Meter"));
  EXPECT_THAT(mLog.Lines(), ::testing::ElementsAre(::testing::MatchesRegex(
                                "error: IPC configuration .*/etc/iipc.json: No such file or directory")));
}

TEST_F(ServiceDirectory, AFileThatIsNoDirectoryOfServicesIsToldAndTheDefaultsHold)
{
  const std::string deep(100000, '[');
  const std::string large = "{\"services\": {\"Meter\": \"unix:" + std::string(2 * 1024 * 1024, 'x') + "\"}}";
  for (const std::string& content :
       {std::string(), std::string("no JSON"), std::string("{\"services\": {"), std::string("[]"), std::string("null"),
        std::string("{\"services\": []}"), std::string("{} {}"), std::string("\xff\xfe\x00", 3), deep, large}) {
    const CRpcLogRecorder log;
    const Rpc::CServiceDirectory directory(mRoot.WriteConfiguration(content));
    EXPECT_EQ(directory.Address("Meter"), Default("Meter")) << content.substr(0, 40);
    EXPECT_EQ(log.Count("error: IPC configuration "), 1) << content.substr(0, 40);
  }
}

TEST_F(ServiceDirectory, AnAddressThatCannotBeUsedIsToldAndTheOthersStand)
{
  const std::string longPath(120, 'p');
  const Rpc::CServiceDirectory directory(mRoot.WriteConfiguration(R"({"services": {
      "Remote": "192.168.1.1:50051", "NoPort": "127.0.0.1", "BigPort": "127.0.0.1:65536", "Text": "localhost:http",
      "Empty": "", "Number": 5, "EmptyPath": "unix:", "Long": "unix:)" +
                                                                  longPath + R"(", "Good": "unix:run/g.sock"}})"));

  for (const char* wrong : {"Remote", "NoPort", "BigPort", "Text", "Empty", "Number", "EmptyPath", "Long"}) {
    EXPECT_EQ(directory.Address(wrong), Default(wrong));
  }
  EXPECT_EQ(mLog.Count("error: IPC configuration "), 8);
  EXPECT_TRUE(
      mLog.Contains("the address \"192.168.1.1:50051\" of Remote is neither unix:<path> nor <loopback host>:<port>"));
  EXPECT_EQ(directory.Address("Good"), "unix:" + (mRoot.GetPath() / "run/g.sock").string());
}

}  // namespace

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>

#include "platform/toolbox/filetransfer.h"
#include "tests/unit/platform/toolbox/loopbackserver.h"
#include "tests/unit/support/logcapture.h"

namespace {

// As much of an FTP server (RFC 959, RFC 2428) as one transfer in passive mode takes. The login is given.
class CFtpServer {
 public:
  CFtpServer(std::string user, std::string password)
      : mUser(std::move(user)),
        mPassword(std::move(password)),
        mServer([this](CServerConnection& connection) { Serve(connection); })
  {}

  std::string GetUrl(const std::string& path) const { return mServer.GetUrl("ftp") + path; }

  // Valid before a download and after an upload.
  std::string mContent;
  std::string mStoredAs;

 private:
  void Serve(CServerConnection& connection)
  {
    std::unique_ptr<CLoopbackServer> data;
    std::promise<std::string> stored;
    std::string user;
    connection.Write("220 Ready\r\n");
    for (std::string line = connection.ReadLine(); !line.empty(); line = connection.ReadLine()) {
      const std::string command = line.substr(0, line.find(' '));
      const std::string argument = line.substr(std::min(line.size(), command.size() + 1));
      if (command == "USER") {
        user = argument;
        connection.Write("331 Password?\r\n");
      } else if (command == "PASS") {
        connection.Write(user == mUser && argument == mPassword ? "230 Welcome\r\n" : "530 Login incorrect\r\n");
      } else if (command == "PWD") {
        connection.Write("257 \"/\"\r\n");
      } else if (command == "EPSV") {
        data = std::make_unique<CLoopbackServer>([&](CServerConnection& channel) {
          if (mContent.empty()) {
            stored.set_value(channel.ReadToEnd());
          } else {
            channel.Write(mContent);
          }
        });
        connection.Write("229 Passive (|||" + std::to_string(data->GetPort()) + "|)\r\n");
      } else if (command == "RETR") {
        connection.Write("150 Here it comes\r\n226 Done\r\n");
      } else if (command == "STOR") {
        mStoredAs = argument;
        connection.Write("150 Go on\r\n");
        mContent = stored.get_future().get();
        connection.Write("226 Done\r\n");
      } else if (command == "SIZE") {
        connection.Write("213 " + std::to_string(mContent.size()) + "\r\n");
      } else {
        connection.Write("200 Fine\r\n");
      }
    }
  }

  const std::string mUser;
  const std::string mPassword;
  CLoopbackServer mServer;
};

class FtpTransfer : public testing::Test {
 protected:
  FtpTransfer()
  {
    std::string name = testing::TempDir() + "ftpXXXXXX";
    mFolder = mkdtemp(name.data());
  }
  ~FtpTransfer() override { std::filesystem::remove_all(mFolder); }

  CLogCapture mLog;
  std::filesystem::path mFolder;
  CFileTransfer mTransfer{CFileTransfer::SOptions{{}, std::chrono::seconds(5), std::chrono::seconds(5)}};
  CFtpServer mServer{"station", "sw0rdf1sh"};
};

}  // namespace

TEST_F(FtpTransfer, DownloadLogsInAndFetches)
{
  mServer.mContent = "firmware";
  const std::string path = mFolder / "package";
  EXPECT_TRUE(mTransfer.Download(mServer.GetUrl("/package.swu"), Toolbox::SCredentials{"station", "sw0rdf1sh"}, path));
  std::ostringstream content;
  content << std::ifstream(path).rdbuf();
  EXPECT_EQ(content.str(), "firmware");
  EXPECT_FALSE(mLog.ContainsPart("sw0rdf1sh"));
}

TEST_F(FtpTransfer, UploadLogsInAndStores)
{
  const std::string path = mFolder / "log.txt";
  std::ofstream(path) << "a log";
  EXPECT_TRUE(mTransfer.Upload(path, mServer.GetUrl("/log.txt"), Toolbox::SCredentials{"station", "sw0rdf1sh"}));
  EXPECT_EQ(mServer.mContent, "a log");
  EXPECT_EQ(mServer.mStoredAs, "log.txt");
  EXPECT_FALSE(mLog.ContainsPart("sw0rdf1sh"));
}

TEST_F(FtpTransfer, WrongPasswordIsAFailureThatDoesNotShowIt)
{
  const std::string path = mFolder / "package";
  EXPECT_FALSE(mTransfer.Download(mServer.GetUrl("/package.swu"), Toolbox::SCredentials{"station", "wr0ng"}, path));
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_TRUE(mLog.ContainsPart("Login denied"));
  EXPECT_FALSE(mLog.ContainsPart("wr0ng"));
}

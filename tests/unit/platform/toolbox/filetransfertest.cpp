#include "platform/toolbox/filetransfer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>

#include "platform/toolbox/curltransfer.h"
#include "tests/unit/platform/toolbox/loopbackserver.h"
#include "tests/unit/support/logcapture.h"

using Toolbox::CCurlWrapper;
using Toolbox::SCredentials;

namespace {

const std::string kPassword = "sw0rdf1sh";
const SCredentials kCredentials{"station", kPassword};
// "station:sw0rdf1sh" in base64.
const std::string kBasic = "Basic c3RhdGlvbjpzdzByZGYxc2g=";

class FileTransfer : public testing::Test {
 protected:
  FileTransfer()
  {
    std::string name = testing::TempDir() + "transferXXXXXX";
    mFolder = mkdtemp(name.data());
    mPath = mFolder / "deep" / "package.swu";
  }
  ~FileTransfer() override { std::filesystem::remove_all(mFolder); }

  static CFileTransfer Make()
  {
    CFileTransfer::SOptions options;
    options.trustDirectories = {};
    options.stallTimeout = std::chrono::seconds(1);
    return CFileTransfer(options);
  }

  std::string MakeFile(const std::string& content) const
  {
    const std::string path = mFolder / "log.txt";
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  static std::string Read(const std::string& path)
  {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
  }

  bool IsPasswordLogged() const { return mLog.ContainsPart(kPassword) || mLog.ContainsPart("c3RhdGlvbjpz"); }

  CLogCapture mLog;
  std::filesystem::path mFolder;
  std::string mPath;
};

// Answers every request alike and remembers the last one.
class CHttpServer {
 public:
  explicit CHttpServer(std::string response)
      : mResponse(std::move(response)), mServer([this](CServerConnection& connection) {
          const SHttpRequest request = ReadHttpRequest(connection);
          {
            CLock lock(mMutex);
            mRequest = request;
            ++mCount;
          }
          connection.Write(mResponse);
        })
  {}
  std::string GetUrl(const std::string& path) const { return mServer.GetUrl("http") + path; }
  SHttpRequest GetRequest()
  {
    CLock lock(mMutex);
    return mRequest;
  }
  unsigned GetCount()
  {
    CLock lock(mMutex);
    return mCount;
  }

 private:
  CMutex mMutex;
  SHttpRequest mRequest GUARDED_BY(mMutex);
  unsigned mCount GUARDED_BY(mMutex){0};
  const std::string mResponse;
  CLoopbackServer mServer;
};

std::string MakeRedirect(const std::string& target)
{
  return MakeHttpResponse("302 Found", "", "Location: " + target + "\r\n");
}

}  // namespace

TEST_F(FileTransfer, DownloadWritesTheWholeFileAndMakesItsFolder)
{
  std::string content(3 * 1024 * 1024, 'x');
  for (size_t i = 0; i < content.size(); i += 7) content[i] = static_cast<char>(i);
  CHttpServer server(MakeHttpResponse("200 OK", content));
  EXPECT_TRUE(Make().Download(server.GetUrl("/package.swu"), {}, mPath));
  EXPECT_EQ(Read(mPath), content);
  EXPECT_EQ(server.GetRequest().method, "GET");
  EXPECT_EQ(server.GetRequest().path, "/package.swu");
  EXPECT_EQ(server.GetRequest().headers.count("authorization"), 0U);
}

TEST_F(FileTransfer, DownloadReplacesALongerFile)
{
  std::filesystem::create_directories(mFolder / "deep");
  std::ofstream(mPath) << "something that was here before";
  CHttpServer server(MakeHttpResponse("200 OK", "short"));
  EXPECT_TRUE(Make().Download(server.GetUrl("/"), {}, mPath));
  EXPECT_EQ(Read(mPath), "short");
}

TEST_F(FileTransfer, CredentialsGoToTheServerAndToNoLogLine)
{
  CHttpServer server(MakeHttpResponse("200 OK", "content"));
  EXPECT_TRUE(Make().Download(server.GetUrl("/"), kCredentials, mPath));
  EXPECT_EQ(server.GetRequest().headers["authorization"], kBasic);
  EXPECT_FALSE(IsPasswordLogged());
}

TEST_F(FileTransfer, PasswordInTheUrlIsMaskedInTheLog)
{
  CHttpServer server(MakeHttpResponse("403 Forbidden", ""));
  std::string url = server.GetUrl("/x");
  url.insert(url.find("127"), "station:" + kPassword + "@");
  EXPECT_FALSE(Make().Download(url, {}, mPath));
  EXPECT_FALSE(IsPasswordLogged());
  EXPECT_TRUE(mLog.ContainsPart("station:****@127.0.0.1"));
}

TEST_F(FileTransfer, HttpErrorIsAFailureAndLeavesNoFile)
{
  CHttpServer server(MakeHttpResponse("404 Not Found", "no such file"));
  EXPECT_FALSE(Make().Download(server.GetUrl("/"), kCredentials, mPath));
  EXPECT_FALSE(std::filesystem::exists(mPath));
  EXPECT_TRUE(mLog.ContainsPart("Download of " + server.GetUrl("/") + " failed: HTTP response code said error"));
  EXPECT_FALSE(IsPasswordLogged());
}

TEST_F(FileTransfer, ConnectionLostInTheMiddleLeavesNoFile)
{
  CHttpServer server("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nten bytes.");
  EXPECT_FALSE(Make().Download(server.GetUrl("/"), {}, mPath));
  EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(FileTransfer, RefusedConnectionIsAFailure)
{
  std::string url;
  {
    CHttpServer server("");
    url = server.GetUrl("/");
  }
  EXPECT_FALSE(Make().Download(url, {}, mPath));
  EXPECT_TRUE(mLog.ContainsPart("Couldn't connect to server"));
}

TEST_F(FileTransfer, PathThatCannotBeWrittenIsAFailureBeforeAnyTransfer)
{
  CHttpServer server(MakeHttpResponse("200 OK", "content"));
  EXPECT_FALSE(Make().Download(server.GetUrl("/"), {}, mFolder));
  EXPECT_EQ(server.GetCount(), 0U);
  EXPECT_TRUE(mLog.ContainsPart("Cannot write " + mFolder.string() + ": Is a directory"));
}

TEST_F(FileTransfer, FullDiskIsAFailure)
{
  CHttpServer server(MakeHttpResponse("200 OK", std::string(1024 * 1024, 'x')));
  const std::string link = mFolder / "full";
  std::filesystem::create_symlink("/dev/full", link);
  EXPECT_FALSE(Make().Download(server.GetUrl("/"), {}, link));
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST_F(FileTransfer, RedirectToHttpIsFollowedWithoutTheCredentials)
{
  CHttpServer target(MakeHttpResponse("200 OK", "content"));
  CHttpServer server(MakeRedirect(target.GetUrl("/moved")));
  EXPECT_TRUE(Make().Download(server.GetUrl("/"), kCredentials, mPath));
  EXPECT_EQ(Read(mPath), "content");
  EXPECT_EQ(server.GetRequest().headers["authorization"], kBasic);
  EXPECT_EQ(target.GetRequest().path, "/moved");
  EXPECT_EQ(target.GetRequest().headers.count("authorization"), 0U);
}

TEST_F(FileTransfer, RedirectToAnyOtherSchemeIsRefused)
{
  const std::string secret = MakeFile("secret");
  for (const std::string& target : {"file://" + secret, std::string("ftp://127.0.0.1/x"),
                                    std::string("gopher://127.0.0.1/x"), std::string("sftp://127.0.0.1/x")}) {
    CHttpServer server(MakeRedirect(target));
    EXPECT_FALSE(Make().Download(server.GetUrl("/"), {}, mPath)) << target;
    EXPECT_FALSE(std::filesystem::exists(mPath)) << target;
  }
}

TEST_F(FileTransfer, RedirectInACircleEnds)
{
  CHttpServer server(MakeRedirect("/again"));
  EXPECT_FALSE(Make().Download(server.GetUrl("/"), {}, mPath));
  EXPECT_EQ(server.GetCount(), 6U);
}

TEST_F(FileTransfer, CredentialsInARedirectAreNotLogged)
{
  CHttpServer server(MakeRedirect("gopher://station:" + kPassword + "@127.0.0.1/x"));
  EXPECT_FALSE(Make().Download(server.GetUrl("/"), {}, mPath));
  EXPECT_FALSE(IsPasswordLogged());
}

TEST_F(FileTransfer, OtherProtocolsAreRefused)
{
  const std::string secret = MakeFile("secret");
  for (const std::string& url :
       {"file://" + secret, std::string("gopher://127.0.0.1:1/"), std::string("dict://127.0.0.1:1/"),
        std::string("scp://127.0.0.1:1/x"), std::string("tftp://127.0.0.1:1/x"), std::string("smb://127.0.0.1:1/x/y"),
        std::string("unknown://127.0.0.1:1/"), std::string("")}) {
    EXPECT_FALSE(Make().Download(url, {}, mPath)) << url;
    EXPECT_FALSE(std::filesystem::exists(mPath)) << url;
    EXPECT_FALSE(Make().Upload(secret, url, {})) << url;
    EXPECT_FALSE(mLog.ContainsPart("Couldn't connect")) << url;
  }
}

TEST_F(FileTransfer, AllFiveProtocolsAreAtHand)
{
  EXPECT_EQ(Toolbox::GetTransferProtocols(), "ftp,ftps,http,https,sftp");
  std::string port;
  {
    CHttpServer server("");
    port = server.GetUrl("").substr(std::string("http://127.0.0.1").size());
  }
  for (const char* scheme : {"http://", "https://", "ftp://", "ftps://", "sftp://", ""}) {
    mLog.Clear();
    EXPECT_FALSE(Make().Download(scheme + ("127.0.0.1" + port) + "/x", {}, mPath)) << scheme;
    EXPECT_TRUE(mLog.ContainsPart("Couldn't connect to server")) << scheme;
  }
}

TEST_F(FileTransfer, ServerThatFallsSilentEndsInAFailure)
{
  CLoopbackServer server([](CServerConnection& connection) {
    ReadHttpRequest(connection);
    connection.Write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n");
    connection.WaitClosed();
  });
  EXPECT_FALSE(Make().Download(server.GetUrl("http") + "/", {}, mPath));
  EXPECT_FALSE(std::filesystem::exists(mPath));
  EXPECT_TRUE(mLog.ContainsPart("Timeout was reached"));
}

TEST_F(FileTransfer, AbortEndsADownloadThatWaits)
{
  std::promise<void> arrived;
  CLoopbackServer server([&](CServerConnection& connection) {
    ReadHttpRequest(connection);
    arrived.set_value();
    connection.WaitClosed();
  });
  CFileTransfer::SOptions patient;
  patient.stallTimeout = std::chrono::hours(1);
  CFileTransfer transfer(patient);
  CCurlWrapper wrapper;
  auto result = std::async(
      std::launch::async, [&] { return transfer.Download(server.GetUrl("http") + "/", kCredentials, mPath, wrapper); });
  arrived.get_future().wait();
  wrapper.Abort();
  EXPECT_FALSE(result.get());
  EXPECT_TRUE(wrapper.IsAborted());
  EXPECT_FALSE(std::filesystem::exists(mPath));
  EXPECT_TRUE(mLog.ContainsPart("failed: Aborted"));
}

TEST_F(FileTransfer, AbortEndsAnUploadThatWaitsAndCountsForLaterOnes)
{
  std::promise<void> arrived;
  std::atomic<unsigned> connections{0};
  CLoopbackServer server([&](CServerConnection& connection) {
    ++connections;
    connection.ReadLine();
    arrived.set_value();
    connection.WaitClosed();
  });
  CFileTransfer::SOptions patient;
  patient.stallTimeout = std::chrono::hours(1);
  CFileTransfer transfer(patient);
  CCurlWrapper wrapper;
  const std::string file = MakeFile(std::string(8 * 1024 * 1024, 'x'));
  const std::string url = server.GetUrl("http") + "/log";
  auto result = std::async(std::launch::async, [&] { return transfer.Upload(file, url, {}, wrapper); });
  arrived.get_future().wait();
  wrapper.Abort();
  EXPECT_FALSE(result.get());
  EXPECT_FALSE(transfer.Upload(file, url, {}, wrapper));
  EXPECT_EQ(connections, 1U);
}

TEST_F(FileTransfer, UploadPutsTheFile)
{
  CHttpServer server(MakeHttpResponse("201 Created", "thank you"));
  const std::string content(300000, 'y');
  EXPECT_TRUE(Make().Upload(MakeFile(content), server.GetUrl("/logs/log.txt"), kCredentials));
  EXPECT_EQ(server.GetRequest().method, "PUT");
  EXPECT_EQ(server.GetRequest().path, "/logs/log.txt");
  EXPECT_EQ(server.GetRequest().headers["authorization"], kBasic);
  EXPECT_EQ(server.GetRequest().body, content);
  EXPECT_FALSE(IsPasswordLogged());
}

TEST_F(FileTransfer, UploadOfAnEmptyFileIsAnUpload)
{
  CHttpServer server(MakeHttpResponse("201 Created", ""));
  EXPECT_TRUE(Make().Upload(MakeFile(""), server.GetUrl("/log.txt"), {}));
  EXPECT_EQ(server.GetRequest().method, "PUT");
}

TEST_F(FileTransfer, RefusedUploadIsAFailure)
{
  CHttpServer server(MakeHttpResponse("507 Insufficient Storage", ""));
  const std::string path = MakeFile("content");
  EXPECT_FALSE(Make().Upload(path, server.GetUrl("/log.txt"), kCredentials));
  EXPECT_TRUE(mLog.ContainsPart("Upload of " + path + " to " + server.GetUrl("/log.txt") + " failed: "));
  EXPECT_FALSE(IsPasswordLogged());
}

TEST_F(FileTransfer, UploadOfAMissingFileOrAFolderIsAFailure)
{
  CHttpServer server(MakeHttpResponse("201 Created", ""));
  EXPECT_FALSE(Make().Upload(mFolder / "absent", server.GetUrl("/"), {}));
  EXPECT_FALSE(Make().Upload(mFolder, server.GetUrl("/"), {}));
  EXPECT_EQ(server.GetCount(), 0U);
}

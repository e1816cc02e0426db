#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/toolbox/filetransfer.h"
#include "platform/toolbox/trustedcertificates.h"
#include "tests/unit/support/logcapture.h"

extern char** environ;

namespace {

// Runs a program to its end; true when it ended with 0.
bool Run(std::vector<std::string> arguments)
{
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  pid_t process = 0;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const int result = posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (result != 0) return false;
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void MakeCertificate(const std::filesystem::path& folder, const std::string& alternativeName)
{
  ASSERT_TRUE(Run({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                   "-keyout", folder / "key.pem", "-out", folder / "certificate.pem", "-days", "2", "-subj",
                   "/CN=server", "-addext", "subjectAltName=" + alternativeName}));
}

// A real TLS server that serves the files of its folder.
class CTlsServer {
 public:
  explicit CTlsServer(const std::filesystem::path& folder)
  {
    std::array<int, 2> channel{};
    if (pipe2(channel.data(), O_CLOEXEC) != 0) return;
    const std::string certificate = folder / "certificate.pem";
    const std::string key = folder / "key.pem";
    const std::string place = folder / "www";
    const std::string command = "cd '" + place + "' && exec openssl s_server -accept 127.0.0.1:0 -WWW -cert '" +
                                certificate + "' -key '" + key + "' < /dev/null 2> /dev/null";
    std::array<std::string, 3> arguments = {"sh", "-c", command};
    std::array<char*, 4> pointers = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, channel[1], STDOUT_FILENO);
    posix_spawnp(&mProcess, "sh", &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(channel[1]);
    ReadPort(channel[0]);
    mOutput = channel[0];
  }
  ~CTlsServer()
  {
    kill(mProcess, SIGKILL);
    waitpid(mProcess, nullptr, 0);
    close(mOutput);
  }
  CTlsServer(const CTlsServer&) = delete;
  CTlsServer& operator=(const CTlsServer&) = delete;

  std::string GetUrl(const std::string& path) const { return "https://127.0.0.1:" + mPort + path; }

 private:
  // The server says "ACCEPT 127.0.0.1:<port>" once it listens.
  void ReadPort(int output)
  {
    std::string text;
    char c = 0;
    while (read(output, &c, 1) == 1) {
      text += c;
      const size_t start = text.find("ACCEPT 127.0.0.1:");
      if (c == '\n' && start != std::string::npos) {
        mPort = text.substr(text.rfind(':') + 1);
        mPort.pop_back();
        return;
      }
    }
  }

  pid_t mProcess{0};
  int mOutput{-1};
  std::string mPort;
};

class TlsTransfer : public testing::Test {
 protected:
  TlsTransfer()
  {
    std::string name = testing::TempDir() + "tlsXXXXXX";
    mFolder = mkdtemp(name.data());
    std::filesystem::create_directories(mFolder / "trust");
    std::filesystem::create_directories(mFolder / "www");
    std::ofstream(mFolder / "www" / "package") << "firmware";
    mOptions.trustDirectories = {mFolder / "absent/", mFolder / "trust/"};
    mOptions.stallTimeout = std::chrono::seconds(10);
  }
  ~TlsTransfer() override { std::filesystem::remove_all(mFolder); }

  bool Download()
  {
    const CTlsServer server(mFolder);
    return CFileTransfer(mOptions).Download(server.GetUrl("/package"), {}, mFolder / "out");
  }
  void Trust() { std::filesystem::copy_file(mFolder / "certificate.pem", mFolder / "trust" / "ca.pem"); }

  CLogCapture mLog;
  std::filesystem::path mFolder;
  CFileTransfer::SOptions mOptions;
};

}  // namespace

TEST_F(TlsTransfer, ServerOfATrustedAuthorityIsAccepted)
{
  MakeCertificate(mFolder, "IP:127.0.0.1");
  Trust();
  EXPECT_TRUE(Download());
}

TEST_F(TlsTransfer, DamagedCertificatesBesideTheRightOneDoNoHarm)
{
  MakeCertificate(mFolder, "IP:127.0.0.1");
  Trust();
  std::ofstream(mFolder / "trust" / "a.pem") << "-----BEGIN CERTIFICATE-----\nnot base64!\n-----END CERTIFICATE-----\n";
  std::ofstream(mFolder / "trust" / "b.pem")
      << "-----BEGIN CERTIFICATE-----\nMIIBAAAAAAAA\n-----END CERTIFICATE-----\n";
  std::ofstream(mFolder / "trust" / "z.pem") << "-----BEGIN CERTIFICATE-----\nMIIB";
  EXPECT_TRUE(Download());
  EXPECT_TRUE(mLog.Contains("Left out a damaged certificate in " + (mFolder / "trust" / "a.pem").string()));
  EXPECT_TRUE(mLog.Contains("Left out a damaged certificate in " + (mFolder / "trust" / "b.pem").string()));
  EXPECT_TRUE(mLog.Contains("Left out a damaged certificate in " + (mFolder / "trust" / "z.pem").string()));
}

TEST_F(TlsTransfer, UnknownAuthorityIsRefused)
{
  MakeCertificate(mFolder, "IP:127.0.0.1");
  EXPECT_FALSE(Download());
  EXPECT_FALSE(std::filesystem::exists(mFolder / "out"));
  EXPECT_TRUE(mLog.ContainsPart("SSL peer certificate or SSH remote key was not OK"));
}

TEST_F(TlsTransfer, OtherHostNameIsRefused)
{
  MakeCertificate(mFolder, "DNS:somebody.example");
  Trust();
  EXPECT_FALSE(Download());
  EXPECT_TRUE(mLog.ContainsPart("SSL peer certificate or SSH remote key was not OK"));
}

TEST_F(TlsTransfer, BundleOfTheMachineIsReadWhole)
{
  MakeCertificate(mFolder, "IP:127.0.0.1");
  std::ifstream file(mFolder / "certificate.pem");
  std::ostringstream certificate;
  certificate << file.rdbuf();
  const std::string one = certificate.str();
  std::ofstream(mFolder / "trust" / "bundle.crt") << "# comment\n" << one << "\n" << one;
  const std::string all = Toolbox::ReadTrustedCertificates({mFolder / "trust"});
  EXPECT_EQ(all, one + one);
}

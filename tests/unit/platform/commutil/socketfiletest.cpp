// Which paths a service may take for its socket.

#include "platform/commutil/socketfile.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>

#include "tests/unit/platform/commutil/temporaryroot.h"

namespace {

// A socket of this process at `path`, listening or bound only.
class CBoundSocket {
 public:
  CBoundSocket(const std::string& path, bool listening) : mDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
  {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(bind(mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(listening ? listen(mDescriptor, 1) : 0, 0);
  }
  ~CBoundSocket() { close(mDescriptor); }
  CBoundSocket(const CBoundSocket&) = delete;
  CBoundSocket& operator=(const CBoundSocket&) = delete;

 private:
  const int mDescriptor;
};

class SocketFile : public ::testing::Test {
 protected:
  const CTemporaryRoot mRoot;
  const std::string mPath = (mRoot.GetPath() / "service.sock").string();
};

TEST_F(SocketFile, MissingFoldersAreMadeForTheUserAndItsGroup)
{
  const mode_t previous = umask(0);
  EXPECT_EQ(Rpc::PrepareSocketFile((mRoot.GetPath() / "run" / "secc" / "service.sock").string()), "");
  umask(previous);
  for (const char* folder : {"run", "run/secc"}) {
    struct stat status {};
    ASSERT_EQ(stat((mRoot.GetPath() / folder).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750U) << folder;
  }
}

TEST_F(SocketFile, TheSocketOfADeadProcessIsRemoved)
{
  {
    const CBoundSocket socket(mPath, true);
  }
  ASSERT_TRUE(std::filesystem::exists(mPath));
  EXPECT_EQ(Rpc::PrepareSocketFile(mPath), "");
  EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(SocketFile, TheSocketOfALiveProcessIsLeftAlone)
{
  const CBoundSocket socket(mPath, true);
  EXPECT_EQ(Rpc::PrepareSocketFile(mPath), "another process offers a service there");
  EXPECT_TRUE(std::filesystem::exists(mPath));
}

TEST_F(SocketFile, AFileOfAnotherKindIsLeftAlone)
{
  std::ofstream(mPath) << "precious";
  EXPECT_EQ(Rpc::PrepareSocketFile(mPath), "there is a file that is no socket");
  EXPECT_TRUE(std::filesystem::exists(mPath));
}

TEST_F(SocketFile, AFolderThatCannotBeMadeIsTold)
{
  std::ofstream(mRoot.GetPath() / "file") << "";
  const std::string fault = Rpc::PrepareSocketFile((mRoot.GetPath() / "file" / "below" / "service.sock").string());
  EXPECT_NE(fault.find("Not a directory"), std::string::npos) << fault;
}

TEST_F(SocketFile, APathThatIsTooLongIsTold)
{
  EXPECT_EQ(Rpc::PrepareSocketFile(mRoot.GetPath() / std::string(110, 'x')), "the path is too long for a socket");
}

}  // namespace

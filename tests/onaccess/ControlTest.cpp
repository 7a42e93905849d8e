#include "Control.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "Trouble.h"
#include "gtest/gtest.h"
#include "tests/support/ScratchFolder.h"

namespace onaccess {
namespace {

using QVL::Test::ScratchFolder;

class ControlTest : public ::testing::Test {
 protected:
  // A socket's name is short; the build folder's may not be.
  ControlTest() : socket(std::filesystem::relative(folder / "c").string()) {}

  ScratchFolder folder;
  const std::string socket;
};

TEST_F(ControlTest, AnswersARequest) {
  ControlServer server(socket);
  std::string heard;
  std::thread serving([&] {
    server.serve([&](const std::string& request) {
      heard = request;
      return ControlReply{true, std::string(100000, 'x')};
    });
  });
  const ControlReply reply = askHost(socket, "status");
  serving.join();
  EXPECT_EQ(heard, "status");
  EXPECT_TRUE(reply.isSuccess);
  EXPECT_EQ(reply.text.size(), 100000u);
}

TEST_F(ControlTest, TellsAFailure) {
  ControlServer server(socket);
  std::thread serving([&] {
    server.serve([](const std::string&) { return ControlReply{false, "refused\n"}; });
  });
  const ControlReply reply = askHost(socket, "reload");
  serving.join();
  EXPECT_FALSE(reply.isSuccess);
  EXPECT_EQ(reply.text, "refused\n");
}

TEST_F(ControlTest, OnlyTheOwnerMayConnect) {
  const ControlServer server(socket);
  struct stat status;
  ASSERT_EQ(::stat(socket.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(ControlTest, GivesUpAClientThatSaysNothing) {
  ControlServer server(socket);
  const int client = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socket.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  bool wasAsked = false;
  server.serve([&](const std::string&) {
    wasAsked = true;
    return ControlReply{true, ""};
  });
  EXPECT_FALSE(wasAsked);
  ::close(client);
}

// On a busy machine there may be a while between its connecting and its asking.
TEST_F(ControlTest, WaitsForAClientThatTakesItsTime) {
  ControlServer server(socket);
  const int client = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socket.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  std::thread asking([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(::send(client, "status", 6, MSG_NOSIGNAL), 6);
  });
  std::string heard;
  server.serve([&](const std::string& request) {
    heard = request;
    return ControlReply{true, ""};
  });
  asking.join();
  ::close(client);
  EXPECT_EQ(heard, "status");
}

TEST_F(ControlTest, ASecondHostIsRefusedAndAnOldSocketReplaced) {
  auto first = std::make_unique<ControlServer>(socket);
  EXPECT_THROW(ControlServer second(socket), Trouble);
  EXPECT_THROW(askHost(socket + "x", "status"), Trouble);
  first.reset();
  EXPECT_THROW(askHost(socket, "status"), Trouble);

  const int left = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socket.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(left, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(left);
  EXPECT_NO_THROW(ControlServer third(socket));
}

TEST_F(ControlTest, LeavesAnotherFileAlone) {
  QVL::Test::writeFile(folder / "c", "mine");
  EXPECT_THROW(ControlServer server(socket), Trouble);
  EXPECT_EQ(QVL::Test::readFile(folder / "c"), "mine");
}

}  // namespace
}  // namespace onaccess

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "platform/Loop/FakeEventLoop.h"
#include "sources/frr/VtyClient.h"

namespace {

using Sources::VtyError;
using Sources::VtyReply;

TEST(VtyTest, AnswerEndsAtThreeNulsAndAStatus) {
  struct Case {
    std::vector<std::string> chunks;
    std::string text;
    U8 status;
  };
  using namespace std::string_literals;
  for (const Case& c :
       {Case{{"[]\n"s, "\0\0\0\0"s}, "[]\n", 0},
        Case{{"% Unknown"s, "\0"s, "\0"s, "\0\2"s}, "% Unknown", 2}, Case{{"\0\0\0\0"s}, "", 0}}) {
    VtyReply reply;
    for (std::size_t i = 0; i < c.chunks.size(); ++i) {
      EXPECT_EQ(reply.feed(c.chunks[i]), i + 1 == c.chunks.size()) << c.text << " chunk " << i;
    }
    EXPECT_EQ(reply.text(), c.text);
    EXPECT_EQ(reply.status(), c.status);
  }
}

TEST(VtyTest, OutOfProtocolBytesAreErrors) {
  using namespace std::string_literals;
  VtyReply done;
  done.feed("x\0\0\0\0"s);
  EXPECT_THROW(done.feed("y"), VtyError);
  VtyReply small(4);
  EXPECT_THROW(small.feed("abcde"), VtyError);
  EXPECT_EQ(Sources::vtyRequest("show vrrp json"), "show vrrp json\0"s);
  EXPECT_THROW(Sources::vtyRequest("show\nwrite"), VtyError);
  EXPECT_THROW(Sources::vtyRequest("show\0x"s), VtyError);
}

// A daemon that answers three commands with canned replies, hangs up on the fourth.
TEST(VtyTest, ClientEntersEnableAndReconnectsAfterHangUp) {
  using namespace std::string_literals;
  std::string path = testing::TempDir() + "vty-test-" + std::to_string(getpid()) + ".vty";
  int server = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::snprintf(addr.sun_path, sizeof(addr.sun_path), "%s", path.c_str());
  unlink(path.c_str());
  ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
  ASSERT_EQ(listen(server, 1), 0);
  std::vector<std::string> heard;
  std::thread daemon([&] {
    int c = accept(server, nullptr, nullptr);
    for (std::string answer : {"\0\0\0\0"s, "[]\0\0\0\0"s, "% Unknown\0\0\0\2"s}) {
      char buffer[256];
      ssize_t n = read(c, buffer, sizeof(buffer));
      heard.emplace_back(buffer, n > 0 ? static_cast<std::size_t>(n) : 0);
      write(c, answer.data(), answer.size());
    }
    char buffer[256];
    ssize_t n = read(c, buffer, sizeof(buffer));
    heard.emplace_back(buffer, n > 0 ? static_cast<std::size_t>(n) : 0);
    close(c);
  });
  Loop::FakeEventLoop loop;
  Sources::VtyClient client(loop, path);
  std::vector<std::string> got;  // answers, and failures as "!" and the message
  auto answer = [&](std::string_view text) { got.emplace_back(text); };
  auto failure = [&](const VtyError& e) { got.push_back("!" + e.message()); };
  client.query("show vrrp json", answer, failure);
  client.query("show bogus", answer, failure);
  client.query("show vrrp", answer, failure);
  while (got.size() < 3 && loop.pollOnce(5)) {
  }
  daemon.join();
  EXPECT_FALSE(client.connected());
  close(server);
  unlink(path.c_str());
  client.query("show vrrp json", answer, failure);
  EXPECT_EQ(heard, (std::vector<std::string>{"enable\0"s, "show vrrp json\0"s, "show bogus\0"s,
                                             "show vrrp\0"s}));
  EXPECT_EQ(got,
            (std::vector<std::string>{
                "[]", "!" + path + ": 'show bogus' failed (status 2): % Unknown",
                "!" + path + ": connection closed", "!" + path + ": No such file or directory"}));
}

}  // namespace

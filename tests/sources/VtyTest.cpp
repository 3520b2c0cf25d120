// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "sources/frr/VtyClient.h"
#include "tests/sources/FakeVrrpd.h"

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

// A daemon that answers three commands, hangs up on the fourth.
TEST(VtyTest, ClientEntersEnableAndReconnectsAfterHangUp) {
  Loop::FakeEventLoop loop;
  FakeVrrpd vrrpd(loop);
  Sources::VtyClient client(loop, vrrpd.path);
  std::vector<std::string> got;  // answers, and failures as "!" and the message
  auto answer = [&](std::string_view text) { got.emplace_back(text); };
  auto failure = [&](const VtyError& e) { got.push_back("!" + e.message()); };
  for (const char* command : {"show vrrp json", "show bogus", "show vrrp"}) {
    client.query(command, answer, failure);
  }
  EXPECT_EQ(vrrpd.command(), "enable");
  vrrpd.answer("");
  EXPECT_EQ(vrrpd.command(), "show vrrp json");
  vrrpd.answer("[]");
  EXPECT_EQ(vrrpd.command(), "show bogus");
  vrrpd.answer("% Unknown", 2);
  EXPECT_EQ(vrrpd.command(), "show vrrp");
  vrrpd.hangUp();
  EXPECT_FALSE(client.connected());
  client.query("show vrrp json", answer, failure);
  const std::string& path = vrrpd.path;
  EXPECT_EQ(got,
            (std::vector<std::string>{
                "[]", "!" + path + ": 'show bogus' failed (status 2): % Unknown",
                "!" + path + ": connection closed", "!" + path + ": No such file or directory"}));
}

}  // namespace

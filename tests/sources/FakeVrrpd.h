// SPDX-License-Identifier: Apache-2.0
#pragma once
// vrrpd's vty socket in a scratch folder, answered by the test one command at a time, on the
// fake loop: what a connection sends arrives when the test asks for it, and the client reads an
// answer as soon as it is written.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/Loop/FakeEventLoop.h"

struct FakeVrrpd {
  explicit FakeVrrpd(Loop::FakeEventLoop& loop) : loop(loop) {
    std::filesystem::create_directory(dir);
    sockaddr_un addr{AF_UNIX, {}};
    path.copy(addr.sun_path, sizeof(addr.sun_path) - 1);
    server = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(bind(server, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
    listen(server, 8);
  }
  ~FakeVrrpd() {
    hangUp();
    std::filesystem::remove_all(dir);
  }
  void hangUp() {  // as a killed vrrpd: its connection closes, its socket refuses
    close(conn);
    close(server);
    conn = server = -1;
    unlink(path.c_str());
    loop.pollOnce(1);
  }
  // The next command, or "" when none comes within a moment; a new connection is accepted.
  std::string command() {
    char buffer[256];
    for (;;) {
      if (conn < 0 && (!ready(server) || (conn = accept(server, nullptr, nullptr)) < 0)) return "";
      if (!ready(conn)) return "";
      ssize_t n = read(conn, buffer, sizeof(buffer));
      if (n > 0) return std::string(buffer, static_cast<std::size_t>(n) - 1);  // and its NUL
      close(conn);  // the client gave this connection up
      conn = -1;
    }
  }
  void answer(std::string text, char status = 0) {
    text += std::string(3, '\0') + status;
    EXPECT_EQ(write(conn, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    loop.pollOnce(1);
  }
  static bool ready(int fd) {
    pollfd p{fd, POLLIN, 0};
    return fd >= 0 && poll(&p, 1, 100) == 1;
  }

  Loop::FakeEventLoop& loop;
  std::string dir = testing::TempDir() + "vrrpd-" + std::to_string(getpid());
  std::string path = dir + "/vrrpd.vty";
  int server = -1;
  int conn = -1;
};

// SPDX-License-Identifier: Apache-2.0
#include "host/Signals.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#include "platform/Snmp/NetSnmpLoop.h"

namespace Host {
namespace {

int pipeFds[2] = {-1, -1};
std::function<void()> terminateHandler;
std::function<void()> hangupHandler;

void onSignal(int sig) {
  const char byte = sig == SIGHUP ? 'H' : 'T';
  [[maybe_unused]] ssize_t n = write(pipeFds[1], &byte, 1);
}

void onPipeReadable(int fd) {
  char buf[64];
  bool terminate = false, hangup = false;
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) {
    for (ssize_t i = 0; i < n; ++i) (buf[i] == 'H' ? hangup : terminate) = true;
  }
  if (hangup && hangupHandler) hangupHandler();
  if (terminate && terminateHandler) terminateHandler();
}

}  // namespace

void installSignalHandlers(std::function<void()> onTerminate, std::function<void()> onHangup) {
  terminateHandler = std::move(onTerminate);
  hangupHandler = std::move(onHangup);
  if (pipeFds[0] < 0) {
    if (pipe2(pipeFds, O_NONBLOCK | O_CLOEXEC) != 0) return;
    Snmp::eventLoop().readFdIs(pipeFds[0], "signals", [] { onPipeReadable(pipeFds[0]); });
  }
  struct sigaction sa = {};
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  sigaction(SIGTERM, &sa, nullptr);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGHUP, &sa, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

}  // namespace Host

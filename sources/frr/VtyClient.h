#pragma once
// A connection to one daemon's vty socket (e.g. /var/run/frr/vrrpd.vty). Queries block the
// caller, bounded by a deadline: vrrpd answers in well under a millisecond, and a daemon that
// stops answering costs the agent one timeout, never a hang.
#include <string_view>

#include "kiv/Types.h"
#include "sources/frr/VtyReply.h"

namespace Sources {

class VtyClient {
 public:
  explicit VtyClient(Kiv::String8 socketPath, double timeoutSeconds = 0.5);
  ~VtyClient();
  VtyClient(const VtyClient&) = delete;
  VtyClient& operator=(const VtyClient&) = delete;

  const Kiv::String8& socketPath() const { return socketPath_; }
  bool connected() const { return fd_ >= 0; }
  // Whether the last query failed for want of an answer in time (a hung daemon), which costs
  // the caller the whole timeout, unlike a refused connection.
  bool timedOut() const { return timedOut_; }

  // The answer's text. Connects (and enters enable mode) when not connected. VtyError for a
  // socket that cannot be reached, a broken connection (which is then closed, so the next query
  // connects anew), a timeout, or an answer with a failure status (connection kept).
  Kiv::String8 query(std::string_view command);
  void close();

 private:
  void connect();
  Kiv::String8 exchange(std::string_view command);
  Kiv::String8 socketPath_;
  double timeoutSeconds_;
  int fd_ = -1;
  bool timedOut_ = false;
};

}  // namespace Sources

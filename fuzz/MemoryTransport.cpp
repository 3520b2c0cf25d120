// SPDX-License-Identifier: Apache-2.0
#include "fuzz/MemoryTransport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace FhrpFuzz {
namespace {

MemoryTransport* owner(netsnmp_transport* t) {
  return static_cast<MemoryTransport*>(t->data);
}

sockaddr_in loopback(unsigned short port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return a;
}

}  // namespace

MemoryTransport::MemoryTransport() {
  fd_ = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (fd_ < 0 || fd_ >= FD_SETSIZE) {
    if (fd_ >= 0) ::close(fd_);
    throw std::runtime_error("no descriptor for the transport");
  }

  // Allocated with calloc because the agent frees it (netsnmp_transport_free) when the
  // session closes, at netsnmp_deregister_agent_nsap.
  auto* t = static_cast<netsnmp_transport*>(std::calloc(1, sizeof(netsnmp_transport)));
  if (!t) throw std::bad_alloc();
  t->domain = netsnmpUDPDomain;
  t->domain_length = netsnmpUDPDomain_len;
  t->sock = fd_;
  t->msgMaxSize = 0xffff - 8 - 20;  // the largest UDP payload, as net-snmp's UDP transport
  t->data = this;  // taken back in close(), before netsnmp_transport_free would free it
  t->f_recv = &MemoryTransport::receive;
  t->f_send = &MemoryTransport::send;
  t->f_close = &MemoryTransport::close;
  t->f_fmtaddr = netsnmp_udp_fmtaddr;
  handle_ = netsnmp_register_agent_nsap(t);
  if (handle_ <= 0) {
    ::close(fd_);
    throw std::runtime_error("netsnmp_register_agent_nsap failed");
  }
}

MemoryTransport::~MemoryTransport() {
  netsnmp_deregister_agent_nsap(handle_);
  ::close(fd_);
}

std::vector<std::string> MemoryTransport::deliver(std::string_view datagram) {
  pending_ = datagram;
  pendingSet_ = true;
  sent_.clear();
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(fd_, &readable);
  snmp_read(&readable);
  pendingSet_ = false;
  return std::move(sent_);
}

int MemoryTransport::receive(netsnmp_transport* t, void* buf, int size, void** opaque,
                             int* olength) {
  MemoryTransport* self = owner(t);
  if (!self->pendingSet_) return -1;
  self->pendingSet_ = false;
  // As recvfrom: a datagram larger than the buffer is cut off.
  const std::size_t length = std::min(self->pending_.size(), static_cast<std::size_t>(size));
  if (length != 0) std::memcpy(buf, self->pending_.data(), length);

  // Freed by net-snmp with the request PDU (transport_data), as a UDP transport's is.
  auto* addresses =
      static_cast<netsnmp_indexed_addr_pair*>(std::calloc(1, sizeof(netsnmp_indexed_addr_pair)));
  if (!addresses) return -1;
  addresses->remote_addr.sin = loopback(40000);
  addresses->local_addr.sin = loopback(161);
  *opaque = addresses;
  *olength = sizeof(netsnmp_indexed_addr_pair);
  return static_cast<int>(length);
}

int MemoryTransport::send(netsnmp_transport* t, const void* buf, int size, void**, int*) {
  const auto* bytes = static_cast<const char*>(buf);
  owner(t)->sent_.emplace_back(bytes, bytes + size);
  return size;
}

int MemoryTransport::close(netsnmp_transport* t) {
  t->data = nullptr;
  t->sock = -1;  // the descriptor is the owner's to close
  return 0;
}

}  // namespace FhrpFuzz

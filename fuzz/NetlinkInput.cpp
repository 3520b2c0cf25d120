// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>

#include "fuzz/Inputs.h"
#include "fuzz/MirroredState.h"
#include "kiv/Assert.h"
#include "sources/frr/FrrSnapshot.h"
#include "sources/kernel/LinkTable.h"

namespace FhrpFuzz {

void netlink(std::string_view input) {
  Sources::LinkTable table;
  // Datagrams, each after its length in two bytes (little-endian), copied where a socket would
  // have put them: a buffer aligned for nlmsghdr.
  while (input.size() >= 2) {
    std::size_t length = static_cast<unsigned char>(input[0]) |
                         static_cast<std::size_t>(static_cast<unsigned char>(input[1])) << 8;
    std::string_view datagram = input.substr(2, length);
    input.remove_prefix(2 + datagram.size());
    alignas(8) char buffer[65536];
    std::memcpy(buffer, datagram.data(), datagram.size());
    table.apply(std::string_view(buffer, datagram.size()));
  }
  table.takeVrrpChanges();
  const Sources::KernelView view = table.view();
  for (const auto& [name, addr] : view.primary) {
    KIV_ASSERT(view.ifIndex.count(name), name.name() + " has an address but no ifIndex");
  }

  for (const auto& [name, addr] : view.linkLocal) {
    KIV_ASSERT(view.ifIndex.count(name) && addr.isLinkLocal(),
               name.name() + ": " + Lirex::valueToStrep(addr));
  }

  // Whatever the kernel says, each interface it names serves a router of each MIB, the version 3
  // one IPv6 on the interface itself, which reads the interface's link-local address.
  Sources::FrrInputs in;
  in.kernel = view;
  for (const auto& [name, index] : view.ifIndex) {
    KIV_ASSERT(index >= 1 && index <= 0x7fffffff, "ifIndex " + std::to_string(index));
    Sources::VrrpdRouter r;
    r.parent = name;
    r.vrid = 1;
    r.version = 2;
    r.v4.state = Routing::Fhrp::FhrpState::master;
    r.v4.primaryAddress = Lirex::IpAddr(192, 0, 2, 1);
    in.routers.push_back(r);
    r.vrid = 2;
    r.version = 3;
    r.v4 = Sources::idle(Lirex::AddrFamily::ipv4);
    r.v6.interface = name;
    r.v6.addresses = {Lirex::strepToValue<Lirex::InetAddr>("2001:db8::1")};
    in.routers.push_back(r);
  }
  MirroredState s;
  s.publisher.apply(Sources::frrSnapshot(in), "fuzz");
  KIV_ASSERT(s.mib->operTableCollection()->size() == view.ifIndex.size(),
             std::to_string(view.ifIndex.size()) + " interfaces, " +
                 std::to_string(s.mib->operTableCollection()->size()) + " rows");
  KIV_ASSERT(s.v3mib->operationsTableCollection()->size() == view.ifIndex.size(),
             std::to_string(view.ifIndex.size()) + " interfaces, " +
                 std::to_string(s.v3mib->operationsTableCollection()->size()) + " VRRPv3 rows");
  for (const auto& [name, index] : view.ifIndex) {
    auto row = s.v3mib->operationsTable({index, 2, Lirex::AddrFamily::ipv6});
    auto own = view.linkLocal.find(name);
    KIV_ASSERT(row && row->primaryIpAddr() == (own == view.linkLocal.end()
                                                   ? Lirex::InetAddr::zero(Lirex::AddrFamily::ipv6)
                                                   : own->second),
               name.name() + ": not its own link-local address");
  }
}

}  // namespace FhrpFuzz

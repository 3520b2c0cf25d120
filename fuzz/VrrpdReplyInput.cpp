// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "fuzz/Inputs.h"
#include "fuzz/MirroredState.h"
#include "kiv/Assert.h"
#include "sources/frr/FrrSnapshot.h"
#include "sources/frr/VrrpdReply.h"
#include "sources/frr/VtyReply.h"

namespace FhrpFuzz {

void vrrpdReply(std::string_view input) {
  if (input.empty()) return;
  // The first byte says where the socket's bytes split into two reads.
  const std::string_view stream = input.substr(1);
  const std::size_t split = static_cast<unsigned char>(input[0]) % (stream.size() + 1);
  Sources::VtyReply reply;
  try {
    reply.feed(stream.substr(0, split));
    reply.feed(stream.substr(split));
  } catch (const Sources::VtyError&) {
    return;
  }
  if (!reply.complete()) return;
  try {
    Sources::parseConfiguredPriorities(reply.text());
  } catch (const Sources::VrrpdReplyError&) {
  }
  Sources::FrrInputs in;
  try {
    in.routers = Sources::parseShowVrrp(reply.text());
  } catch (const Sources::VrrpdReplyError&) {
    return;
  }
  // Every parent known to the kernel, every backup with a master heard.
  std::map<Sources::RouterKey, std::size_t> v2, v3;  // rows of each MIB, per router
  for (const Sources::VrrpdRouter& r : in.routers) {
    in.kernel.ifIndex.try_emplace(r.parent, static_cast<U32>(in.kernel.ifIndex.size() + 1));
    in.kernel.primary[r.parent] = Lirex::IpAddrWithMask(Lirex::IpAddr(192, 0, 2, 1), 24);
    for (auto family : {Lirex::AddrFamily::ipv4, Lirex::AddrFamily::ipv6}) {
      in.adverts.masters[{in.kernel.ifIndex.at(r.parent), r.vrid, family}] = {
          Lirex::InetAddr::zero(family), 100};
    }
    // The last report of a router is the one that counts.
    const Sources::RouterKey key{r.parent, r.vrid};
    v2[key] = r.version == 2;
    v3[key] =
        r.version == 3 ? r.shows(Lirex::AddrFamily::ipv4) + r.shows(Lirex::AddrFamily::ipv6) : 0;
  }
  Sources::trackRows(in.rows, in.routers, 1000.0);

  // Whatever vrrpd says, the snapshot publishes, and every router gets its rows in its MIB.
  const auto sum = [](const auto& rows) {
    std::size_t n = 0;
    for (const auto& [key, count] : rows) n += count;
    return n;
  };
  MirroredState s;
  s.publisher.apply(Sources::frrSnapshot(in), "fuzz");
  KIV_ASSERT(s.mib->operTableCollection()->size() == sum(v2),
             std::to_string(sum(v2)) + " VRRPv2 routers from vrrpd, " +
                 std::to_string(s.mib->operTableCollection()->size()) + " rows");
  KIV_ASSERT(s.v3mib->operationsTableCollection()->size() == sum(v3),
             std::to_string(sum(v3)) + " VRRPv3 rows from vrrpd, " +
                 std::to_string(s.v3mib->operationsTableCollection()->size()) + " rows");
}

}  // namespace FhrpFuzz

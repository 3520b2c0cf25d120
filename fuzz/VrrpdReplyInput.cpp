#include <set>

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
  std::set<Sources::RouterKey> served;
  for (const Sources::VrrpdRouter& r : in.routers) {
    in.kernel.ifIndex.try_emplace(r.parent, static_cast<U32>(in.kernel.ifIndex.size() + 1));
    in.kernel.primary[r.parent] = Lirex::IpAddrWithMask(Lirex::IpAddr(192, 0, 2, 1), 24);
    in.adverts.masters[{in.kernel.ifIndex.at(r.parent), r.vrid, Lirex::AddrFamily::ipv4}] = {
        Lirex::IpAddr(192, 0, 2, 2), 100};
    served.erase({r.parent, r.vrid});  // the last report of a router is the one that counts
    if (r.version == 2) served.insert({r.parent, r.vrid});
  }
  Sources::trackUpSince(in.upSince, in.routers, 1000.0);

  // Whatever vrrpd says, the snapshot publishes, and every VRRPv2 router gets its row.
  MirroredState s;
  s.publisher.apply(Sources::frrSnapshot(in), "fuzz");
  KIV_ASSERT(s.mib->operTableCollection()->size() == served.size(),
             std::to_string(served.size()) + " VRRPv2 routers from vrrpd, " +
                 std::to_string(s.mib->operTableCollection()->size()) + " rows");
}

}  // namespace FhrpFuzz

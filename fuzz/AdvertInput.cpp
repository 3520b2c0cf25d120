#include <algorithm>

#include "fuzz/Inputs.h"
#include "kiv/Assert.h"
#include "platform/Loop/FakeEventLoop.h"
#include "sources/adverts/AdvertListener.h"

namespace FhrpFuzz {
namespace {

using Sources::AdvertFault;
using Sources::AdvertListener;

bool inSubnet(Lirex::IpAddr a, const Lirex::IpAddrWithMask& subnet) {
  const U32 mask = subnet.maskLen() ? ~U32{0} << (32 - subnet.maskLen()) : 0;
  return (a.value() & mask) == (subnet.addr().value() & mask);
}

// A forged message's checksum is easy to make right; the fuzzer is asked to only when told.
void seal(std::string& packet) {
  const std::size_t at = (static_cast<U8>(packet[0]) & 0x0f) * 4u;
  if (packet.size() < at + Sources::kVrrpFixedSize) return;
  packet[at + 6] = packet[at + 7] = 0;
  const U16 sum = Sources::internetChecksum(std::string_view(packet).substr(at));
  packet[at + 6] = static_cast<char>(sum >> 8);
  packet[at + 7] = static_cast<char>(sum);
}

}  // namespace

void advert(std::string_view input) {
  Loop::FakeEventLoop loop;
  std::size_t told = 0;
  AdvertListener listener(loop, [&] { ++told; });
  const AdvertListener::Parents parents{
      {1, Lirex::IpAddrWithMask(Lirex::IpAddr(192, 0, 2, 1), 24)},
      {2, Lirex::IpAddrWithMask(Lirex::IpAddr(10, 0, 0, 1), 8)},
      {3, Lirex::IpAddrWithMask(Lirex::IpAddr(198, 51, 100, 1), 31)}};
  listener.interfacesAre(parents);
  const double start = loop.now();
  while (input.size() >= 3) {
    const U8 control = static_cast<U8>(input[0]);
    const std::size_t size = std::min<std::size_t>(
        (static_cast<U8>(input[1]) << 8 | static_cast<U8>(input[2])) & 0x7ff, input.size() - 3);
    std::string packet(input.substr(3, size));
    input.remove_prefix(3 + size);
    loop.advance((control >> 3) / 8.0);
    if (control & 4 && !packet.empty()) seal(packet);
    const U32 ifIndex = control & 3;  // 0: an interface not listened to

    Sources::Advert advert;
    const AdvertFault alone = Sources::readAdvert(packet, advert);
    const AdvertFault fault = listener.received(ifIndex, packet);
    // The listener's verdict is the packet's own, but for the rules of the interface.
    KIV_ASSERT(ifIndex == 0 ? fault == AdvertFault::otherInterface
                            : fault == alone || (alone == AdvertFault::none &&
                                                 fault == AdvertFault::foreignSource),
               Sources::faultText(fault));
    for (const auto& [key, source] : listener.masters()) {
      KIV_ASSERT(parents.count(key.first) && inSubnet(source, parents.at(key.first)),
                 "a master from outside its parent's subnet");
    }
  }
  // Changes are told at most once per gap, the first at once; and every master falls silent.
  KIV_ASSERT(told <= 1 + (loop.now() - start) / AdvertListener::kChangeGap + 1e-6,
             std::to_string(told) + " changes told");
  loop.advance(3 * 255 + 1);
  KIV_ASSERT(listener.masters().empty(), "a master outlived its master-down interval");
}

}  // namespace FhrpFuzz

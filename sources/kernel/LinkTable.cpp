// SPDX-License-Identifier: Apache-2.0
#include "sources/kernel/LinkTable.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>

namespace Sources {
namespace {

// libmnl's mnl_attr_for_each, without its C-only void* conversion.
template <typename Each>
void eachAttribute(const nlmsghdr* message, std::size_t offset, Each each) {
  auto* attr = static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(message, offset));
  const char* tail = static_cast<const char*>(mnl_nlmsg_get_payload_tail(message));
  while (mnl_attr_ok(attr, static_cast<int>(tail - reinterpret_cast<const char*>(attr)))) {
    each(attr);
    attr = mnl_attr_next(attr);
  }
}

// 00:00:5e:00:01:VRID for IPv4, 00:00:5e:00:02:VRID for IPv6.
bool isVrrpMac(const Lirex::EthAddr& mac) {
  const auto& b = mac.bytes();
  return b[0] == 0x00 && b[1] == 0x00 && b[2] == 0x5e && b[3] == 0x00 &&
         (b[4] == 0x01 || b[4] == 0x02);
}

// Adds or removes `value` in `list`; whether the list changed.
template <typename T, typename Same>
bool update(std::vector<T>& list, const T& value, bool add, Same same) {
  auto it = std::find_if(list.begin(), list.end(), [&](const T& x) { return same(x, value); });
  if (!add) {
    if (it == list.end()) return false;
    list.erase(it);
  } else if (it != list.end()) {
    *it = value;
  } else {
    list.push_back(value);
  }
  return true;
}

}  // namespace

void LinkTable::apply(std::string_view datagram) {
  // Not libmnl's walk: it reads a length past 2 GiB as a negative one and steps outside the
  // datagram. This one stops at the first length the datagram does not hold.
  while (datagram.size() >= sizeof(nlmsghdr)) {
    const auto* message = reinterpret_cast<const nlmsghdr*>(datagram.data());
    if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > datagram.size()) return;
    handle(message);
    datagram.remove_prefix(std::min<std::size_t>(NLMSG_ALIGN(message->nlmsg_len), datagram.size()));
  }
}

void LinkTable::handle(const nlmsghdr* message) {
  U16 type = message->nlmsg_type;
  if (type == RTM_NEWLINK || type == RTM_DELLINK) return linkMessage(message);
  if (type == RTM_NEWADDR || type == RTM_DELADDR) return addressMessage(message);
}

std::set<RouterKey> LinkTable::takeVrrpChanges() {
  return std::exchange(vrrpChanges_, {});
}

void LinkTable::noteVrrpLink(const Link& link) {
  if (!isVrrpMac(link.mac)) return;
  auto parent = links_.find(link.parent);
  if (parent == links_.end()) return;
  vrrpChanges_.insert({Lirex::IntfId(parent->second.name), link.mac.bytes()[5]});
}

void LinkTable::linkMessage(const nlmsghdr* message) {
  if (message->nlmsg_len < mnl_nlmsg_size(sizeof(ifinfomsg))) return;
  const auto* info = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(message));
  // The kernel numbers interfaces from 1; ifIndex keys every MIB row.
  if (info->ifi_index <= 0) return;
  U32 index = static_cast<U32>(info->ifi_index);
  Link link;
  eachAttribute(message, sizeof(ifinfomsg), [&](const nlattr* attr) {
    U16 t = mnl_attr_get_type(attr);
    if (t == IFLA_IFNAME && mnl_attr_validate(attr, MNL_TYPE_STRING) >= 0) {
      link.name = mnl_attr_get_str(attr);
    } else if (t == IFLA_ADDRESS && mnl_attr_get_payload_len(attr) == 6) {
      Lirex::EthAddr::Bytes bytes;
      std::memcpy(bytes.data(), mnl_attr_get_payload(attr), 6);
      link.mac = Lirex::EthAddr(bytes);
    } else if (t == IFLA_LINK && mnl_attr_get_payload_len(attr) == 4) {
      link.parent = mnl_attr_get_u32(attr);
    } else if (t == IFLA_PROTO_DOWN && mnl_attr_get_payload_len(attr) == 1) {
      link.protodown = mnl_attr_get_u8(attr) != 0;
    }
  });
  auto old = links_.find(index);
  if (message->nlmsg_type == RTM_DELLINK) {
    if (old != links_.end()) {
      noteVrrpLink(old->second);
      links_.erase(old);
      viewChanged_ = true;
    }
    addresses_.erase(index);
    linkLocals_.erase(index);
    return;
  }
  if (link.name.empty()) return;
  viewChanged_ |= old == links_.end() || old->second.name != link.name;
  if (old == links_.end() || old->second.mac != link.mac || old->second.parent != link.parent ||
      !link.protodown || old->second.protodown != link.protodown) {
    if (old != links_.end()) noteVrrpLink(old->second);
    noteVrrpLink(link);
  }
  links_[index] = std::move(link);
}

void LinkTable::addressMessage(const nlmsghdr* message) {
  if (message->nlmsg_len < mnl_nlmsg_size(sizeof(ifaddrmsg))) return;
  const auto* info = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(message));
  if (info->ifa_family == AF_INET6) return linkLocalMessage(message);
  if (info->ifa_family != AF_INET || info->ifa_prefixlen > 32 || info->ifa_index == 0) return;
  U32 local = 0;
  bool found = false;
  eachAttribute(message, sizeof(ifaddrmsg), [&](const nlattr* attr) {
    U16 t = mnl_attr_get_type(attr);
    // IFA_LOCAL is the interface's own address; IFA_ADDRESS differs from it on a
    // point-to-point link only, where it is the peer's.
    if ((t == IFA_LOCAL || (t == IFA_ADDRESS && !found)) && mnl_attr_get_payload_len(attr) == 4) {
      std::memcpy(&local, mnl_attr_get_payload(attr), 4);
      found = true;
    }
  });
  if (!found) return;
  Address a{Lirex::IpAddrWithMask(Lirex::IpAddr(ntohl(local)), info->ifa_prefixlen),
            (info->ifa_flags & IFA_F_SECONDARY) != 0};
  update(addresses_[info->ifa_index], a, message->nlmsg_type == RTM_NEWADDR,
         [](const Address& x, const Address& y) { return x.addr == y.addr; });
  viewChanged_ = true;
}

void LinkTable::linkLocalMessage(const nlmsghdr* message) {
  const auto* info = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(message));
  if (info->ifa_index == 0) return;
  std::optional<Lirex::InetAddr> found;
  eachAttribute(message, sizeof(ifaddrmsg), [&](const nlattr* attr) {
    // An IPv6 address is IFA_ADDRESS, or IFA_LOCAL on a point-to-point link.
    U16 t = mnl_attr_get_type(attr);
    if ((t == IFA_LOCAL || (t == IFA_ADDRESS && !found)) && mnl_attr_get_payload_len(attr) == 16) {
      Lirex::InetAddr::Bytes bytes;
      std::memcpy(bytes.data(), mnl_attr_get_payload(attr), 16);
      found = Lirex::InetAddr::ipv6(bytes);
    }
  });
  // Global addresses say nothing about a router: they come and go with router advertisements.
  if (!found || !found->isLinkLocal()) return;
  if (update(linkLocals_[info->ifa_index], *found, message->nlmsg_type == RTM_NEWADDR,
             std::equal_to<>())) {
    viewChanged_ = true;
  }
}

KernelView LinkTable::view() const {
  KernelView v;
  for (const auto& [index, link] : links_) {
    Lirex::IntfId name(link.name);
    v.ifIndex[name] = index;
    if (auto it = linkLocals_.find(index); it != linkLocals_.end() && !it->second.empty()) {
      v.linkLocal[name] = it->second.front();
    }
    auto it = addresses_.find(index);
    if (it == addresses_.end()) continue;
    for (const Address& a : it->second) {
      if (a.secondary) continue;
      v.primary[name] = a.addr;
      break;
    }
  }
  return v;
}

}  // namespace Sources

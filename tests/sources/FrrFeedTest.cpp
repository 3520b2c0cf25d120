// SPDX-License-Identifier: Apache-2.0
// FrrFeed on the fake loop, against a vrrpd whose vty socket (in a scratch folder) the test
// answers by hand and an rtnetlink whose events and dumps the test writes.
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/eventfd.h>

#include <deque>
#include <fstream>

#include "sources/frr/FrrFeed.h"
#include "tests/sources/FakeVrrpd.h"

namespace {

using Lines = std::vector<std::string>;
using Routing::Fhrp::FhrpState;
using Sources::FrrFeed;

const std::string kShowConfig = "show yang operational-data /frr-interface:lib with-config";

// A link message of the parent cap-a0 (vrid 0) or of a router's macvlan on it (`v6`: its IPv6
// one), at ifIndexes no interface has (no multicast group is joined here).
std::string link(U8 vrid, bool protodown, U16 type = RTM_NEWLINK, bool v6 = false) {
  alignas(nlmsghdr) char buffer[256];
  nlmsghdr* m = mnl_nlmsg_put_header(buffer);
  m->nlmsg_type = type;
  auto* info = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(m, sizeof(ifinfomsg)));
  info->ifi_index = 70000 + vrid + (v6 ? 256 : 0);
  const std::string name = "vrrp" + std::to_string(vrid) + (v6 ? "v6" : "");
  mnl_attr_put_strz(m, IFLA_IFNAME, vrid ? name.c_str() : "cap-a0");
  const U8 mac[6] = {0, 0, 0x5e, 0, static_cast<U8>(vrid ? 1 + v6 : 9), vrid};
  mnl_attr_put(m, IFLA_ADDRESS, sizeof(mac), mac);
  if (vrid) mnl_attr_put_u32(m, IFLA_LINK, 70000);
  mnl_attr_put_u8(m, IFLA_PROTO_DOWN, protodown);
  return std::string(buffer, m->nlmsg_len);
}

// Datagrams of events ("" reads as ENOBUFS), the links a dump answers, and an event descriptor
// that never turns readable by itself: it is read when the test says so.
struct FakeNetlink : Sources::Rtnetlink {
  ~FakeNetlink() override { close(fd); }
  int eventFd() const override { return fd; }
  ssize_t nextEvents(char* buffer, std::size_t) override {
    if (events.empty()) return 0;
    std::string e = std::move(events.front());
    events.pop_front();
    errno = ENOBUFS;
    return e.empty() ? -1 : static_cast<ssize_t>(e.copy(buffer, e.size()));
  }
  void dump(U16 type, const Each& each) override {
    if (failDumps > 0 && failDumps--) throw Kiv::RangeException("rtnetlink: interrupted");
    for (const std::string& m : type == RTM_GETLINK ? links : Lines{}) {
      each(reinterpret_cast<const nlmsghdr*>(m.data()));
    }
  }
  std::deque<std::string> events;
  Lines links = {link(0, false), link(5, false), link(6, false)};
  int failDumps = 0;
  int fd = eventfd(0, 0);
};

// A started feed, its snapshots and log lines ("! " for a warning), and the vrrpd it asks, which
// answers `show` (captured: routers 5, 6 and 7, all master) to `show vrrp json` and to a query
// about one router (read the same way), and {} to the configuration query.
struct Feed {
  Feed() {
    feed.start();
    EXPECT_EQ(serve(), (Lines{"show vrrp json", kShowConfig}));
  }
  Lines serve() {  // answers until the agent asks nothing more; what it asked, enable left out
    Lines heard;
    for (std::string c = vrrpd.command(); !c.empty(); c = vrrpd.command()) {
      if (c != "enable") heard.push_back(c);
      vrrpd.answer(c == "enable" ? "" : c == kShowConfig ? "{}" : show);
    }
    return heard;
  }
  void set(int vrid, const std::string& status) {
    std::size_t at = show.find("\"status\":\"", show.find("\"vrid\":" + std::to_string(vrid))) + 10;
    show.replace(at, show.find('"', at) - at, status);
  }
  const Zentra::StateDocument::VirtualRouterStatus& router(int vrid) const {
    return published.back().vrrpStatus.at(Lirex::IntfId("cap-a0")).at(vrid);
  }
  void event(std::string datagram) {
    kernel.events.push_back(std::move(datagram));
    loop.readable(kernel.fd);
  }

  std::string show = [] {
    std::ifstream in(FIXTURES_DIR "/a-show-vrrp.json");
    return std::string(std::istreambuf_iterator<char>(in), {});
  }();
  Loop::FakeEventLoop loop;
  FakeVrrpd vrrpd{loop};
  std::unique_ptr<FakeNetlink> owned = std::make_unique<FakeNetlink>();
  FakeNetlink& kernel = *owned;
  std::vector<Zentra::StateDocument> published;
  Lines lines;
  FrrFeed feed{loop, vrrpd.dir, [this](const auto& d) { published.push_back(d); },
               [this](bool warning, const Kiv::String8& line) {
                 // Without CAP_NET_RAW the advertisement listener says so.
                 if (line.find("advertisements") == std::string::npos) {
                   lines.push_back((warning ? "! " : "") + line);
                 }
               },
               std::move(owned)};
};

TEST(FrrFeedTest, AFlipIsAskedAboutAtOnceAndWhatComesMeanwhileInOneFollowUp) {
  Feed f;
  f.set(5, "Backup");
  f.set(6, "Backup");
  f.event(link(5, true));
  ASSERT_EQ(f.vrrpd.command(), "show vrrp interface cap-a0 5 json");
  f.event(link(5, true));  // its carrier follows, protodown as it was: no news
  f.event(link(6, true));
  f.vrrpd.answer(f.show);
  EXPECT_EQ(f.router(5).state, FhrpState::backup);
  EXPECT_EQ(f.serve(), Lines{"show vrrp interface cap-a0 6 json"});
  EXPECT_EQ(f.router(6).state, FhrpState::backup);
  f.event(link(7, true, RTM_NEWLINK, true));  // an IPv6 macvlan alike
  EXPECT_EQ(f.serve(), Lines{"show vrrp interface cap-a0 7 json"});
  EXPECT_TRUE(f.lines.empty());
}

TEST(FrrFeedTest, ASlowVrrpdKeepsItsRoutersAndIsToldOfOnce) {
  Feed f;
  const std::size_t published = f.published.size();
  const double up = f.router(5).upSince;
  f.loop.advance(FrrFeed::kPollSeconds);
  ASSERT_EQ(f.vrrpd.command(), "show vrrp json");
  f.loop.advance(FrrFeed::kSlowSeconds);
  f.event(link(6, true));  // waits for the answer: nothing is stacked behind it
  f.loop.advance(20);
  EXPECT_EQ(f.vrrpd.command(), "");
  f.vrrpd.answer(f.show);
  EXPECT_EQ(f.serve(), Lines{"show vrrp interface cap-a0 6 json"});
  // A stall that outlasts the connection: a new one asks again, the routers as they were.
  f.loop.advance(FrrFeed::kMaxPollSeconds);
  ASSERT_EQ(f.vrrpd.command(), "show vrrp json");
  f.loop.advance(FrrFeed::kTimeoutSeconds);
  EXPECT_EQ(f.serve(), (Lines{"show vrrp json", kShowConfig}));
  EXPECT_EQ(f.published.size(), published);
  EXPECT_EQ(f.router(5).upSince, up);
  const std::string slow =
      "! vrrpd has not answered for 3 s; its routers keep their last known "
      "state until it does";
  const std::string back = "vrrpd answers again on " + f.vrrpd.path;
  EXPECT_EQ(f.lines, (Lines{slow, back, slow, back}));
}

TEST(FrrFeedTest, OnlyAWholeDumpReplacesTheKernelsViewAndStaleEventsAreDropped) {
  Feed f;
  auto parents = [&f] { return f.published.back().interfaces.size(); };
  // Lost events: every router is asked about; what was queued before the dump is older than it.
  f.kernel.events.push_back("");
  f.event(link(0, false, RTM_DELLINK));
  f.loop.readable(f.kernel.fd);  // as the loop would, were anything left
  EXPECT_EQ(f.serve(), Lines{"show vrrp json"});
  EXPECT_EQ(parents(), 1u);
  // A dump that fails keeps the last view, and is tried again.
  f.kernel.links.clear();
  f.kernel.failDumps = 2;
  f.event("");
  f.loop.advance(Sources::KernelLinks::kRetrySeconds);
  EXPECT_EQ(parents(), 1u);
  f.loop.advance(Sources::KernelLinks::kRetrySeconds);
  EXPECT_EQ(parents(), 0u);
  EXPECT_EQ(f.lines, (Lines{"! rtnetlink: interrupted; the last view of the interfaces stays "
                            "until a dump succeeds",
                            "rtnetlink: the interfaces read again"}));
}

}  // namespace

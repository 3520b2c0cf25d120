// FrrFeed and KernelLinks on the fake loop: a vrrpd on a Unix socket in a scratch folder that
// the test answers by hand, and an rtnetlink whose events and dumps the test writes.
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>

#include "platform/Loop/FakeEventLoop.h"
#include "sources/frr/FrrFeed.h"

namespace {

using Routing::Fhrp::FhrpState;
using Sources::RouterKey;

// ifIndexes no real interface has: the advertisement listener joins no group on this machine.
constexpr int kParent = 70000;

std::string linkMessage(U16 type, int index, const char* name, U8 vrid, bool protodown,
                        bool carrier = true) {
  alignas(nlmsghdr) char buffer[512];
  nlmsghdr* m = mnl_nlmsg_put_header(buffer);
  m->nlmsg_type = type;
  auto* info = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(m, sizeof(ifinfomsg)));
  info->ifi_index = index;
  info->ifi_flags = carrier ? IFF_LOWER_UP : 0;
  mnl_attr_put_strz(m, IFLA_IFNAME, name);
  const U8 mac[6] = {0x00, 0x00, 0x5e, 0x00, static_cast<U8>(vrid ? 1 : 9), vrid};
  mnl_attr_put(m, IFLA_ADDRESS, sizeof(mac), mac);
  if (vrid) mnl_attr_put_u32(m, IFLA_LINK, kParent);
  mnl_attr_put_u8(m, IFLA_PROTO_DOWN, protodown);
  return std::string(buffer, m->nlmsg_len);
}

std::string addressMessage(U8 last) {
  alignas(nlmsghdr) char buffer[128];
  nlmsghdr* m = mnl_nlmsg_put_header(buffer);
  m->nlmsg_type = RTM_NEWADDR;
  auto* info = static_cast<ifaddrmsg*>(mnl_nlmsg_put_extra_header(m, sizeof(ifaddrmsg)));
  info->ifa_family = AF_INET;
  info->ifa_prefixlen = 24;
  info->ifa_index = kParent;
  const U8 address[4] = {192, 0, 2, last};
  mnl_attr_put(m, IFA_LOCAL, sizeof(address), address);
  return std::string(buffer, m->nlmsg_len);
}

// What rtnetlink holds: datagrams of events to read ("" reads as ENOBUFS) and what a dump
// answers; its event descriptor is a pipe nobody writes to, read when a test says so.
struct Kernel {
  Kernel() { EXPECT_EQ(pipe(fds), 0); }
  ~Kernel() {
    close(fds[0]);
    close(fds[1]);
  }
  std::unique_ptr<Sources::Rtnetlink> netlink();

  std::deque<std::string> events;
  std::vector<std::string> links = {linkMessage(RTM_NEWLINK, kParent, "eth0", 0, false),
                                    linkMessage(RTM_NEWLINK, kParent + 1, "vrrp5", 5, false),
                                    linkMessage(RTM_NEWLINK, kParent + 2, "vrrp6", 6, true)};
  std::vector<std::string> addresses = {addressMessage(1)};
  int failDumps = 0;
  int fds[2];
};

struct FakeNetlink : Sources::Rtnetlink {
  explicit FakeNetlink(Kernel& kernel) : k(kernel) {}
  int eventFd() const override { return k.fds[0]; }
  ssize_t nextEvents(char* buffer, std::size_t) override {
    if (k.events.empty()) return 0;
    std::string e = std::move(k.events.front());
    k.events.pop_front();
    std::memcpy(buffer, e.data(), e.size());
    errno = ENOBUFS;
    return e.empty() ? -1 : static_cast<ssize_t>(e.size());
  }
  void dump(U16 type, const Each& each) override {
    if (k.failDumps > 0 && k.failDumps--) throw Kiv::RangeException("rtnetlink: interrupted");
    for (const std::string& m : type == RTM_GETLINK ? k.links : k.addresses) {
      each(reinterpret_cast<const nlmsghdr*>(m.data()));
    }
  }
  Kernel& k;
};

std::unique_ptr<Sources::Rtnetlink> Kernel::netlink() {
  return std::make_unique<FakeNetlink>(*this);
}

TEST(KernelLinksTest, OnlyAWholeDumpReplacesTheViewAndStaleEventsAreDropped) {
  Loop::FakeEventLoop loop;
  Kernel kernel;
  std::vector<std::pair<std::set<RouterKey>, bool>> changes;
  std::vector<std::string> lines;
  Sources::KernelLinks links(
      loop, [&](const std::set<RouterKey>& r, bool lost) { changes.emplace_back(r, lost); },
      [&](bool, const Kiv::String8& line) { lines.push_back(line); }, kernel.netlink());
  links.start();
  const Sources::KernelView before = links.view();
  ASSERT_EQ(before.ifIndex.size(), 3u);
  using Changes = decltype(changes);

  // A protodown flip is news of its router; the carrier change after it is not.
  kernel.events = {linkMessage(RTM_NEWLINK, kParent + 1, "vrrp5", 5, true),
                   linkMessage(RTM_NEWLINK, kParent + 1, "vrrp5", 5, true, false)};
  loop.readable(kernel.fds[0]);
  kernel.events = {linkMessage(RTM_NEWLINK, kParent + 1, "vrrp5", 5, true, true)};
  loop.readable(kernel.fds[0]);
  EXPECT_EQ(changes, (Changes{{{{Lirex::IntfId("eth0"), 5}}, false}, {{}, false}}));

  // Lost events: what was queued before the dump says nothing newer than it.
  kernel.events = {"", linkMessage(RTM_DELLINK, kParent, "eth0", 0, false)};
  loop.readable(kernel.fds[0]);
  EXPECT_EQ(links.view(), before);
  EXPECT_EQ(changes.back(), (Changes::value_type{{}, true}));

  // A dump that fails keeps the last view, and is tried again.
  kernel.links.pop_back();
  kernel.failDumps = 2;
  kernel.events = {""};
  loop.readable(kernel.fds[0]);
  loop.advance(Sources::KernelLinks::kRetrySeconds);
  EXPECT_EQ(links.view(), before);
  EXPECT_EQ(lines.size(), 1u);
  loop.advance(Sources::KernelLinks::kRetrySeconds);
  EXPECT_EQ(links.view().ifIndex.count(Lirex::IntfId("vrrp6")), 0u);
  EXPECT_EQ(changes.back(), (Changes::value_type{{}, false}));
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "rtnetlink: interrupted; the last view of the interfaces stays until a "
                       "dump succeeds",
                       "rtnetlink: the interfaces read again"}));
}

// vrrpd's vty socket, answered by the test: `show vrrp json` (to the per-router queries too,
// which FrrFeed reads the same way) from `routers`, {} to the configuration query.
class FakeVrrpd {
 public:
  explicit FakeVrrpd(const std::string& dir) : path_(dir + "/vrrpd.vty") { listen(); }
  ~FakeVrrpd() { hangUp(); }

  void listen() {
    server_ = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof(addr.sun_path), "%s", path_.c_str());
    EXPECT_EQ(bind(server_, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
    ::listen(server_, 8);
  }
  // As a killed vrrpd: its connection closes, its socket refuses.
  void hangUp() {
    if (conn_ >= 0) close(conn_);
    if (server_ >= 0) close(server_);
    conn_ = server_ = -1;
    unlink(path_.c_str());
  }
  // The next command, or "" when none comes within a moment; a new connection is accepted.
  std::string command() {
    for (;;) {
      if (conn_ < 0 && (!ready(server_) || (conn_ = accept(server_, nullptr, nullptr)) < 0)) {
        return "";
      }
      if (!ready(conn_)) return "";
      std::string text;
      char c = 0;
      ssize_t n;
      while ((n = read(conn_, &c, 1)) == 1 && c != '\0') text += c;
      if (n == 1) return text;
      close(conn_);  // the agent gave this connection up
      conn_ = -1;
    }
  }
  void answer(const std::string& text) {
    std::string bytes = text + std::string(4, '\0');
    EXPECT_EQ(write(conn_, bytes.data(), bytes.size()), ssize_t(bytes.size()));
  }
  // Answers every command until the agent sends none; the commands, enable left out.
  std::vector<std::string> serve(Loop::FakeEventLoop& loop) {
    std::vector<std::string> heard;
    for (std::string c = command(); !c.empty(); c = command()) {
      if (c != "enable") heard.push_back(c);
      answer(c == "enable" ? "" : c.starts_with("show yang") ? "{}" : show());
      loop.pollOnce(1);
    }
    return heard;
  }
  std::string show() const {
    std::string out;
    for (const auto& [vrid, status] : routers) {
      out += std::string(out.empty() ? "[" : ",") + R"({"vrid":)" + std::to_string(vrid) +
             R"(,"version":2,"shutdown":false,"preemptMode":true,"interface":"eth0",)"
             R"("advertisementInterval":1000,"v4":{"vmac":"00:00:5e:00:01:0)" +
             std::to_string(vrid) + R"(","primaryAddress":")" +
             (status == "Master" ? "192.0.2.1" : "") + R"(","status":")" + status +
             R"(","effectivePriority":100,"addresses":["192.0.2.10"]}})";
    }
    return out + "]";
  }

  std::map<int, std::string> routers = {{5, "Master"}, {6, "Backup"}};

 private:
  static bool ready(int fd) {
    pollfd p{fd, POLLIN, 0};
    return fd >= 0 && poll(&p, 1, 100) == 1;
  }
  std::string path_;
  int server_ = -1;
  int conn_ = -1;
};

// A feed on the fake loop, its snapshots and log lines, started against FakeVrrpd and Kernel.
struct Feed {
  Feed() : vrrpd(dir()) {
    feed.start();
    EXPECT_EQ(vrrpd.serve(loop), (Commands{"show vrrp json",
                                           "show yang operational-data "
                                           "/frr-interface:lib with-config"}));
  }
  ~Feed() { std::filesystem::remove_all(dir()); }
  static std::string dir() {
    static const std::string path = testing::TempDir() + "frrfeed-" + std::to_string(getpid());
    std::filesystem::create_directories(path);
    return path;
  }
  FhrpState state(int vrid) const {
    return published.back().vrrpStatus.at(Lirex::IntfId("eth0")).at(vrid).state;
  }
  double upSince(int vrid) const {
    return published.back().vrrpStatus.at(Lirex::IntfId("eth0")).at(vrid).upSince;
  }
  void event(U8 vrid, bool protodown, bool carrier) {
    kernel.events.push_back(
        linkMessage(RTM_NEWLINK, kParent + vrid - 4, "vrrp", vrid, protodown, carrier));
    loop.readable(kernel.fds[0]);
  }
  using Commands = std::vector<std::string>;

  Loop::FakeEventLoop loop;
  Kernel kernel;
  FakeVrrpd vrrpd;
  std::vector<Zentra::StateDocument> published;
  std::vector<std::string> lines;  // about vrrpd
  Sources::FrrFeed feed{loop, dir(),
                        [this](const Zentra::StateDocument& d) { published.push_back(d); },
                        [this](bool warning, const Kiv::String8& line) {
                          if (line.find("vrrpd") != std::string::npos)
                            lines.push_back((warning ? "! " : "") + line);
                        },
                        kernel.netlink()};
};

TEST(FrrFeedTest, AFlipIsAskedAboutAtOnceAndWhatComesMeanwhileInOneFollowUp) {
  Feed f;
  ASSERT_EQ(f.state(5), FhrpState::master);
  f.vrrpd.routers = {{5, "Backup"}, {6, "Master"}};
  f.event(5, true, true);
  ASSERT_EQ(f.vrrpd.command(), "show vrrp interface eth0 5 json");
  f.event(5, true, false);  // its carrier: no news
  f.event(6, false, false);
  f.vrrpd.answer(f.vrrpd.show());
  f.loop.pollOnce(1);
  EXPECT_EQ(f.state(5), FhrpState::backup);
  EXPECT_EQ(f.vrrpd.serve(f.loop), Feed::Commands{"show vrrp interface eth0 6 json"});
  EXPECT_EQ(f.state(6), FhrpState::master);
  f.event(6, false, true);
  EXPECT_EQ(f.vrrpd.serve(f.loop), Feed::Commands{});
  EXPECT_TRUE(f.lines.empty());
}

TEST(FrrFeedTest, ASlowVrrpdKeepsItsRoutersAndIsToldOfOnce) {
  Feed f;
  const std::size_t published = f.published.size();
  const double up = f.upSince(5);
  f.loop.advance(Sources::FrrFeed::kPollSeconds);
  ASSERT_EQ(f.vrrpd.command(), "show vrrp json");
  f.loop.advance(Sources::FrrFeed::kSlowSeconds);
  f.event(6, false, false);  // waits for the answer: nothing is stacked behind it
  f.loop.advance(20);
  EXPECT_EQ(f.vrrpd.command(), "");
  f.vrrpd.answer(f.vrrpd.show());
  f.loop.pollOnce(1);
  EXPECT_EQ(f.vrrpd.serve(f.loop), Feed::Commands{"show vrrp interface eth0 6 json"});
  // A stall that outlasts the connection: a new one asks again, the routers as they were.
  f.loop.advance(Sources::FrrFeed::kMaxPollSeconds);
  ASSERT_EQ(f.vrrpd.command(), "show vrrp json");
  f.loop.advance(Sources::FrrFeed::kTimeoutSeconds);
  EXPECT_EQ(f.vrrpd.serve(f.loop), (Feed::Commands{"show vrrp json",
                                                   "show yang operational-data "
                                                   "/frr-interface:lib with-config"}));
  EXPECT_EQ(f.published.size(), published);
  EXPECT_EQ(f.upSince(5), up);
  EXPECT_EQ(f.lines, (std::vector<std::string>{
                         "! vrrpd has not answered for 3 s; its routers keep their last known "
                         "state until it does",
                         "vrrpd answers again on " + Feed::dir() + "/vrrpd.vty",
                         "! vrrpd has not answered for 3 s; its routers keep their last known "
                         "state until it does",
                         "vrrpd answers again on " + Feed::dir() + "/vrrpd.vty"}));
}

TEST(FrrFeedTest, AGoneVrrpdsRoutersReadInitializeUntilItIsBack) {
  Feed f;
  f.vrrpd.hangUp();
  f.loop.pollOnce(1);
  EXPECT_EQ(f.state(5), FhrpState::initialize);
  EXPECT_EQ(f.upSince(5), 0.0);
  f.loop.advance(Sources::FrrFeed::kPollSeconds * 3);
  f.vrrpd.listen();
  f.loop.advance(Sources::FrrFeed::kPollSeconds);
  f.vrrpd.serve(f.loop);
  EXPECT_EQ(f.state(5), FhrpState::master);
  EXPECT_GT(f.upSince(5), 0.0);
  EXPECT_EQ(f.lines,
            (std::vector<std::string>{"! vrrpd does not answer (" + Feed::dir() +
                                          "/vrrpd.vty: No such file or directory); its routers "
                                          "read initialize until it does",
                                      "vrrpd answers again on " + Feed::dir() + "/vrrpd.vty"}));
}

}  // namespace

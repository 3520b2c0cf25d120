#include <gtest/gtest.h>

#include "host/Options.h"
#include "kiv/Exception.h"

namespace {

Host::Options parse(std::vector<const char*> args) {
  args.insert(args.begin(), "fhrp-snmpd");
  return Host::parseOptions(static_cast<int>(args.size()), args.data());
}

std::string error(std::vector<const char*> args) {
  try {
    parse(std::move(args));
  } catch (const Kiv::RangeException& e) {
    return e.message();
  }
  return "(accepted)";
}

TEST(OptionsTest, DefaultsAndRepeatableFlags) {
  auto o = parse({"--state", "s.json"});
  EXPECT_EQ(o.listen, "udp:127.0.0.1:1161");
  EXPECT_EQ(o.community, "public");
  EXPECT_TRUE(o.notifications);
  EXPECT_FALSE(o.agentx());
  o = parse({"--state=s.json", "--trap-sink", "127.0.0.1:162", "--trap-sink=127.0.0.1:1162",
             "--context", "mgmt", "--notifications", "off", "--agentx", "/run/agentx"});
  EXPECT_EQ(o.trapSinks, (std::vector<std::string>{"127.0.0.1:162", "127.0.0.1:1162"}));
  EXPECT_EQ(o.contexts, std::vector<std::string>{"mgmt"});
  EXPECT_FALSE(o.notifications);
  EXPECT_TRUE(o.agentx());
  EXPECT_TRUE(parse({"--help"}).help);
  EXPECT_TRUE(parse({"--state", "s"}).serveCommunity);
  EXPECT_FALSE(parse({"--state", "s", "--no-community"}).serveCommunity);
  EXPECT_EQ(parse({"--frr"}).frrVtyDirectory, "/var/run/frr");
  EXPECT_EQ(parse({"--frr", "--frr-vty", "/run/frr/a"}).frrVtyDirectory, "/run/frr/a");
}

TEST(OptionsTest, BadArgumentsAreOneClearLine) {
  EXPECT_EQ(error({}), "--state FILE or --frr is required");
  EXPECT_EQ(error({"--state", "s", "--frr"}), "--state and --frr exclude each other");
  EXPECT_EQ(error({"--state", "s", "--frr-vty", "/d"}), "--frr-vty needs --frr");
  EXPECT_EQ(error({"--state"}), "option --state needs a value");
  EXPECT_EQ(error({"--state", "s", "--bogus"}), "unknown argument '--bogus'");
  EXPECT_EQ(error({"--state", "s", "--notifications", "maybe"}),
            "--notifications takes on or off, not 'maybe'");
  EXPECT_EQ(error({"--state", "s", "--listen", "udp:1", "--agentx", "/x"}),
            "--listen and --agentx exclude each other");
  EXPECT_EQ(error({"--state", ""}), "option --state needs a non-empty value");
  EXPECT_EQ(error({"--state", "s", "--no-community", "--community", "c"}),
            "--community and --no-community exclude each other");
}

}  // namespace

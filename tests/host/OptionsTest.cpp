// SPDX-License-Identifier: Apache-2.0
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
             "--notifications", "off", "--trace", "Snmp/0-2,Zentra"});
  EXPECT_EQ(o.trapSinks, (std::vector<std::string>{"127.0.0.1:162", "127.0.0.1:1162"}));
  EXPECT_FALSE(o.notifications);
  EXPECT_TRUE(parse({"--state", "s", "--agentx", "/run/agentx"}).agentx());
  EXPECT_TRUE(parse({"--help"}).help);
  EXPECT_TRUE(parse({"--state", "s"}).serveCommunity);
  EXPECT_FALSE(parse({"--state", "s", "--no-community"}).serveCommunity);
  EXPECT_EQ(parse({"--frr"}).frrVtyDirectory, "/var/run/frr");
  EXPECT_EQ(parse({"--frr", "--frr-vty", "/run/frr/a"}).frrVtyDirectory, "/run/frr/a");
}

// Those the daemon's bad-start table does not try.
TEST(OptionsTest, BadArgumentsAreOneClearLine) {
  const std::string underAgentx =
      " does not apply under --agentx: the master's communities and "
      "sinks do";
  const std::vector<std::pair<std::vector<const char*>, std::string>> cases = {
      {{}, "--state FILE or --frr is required"},
      {{"--state", "s", "--frr"}, "--state and --frr exclude each other"},
      {{"--state", "s", "--frr-vty", "/d"}, "--frr-vty needs --frr"},
      {{"--state"}, "option --state needs a value"},
      {{"--state", "s", "--notifications", "maybe"},
       "--notifications takes on or off, not 'maybe'"},
      {{"--state", "s", "--listen", "udp:1", "--agentx", "/x"},
       "--listen and --agentx exclude each other"},
      {{"--state", ""}, "option --state needs a non-empty value"},
      {{"--state", "s", "--no-community", "--community", "c"},
       "--community and --no-community exclude each other"},
      {{"--state", "s", "--agentx", "/x", "--no-community"}, "--no-community" + underAgentx},
      // What getopt_long reports its own way: a flag given a value, a value given as "=", an
      // unknown option with a value, a short one, and an argument after the options.
      {{"--state", "s", "--frr=yes"}, "option --frr takes no value"},
      {{"--state="}, "option --state needs a non-empty value"},
      {{"--state", "s", "--bogus=1"}, "unknown argument '--bogus'"},
      {{"--state", "s", "-x"}, "unknown argument '-x'"},
      {{"--state", "s", "extra"}, "unknown argument 'extra'"}};

  for (const auto& [args, message] : cases) EXPECT_EQ(error(args), message);
}

}  // namespace

// The lines built from options, read by net-snmp's own configuration reader in an agent inside
// the test process: every value comes out as it was given, or is refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/ConfigLines.h"
#include "kiv/Exception.h"
#include "tests/support/InProcessAgent.h"

extern "C" char* snmp_trapcommunity;  // net-snmp's: the community of sinks that name none

namespace {

void configure(const std::string& line) {
  std::string copy = line;  // netsnmp_config tokenises in place
  netsnmp_config(copy.data());
}

// Whether a request from 127.0.0.1 with `community` is granted by some rocommunity line.
bool granted(const std::string& community) {
  netsnmp_indexed_addr_pair from{};
  from.remote_addr.sin.sin_family = AF_INET;
  from.remote_addr.sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const char* secName = nullptr;
  const char* context = nullptr;
  netsnmp_udp_getSecName(&from, sizeof from, community.data(), community.size(), &secName,
                         &context);
  return secName != nullptr;
}

std::string refusal(Kiv::String8 (*line)(const Kiv::String8&), const std::string& value) {
  try {
    line(value);
  } catch (const Kiv::RangeException& e) {
    return e.message();
  }
  return "(accepted)";
}

TEST(ConfigLinesTest, EveryCommunityComesOutAsGiven) {
  FhrpTest::InProcessAgent::instance();
  const std::vector<std::string> communities = {
      "two words",   "it's",  "say \"hi\"",
      "back\\slash", "\\'\"", "# no comment",
      "-s",          "ünï",   std::string(253, 'x') + "'"};
  for (const std::string& c : communities) {
    configure(Host::rocommunityLine(c));
    EXPECT_TRUE(granted(c)) << c;
    configure(Host::trapCommunityLine(c));
    EXPECT_STREQ(snmp_trapcommunity, c.c_str());
  }
  // Unquoted, the first word alone would have been the community.
  EXPECT_FALSE(granted("two"));
  EXPECT_EQ(Host::trapSinkLine("tcp:192.0.2.1:162"), "trap2sink tcp:192.0.2.1:162");
}

TEST(ConfigLinesTest, WhatNoLineCarriesIsRefusedInOneLine) {
  EXPECT_EQ(refusal(Host::rocommunityLine, "a\nrwcommunity b"),
            "--community holds the control character 0x0A, which net-snmp's configuration "
            "cannot carry");
  EXPECT_EQ(refusal(Host::trapCommunityLine, std::string("a\0b", 3)),
            "--community holds the control character 0x00, which net-snmp's configuration "
            "cannot carry");
  EXPECT_EQ(refusal(Host::rocommunityLine, "-v"),
            "--community cannot be -v: net-snmp takes it for an option");
  const std::string tooLong =
      "--community is longer than net-snmp takes (255 characters, a ' "
      "or a \\ counting twice)";
  EXPECT_EQ(refusal(Host::rocommunityLine, std::string(256, 'x')), tooLong);
  EXPECT_EQ(refusal(Host::rocommunityLine, std::string(128, '\\')), tooLong);
  EXPECT_EQ(refusal(Host::trapSinkLine, "192.0.2.1:162 -tag x"),
            "--trap-sink '192.0.2.1:162 -tag x' is no address: it holds a space or starts with -");
  EXPECT_EQ(refusal(Host::trapSinkLine, "-s"),
            "--trap-sink '-s' is no address: it holds a space or starts with -");
}

}  // namespace

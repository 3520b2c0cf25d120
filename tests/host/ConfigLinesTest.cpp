// SPDX-License-Identifier: Apache-2.0
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

TEST(ConfigLinesTest, WhatNoLineCarriesIsRefused) {
  EXPECT_THROW(Host::rocommunityLine("a\nrwcommunity b"), Kiv::RangeException);
  EXPECT_THROW(Host::trapCommunityLine(std::string("a\0b", 3)), Kiv::RangeException);
  EXPECT_THROW(Host::rocommunityLine("-v"), Kiv::RangeException);  // taken for an option
  EXPECT_THROW(Host::rocommunityLine(std::string(256, 'x')), Kiv::RangeException);
  EXPECT_THROW(Host::rocommunityLine(std::string(128, '\\')), Kiv::RangeException);
  EXPECT_THROW(Host::trapSinkLine("192.0.2.1:162 -tag x"), Kiv::RangeException);
  EXPECT_THROW(Host::trapSinkLine("-s"), Kiv::RangeException);
}

}  // namespace

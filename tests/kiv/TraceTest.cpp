// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "kiv/Exception.h"
#include "kiv/Trace.h"

namespace {

TEST(TraceTest, SpecEnablesLevelsPerHandleAndRejectsMalformedSpecs) {
  auto& snmp = Kiv::traceHandle("TestSnmp");
  auto& entry = Kiv::traceHandle("TestEntry");
  Kiv::traceSpecIs("TestSnmp/0-2,TestEntry/7");
  EXPECT_TRUE(snmp.enabled(2) && !snmp.enabled(3) && entry.enabled(7) && !entry.enabled(8));
  Kiv::traceSpecIs("*/9,TestEntry");  // a bare name is every level
  EXPECT_TRUE(snmp.enabled(9) && !snmp.enabled(0) && entry.enabled(0) && entry.enabled(8));
  for (const char* bad : {"TestSnmp/3-1", "/3", "a,,b", "TestSnmp/10"}) {
    EXPECT_THROW(Kiv::traceSpecIs(bad), Kiv::RangeException) << bad;
  }
  EXPECT_EQ(Kiv::traceSpec(), "*/9,TestEntry");  // a rejected spec changes nothing
  Kiv::traceSpecIs("");
  EXPECT_FALSE(entry.enabled(0));
  int formatted = 0;
  KIV_TRACE(entry, 0, "never " << ++formatted);
  EXPECT_EQ(formatted, 0) << "a disabled level must not format its text";
}

}  // namespace

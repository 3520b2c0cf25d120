#include "lirex/IntfId.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "kiv/Exception.h"

namespace Lirex {
namespace {

using Kiv::RangeException;
using Kiv::String8;
using ::testing::ThrowsMessage;

TEST(IntfIdTest, TextForms) {
  const IntfId id("Ethernet1");
  std::ostringstream os;
  os << id;
  EXPECT_EQ(os.str(), "Ethernet1");
  EXPECT_EQ(valueToStrep(id), "'Ethernet1'");
  EXPECT_TRUE(IntfId().empty());
  for (const IntfId& v : {IntfId(), IntfId("Port-Channel1.100"), IntfId("it's\\odd")}) {
    EXPECT_EQ(strepToValue<IntfId>(valueToStrep(v)), v) << valueToStrep(v);
  }
}

TEST(IntfIdTest, OrderedByName) {
  EXPECT_LT(IntfId("Ethernet10"), IntfId("Ethernet2"));
  EXPECT_LT(IntfId(), IntfId("a"));
  EXPECT_EQ(std::hash<IntfId>()(IntfId(String8("x"))), std::hash<IntfId>()(IntfId("x")));
}

TEST(IntfIdTest, RejectsMalformed) {
  EXPECT_THAT([] { strepToValue<IntfId>("Ethernet1"); },
              ThrowsMessage<RangeException>("bad interface name \"Ethernet1\": expected a quoted "
                                            "string, found 'E' at column 0"));
  EXPECT_THAT([] { strepToValue<IntfId>("'Ethernet1"); },
              ThrowsMessage<RangeException>(
                  "bad interface name \"'Ethernet1\": unterminated quoted string starting at "
                  "column 0"));
  EXPECT_THAT([] { strepToValue<IntfId>("'a'b"); },
              ThrowsMessage<RangeException>(
                  "bad interface name \"'a'b\": unexpected text after the name at column 3"));
  EXPECT_THAT([] { strepToValue<IntfId>(" 'a'"); },
              ThrowsMessage<RangeException>(
                  "bad interface name \" 'a'\": unexpected white space at column 0"));
}

TEST(IntfIdTest, IteratorParseStopsBehindQuote) {
  const String8 text = " 'Ethernet1'), ";
  auto pos = text.cbegin();
  EXPECT_EQ(strepToValue<IntfId>(pos, text.cend()), IntfId("Ethernet1"));
  EXPECT_EQ(*pos, ')');
}

}  // namespace
}  // namespace Lirex

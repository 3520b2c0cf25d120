#include "lirex/VrrpAuthType.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "kiv/Exception.h"

namespace Lirex {
namespace {

using Kiv::RangeException;
using Kiv::String8;
using ::testing::ThrowsMessage;

TEST(VrrpAuthTypeTest, NamesRoundTrip) {
  EXPECT_EQ(VrrpAuthType{}, VrrpAuthType::noAuthentication);
  EXPECT_EQ(static_cast<int>(VrrpAuthType::ipAuthenticationHeader), 2);
  for (const auto type : {VrrpAuthType::noAuthentication, VrrpAuthType::simpleTextPassword,
                          VrrpAuthType::ipAuthenticationHeader}) {
    EXPECT_TRUE(isValid(type));
    EXPECT_EQ(vrrpAuthTypeFromString(valueToStrep(type)), type);
    EXPECT_EQ(strepToValue<VrrpAuthType>(valueToStrep(type)), type);
  }
  std::ostringstream os;
  os << VrrpAuthType::simpleTextPassword;
  EXPECT_EQ(os.str(), "simpleTextPassword");
}

TEST(VrrpAuthTypeTest, OutOfRangeValuesAreRepresentable) {
  const auto bad = static_cast<VrrpAuthType>(7);
  EXPECT_FALSE(isValid(bad));
  EXPECT_FALSE(isValid(static_cast<VrrpAuthType>(-1)));
  EXPECT_EQ(valueToStrep(bad), "VrrpAuthType(7)");
}

TEST(VrrpAuthTypeTest, RejectsUnknownNames) {
  const String8 allowed = "(allowed: noAuthentication, simpleTextPassword, ipAuthenticationHeader)";
  EXPECT_THAT([] { vrrpAuthTypeFromString("NoAuthentication"); },
              ThrowsMessage<RangeException>("unknown VRRP authentication type 'NoAuthentication' " +
                                            allowed));
  EXPECT_THAT([] { strepToValue<VrrpAuthType>(""); },
              ThrowsMessage<RangeException>("unknown VRRP authentication type '' " + allowed));
  EXPECT_THAT([] { strepToValue<VrrpAuthType>("noAuthentication "); },
              ThrowsMessage<RangeException>(
                  "unknown VRRP authentication type 'noAuthentication ' " + allowed));
}

TEST(VrrpAuthTypeTest, IteratorParseStopsBehindName) {
  const String8 text = " simpleTextPassword}";
  auto pos = text.cbegin();
  EXPECT_EQ(strepToValue<VrrpAuthType>(pos, text.cend()), VrrpAuthType::simpleTextPassword);
  EXPECT_EQ(*pos, '}');
}

}  // namespace
}  // namespace Lirex

#include "lirex/EthAddr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unordered_set>

#include "kiv/Exception.h"

namespace Lirex {
namespace {

using Kiv::RangeException;
using Kiv::String8;
using ::testing::ThrowsMessage;

TEST(EthAddrTest, RoundTrip) {
  for (const String8 text : {"00:00:5e:00:01:05", "00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff"}) {
    EXPECT_EQ(valueToStrep(strepToValue<EthAddr>(text)), text);
  }
  EXPECT_EQ(strepToValue<EthAddr>("00:00:5E:00:01:0A").bytes(),
            (EthAddr::Bytes{0x00, 0x00, 0x5e, 0x00, 0x01, 0x0a}));
  EXPECT_EQ(valueToStrep(EthAddr({0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45})), "ab:cd:ef:01:23:45");
  EXPECT_TRUE(EthAddr().isZero());
}

TEST(EthAddrTest, OrderAndHash) {
  EXPECT_LT(EthAddr({0, 0, 0, 0, 0, 0xff}), EthAddr({0, 0, 0, 0, 1, 0}));
  EXPECT_LT(EthAddr({0x7f, 0xff, 0xff, 0xff, 0xff, 0xff}), EthAddr({0x80, 0, 0, 0, 0, 0}));
  const std::unordered_set<EthAddr> set{EthAddr({1, 2, 3, 4, 5, 6}), EthAddr({1, 2, 3, 4, 5, 6}),
                                        EthAddr({6, 5, 4, 3, 2, 1})};
  EXPECT_EQ(set.size(), 2u);
}

TEST(EthAddrTest, RejectsMalformed) {
  const std::pair<String8, String8> cases[] = {
      {"00:00:5e:00:01", "expected 6 groups of 2 hex digits"},
      {"00:00:5e:00:01:05:06", "expected 6 groups of 2 hex digits"},
      {"0:00:5e:00:01:05", "group 1 '0' is not 2 hex digits"},
      {"00:00:5e:00:01:005", "group 6 '005' is not 2 hex digits"},
      {"00:00::00:01:05", "group 3 '' is not 2 hex digits"},
      {"", "group 1 '' is not 2 hex digits"},
      {"00-00-5e-00-01-05", "unexpected character '-' at column 2"},
      {"00:00:5g:00:01:05", "unexpected character 'g' at column 7"},
  };
  for (const auto& c : cases) {
    const String8& text = c.first;
    EXPECT_THAT([&] { strepToValue<EthAddr>(text); },
                ThrowsMessage<RangeException>("bad Ethernet address '" + text + "': " + c.second));
  }
}

TEST(EthAddrTest, IteratorParseStopsBehindAddress) {
  const String8 text = "\t00:00:5e:00:01:05, x";
  auto pos = text.cbegin();
  EXPECT_EQ(strepToValue<EthAddr>(pos, text.cend()), EthAddr({0, 0, 0x5e, 0, 1, 5}));
  EXPECT_EQ(*pos, ',');
}

}  // namespace
}  // namespace Lirex

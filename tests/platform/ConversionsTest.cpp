// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "platform/Snmp/Conversions.h"

namespace {

// A varbind value slot as handlers fill it.
struct Var {
  netsnmp_variable_list v{};
  ~Var() { snmp_free_var_internals(&v); }
};

// Encodes value and hands the bytes to net-snmp as a handler does; returns what net-snmp
// stored, which is what it will put on the wire.
template <class Encoder, class Value>
long throughNetSnmp(const Encoder& encode, const Value& value, u_char type) {
  unsigned char buf[16];
  const S32 len = encode(value, buf, sizeof buf);
  EXPECT_EQ(len, 4) << "integer-like values go to net-snmp as a 4-byte int";
  Var var;
  EXPECT_EQ(snmp_set_var_typed_value(&var.v, type, buf, len), 0);
  return *var.v.val.integer;
}

TEST(ConversionsTest, IntegerLikeValuesKeepTheir32BitMeaningInNetSnmp) {
  EXPECT_EQ(throughNetSnmp(S32ToAsnInteger, std::numeric_limits<S32>::min(), ASN_INTEGER),
            std::numeric_limits<S32>::min());
  EXPECT_EQ(throughNetSnmp(U32ToAsnUnsigned, 0xffffffffu, ASN_GAUGE), 4294967295L);
  // As INTEGER a U32 above 2^31 keeps its bit pattern and stays inside Integer32; a long
  // would have been stored as 3000000000, which no Integer32 can carry.
  EXPECT_EQ(throughNetSnmp(U32ToAsnUnsigned, 3000000000u, ASN_INTEGER), -1294967296L);
  EXPECT_EQ(throughNetSnmp(BoolToAsnInteger, false, ASN_INTEGER), 2);

  // Decimal fractions that are not exact in binary (0.29, 12.29) still land on their
  // hundredth; 2^32 hundredths wrap to 0.
  const std::pair<double, long> cases[] = {{-3, 0},
                                           {0.999, 99},
                                           {0.29, 29},
                                           {12.29, 1229},
                                           {30000000, 3000000000L},
                                           {42949672.95, 4294967295L},
                                           {42949672.96, 0}};
  for (const auto& [seconds, ticks] : cases) {
    EXPECT_EQ(throughNetSnmp(SecondsToTimeTicks, seconds, ASN_TIMETICKS), ticks) << seconds;
  }
  unsigned char buf[4] = {};
  EXPECT_LT(SecondsToTimeTicks(std::numeric_limits<double>::quiet_NaN(), buf, 4), 0);
  EXPECT_LT(SecondsToTimeTicks(-std::numeric_limits<double>::infinity(), buf, 4), 0);
}

// The decoders meet missing, short and out-of-range hint parts in the daemon's hostile test.

}  // namespace

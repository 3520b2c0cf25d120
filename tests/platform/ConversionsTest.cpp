#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <string>

#include "kiv/Exception.h"
#include "platform/Snmp/Conversions.h"

namespace {

using ::testing::ThrowsMessage;

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

TEST(ConversionsTest, DecodersRejectMissingAndOutOfRangeValues) {
  Var var;
  EXPECT_THROW(AsnIntegerToS32(nullptr), Kiv::RangeException);
  EXPECT_THROW(AsnIntegerToS32(&var.v), Kiv::RangeException);  // a hint part not given
  snmp_set_var_typed_integer(&var.v, ASN_INTEGER, -2147483648L);
  EXPECT_EQ(AsnIntegerToS32(&var.v), -2147483648L);
  // snmp_set_var_value cuts values to 32 bits, so a value beyond them is set directly.
  *var.v.val.integer = 4294967296L;
  EXPECT_THAT([&] { AsnIntegerToS32(&var.v); },
              ThrowsMessage<Kiv::RangeException>("INTEGER value 4294967296 out of range for S32"));

  Var addr;
  // A GETNEXT hint's address part may be shorter or longer than an address.
  for (size_t len : {3u, 5u}) {
    ASSERT_EQ(snmp_set_var_typed_value(&addr.v, ASN_OCTET_STR, "\x01\x02\x03\x04\x05", len), 0);
    EXPECT_THROW(AsnIpAddressToU32(&addr.v), Kiv::RangeException) << len;
  }
  ASSERT_EQ(snmp_set_var_typed_value(&addr.v, ASN_IPADDRESS, "\xC0\x00\x02\x01", 4), 0);
  EXPECT_EQ(AsnIpAddressToU32(&addr.v), 0xC0000201u);
}

}  // namespace

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <vector>

#include "kiv/Exception.h"
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

unsigned ticks(double seconds) {
  unsigned char buf[4];
  EXPECT_EQ(SecondsToTimeTicks(seconds, buf, sizeof buf), 4) << seconds;
  unsigned out;
  std::memcpy(&out, buf, sizeof out);
  return out;
}

TEST(ConversionsTest, IntegerLikeValuesKeepTheir32BitMeaningInNetSnmp) {
  EXPECT_EQ(throughNetSnmp(S32ToAsnInteger, -5, ASN_INTEGER), -5);
  EXPECT_EQ(throughNetSnmp(S32ToAsnInteger, std::numeric_limits<S32>::min(), ASN_INTEGER),
            std::numeric_limits<S32>::min());
  EXPECT_EQ(throughNetSnmp(S32ToAsnInteger, std::numeric_limits<S32>::max(), ASN_INTEGER),
            std::numeric_limits<S32>::max());
  EXPECT_EQ(throughNetSnmp(U32ToAsnUnsigned, 3000000000u, ASN_UNSIGNED), 3000000000L);
  EXPECT_EQ(throughNetSnmp(U32ToAsnUnsigned, 0xffffffffu, ASN_GAUGE), 4294967295L);
  // As INTEGER a U32 above 2^31 keeps its bit pattern and stays inside Integer32; a long
  // would have been stored as 3000000000, which no Integer32 can carry.
  EXPECT_EQ(throughNetSnmp(U32ToAsnUnsigned, 3000000000u, ASN_INTEGER), -1294967296L);
  EXPECT_EQ(throughNetSnmp(SecondsToTimeTicks, 30000000.0, ASN_TIMETICKS), 3000000000L);
  EXPECT_EQ(throughNetSnmp(BoolToAsnInteger, true, ASN_INTEGER), 1);
  EXPECT_EQ(throughNetSnmp(BoolToAsnInteger, false, ASN_INTEGER), 2);
}

TEST(ConversionsTest, SecondsToTimeTicksRoundsDownAndWraps) {
  EXPECT_EQ(ticks(0), 0u);
  EXPECT_EQ(ticks(1.5), 150u);
  EXPECT_EQ(ticks(0.999), 99u);
  // Decimal fractions that are not exact in binary still land on their hundredth.
  EXPECT_EQ(ticks(0.29), 29u);
  EXPECT_EQ(ticks(12.29), 1229u);
  EXPECT_EQ(ticks(-3), 0u);
  EXPECT_EQ(ticks(42949672.95), 4294967295u);
  EXPECT_EQ(ticks(42949672.96), 0u);
  EXPECT_EQ(ticks(42949672.97), 1u);

  unsigned char buf[4] = {};
  for (double bad :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity()}) {
    EXPECT_LT(SecondsToTimeTicks(bad, buf, sizeof buf), 0) << bad;
  }
}

TEST(ConversionsTest, OctetStringsCopyTheBytesAndNeverOverrunTheBuffer) {
  std::array<unsigned char, 8> buf;
  buf.fill(0xAA);
  EXPECT_EQ(StringToAsnOctetString(Kiv::String8("a\0b", 3), buf.data(), 3), 3);
  EXPECT_EQ(std::memcmp(buf.data(), "a\0b", 3), 0);
  EXPECT_EQ(buf[3], 0xAA);
  EXPECT_EQ(StringToAsnOctetString(Kiv::String8(), buf.data(), 0), 0);

  buf.fill(0xAA);
  EXPECT_LT(StringToAsnOctetString("abc", buf.data(), 2), 0);
  EXPECT_LT(StringToAsnOctetString("abc", buf.data(), -1), 0);
  for (unsigned char b : buf) EXPECT_EQ(b, 0xAA);
}

TEST(ConversionsTest, EveryEncoderRefusesAMissingOrSmallBuffer) {
  struct Ip {
    U32 value() const { return 0xC0000201; }
  };
  struct Eth {
    const std::array<U8, 6>& bytes() const { return b; }
    std::array<U8, 6> b{0x00, 0x00, 0x5e, 0x00, 0x01, 0x05};
  };
  std::array<unsigned char, 8> buf;
  buf.fill(0xAA);
  const std::vector<S32> results = {
      S32ToAsnInteger(1, nullptr, 8),
      S32ToAsnInteger(1, buf.data(), 3),
      U32ToAsnUnsigned(1, nullptr, 8),
      U32ToAsnUnsigned(1, buf.data(), 3),
      BoolToAsnInteger(true, nullptr, 8),
      BoolToAsnInteger(true, buf.data(), 3),
      SecondsToTimeTicks(1, nullptr, 8),
      SecondsToTimeTicks(1, buf.data(), 3),
      StringToAsnOctetString("", nullptr, 8),
      U32ToAsnIpAddress(1, nullptr, 8),
      U32ToAsnIpAddress(1, buf.data(), 3),
      LirexIpAddrToAsnOctetString(Ip{}, buf.data(), 3),
      LirexEthAddrToAsnOctetString(Eth{}, nullptr, 8),
      LirexEthAddrToAsnOctetString(Eth{}, buf.data(), 5),
  };
  for (size_t i = 0; i < results.size(); ++i) EXPECT_LT(results[i], 0) << "case " << i;
  for (unsigned char b : buf) EXPECT_EQ(b, 0xAA);
}

TEST(ConversionsTest, AddressesAreNetworkOrderOctetsAndDecodeBackToHostOrder) {
  struct Ip {
    U32 value() const { return 0xC0000201; }  // 192.0.2.1
  };
  struct Eth {
    const std::array<U8, 6>& bytes() const { return b; }
    std::array<U8, 6> b{0x00, 0x00, 0x5e, 0x00, 0x01, 0x05};
  };
  unsigned char buf[8];
  ASSERT_EQ(LirexIpAddrToAsnOctetString(Ip{}, buf, 4), 4);
  EXPECT_EQ(std::vector<unsigned char>(buf, buf + 4), (std::vector<unsigned char>{192, 0, 2, 1}));
  Var var;
  ASSERT_EQ(snmp_set_var_typed_value(&var.v, ASN_IPADDRESS, buf, 4), 0);
  EXPECT_EQ(AsnIpAddressToU32(&var.v), 0xC0000201u);

  ASSERT_EQ(LirexEthAddrToAsnOctetString(Eth{}, buf, 6), 6);
  EXPECT_EQ(std::vector<unsigned char>(buf, buf + 6),
            (std::vector<unsigned char>{0x00, 0x00, 0x5e, 0x00, 0x01, 0x05}));
}

TEST(ConversionsTest, DecodersRejectMissingAndOutOfRangeValues) {
  Var var;
  EXPECT_THROW(AsnIntegerToS32(nullptr), Kiv::RangeException);
  EXPECT_THROW(AsnIntegerToS32(&var.v), Kiv::RangeException);  // a hint part not given

  snmp_set_var_typed_integer(&var.v, ASN_INTEGER, -2147483648L);
  EXPECT_EQ(AsnIntegerToS32(&var.v), -2147483648L);
  snmp_set_var_typed_integer(&var.v, ASN_INTEGER, -2147483649L);
  EXPECT_THROW(AsnIntegerToS32(&var.v), Kiv::RangeException);
  // snmp_set_var_value cuts values to 32 bits, so a value beyond them is set directly.
  *var.v.val.integer = 4294967296L;
  try {
    AsnIntegerToS32(&var.v);
    ADD_FAILURE() << "no exception";
  } catch (const Kiv::RangeException& e) {
    EXPECT_EQ(e.message(), "INTEGER value 4294967296 out of range for S32");
  }

  // A GETNEXT hint's address part may be shorter or longer than an address.
  Var addr;
  EXPECT_THROW(AsnIpAddressToU32(&addr.v), Kiv::RangeException);
  for (size_t len : {3u, 5u}) {
    ASSERT_EQ(snmp_set_var_typed_value(&addr.v, ASN_OCTET_STR, "\x01\x02\x03\x04\x05", len), 0);
    EXPECT_THROW(AsnIpAddressToU32(&addr.v), Kiv::RangeException) << len;
  }
}

}  // namespace

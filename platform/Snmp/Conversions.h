// SPDX-License-Identifier: Apache-2.0
#pragma once
// Encoders from our value types to the bytes snmp_set_var_typed_value(var, type, buf, len)
// takes, and decoders for the values net-snmp hands us (GETNEXT index hints).
//
// An encoder is called as encoder(value, buf, capacity) and returns the number of bytes
// written (the len to pass on), or a negative number when it cannot encode the value or
// the buffer is missing or too small; on failure nothing in buf may be used.
//
// Integer-like types (INTEGER, Unsigned32/Gauge32, TimeTicks) are written as a native
// 4-byte int. net-snmp's snmp_set_var_value sign-extends a sizeof(int) value for
// ASN_INTEGER and zero-extends it for the unsigned types, which is exactly the 32-bit
// meaning of each type. A sizeof(long) value is copied as is instead, so a U32 above 2^31
// sent as ASN_INTEGER would leave Integer32's range; with 4 bytes it keeps its bit pattern.
#include <array>
#include <cstddef>
#include <tuple>
#include <type_traits>

#include "kiv/Types.h"
#include "platform/Snmp/NetSnmp.h"

namespace Snmp::detail {
// Writes a 32-bit value as the native int net-snmp reads for integer-like types.
S32 encodeInt32Bits(U32 bits, unsigned char* buf, S32 capacity);
S32 encodeOctets(const unsigned char* data, size_t size, unsigned char* buf, S32 capacity);
}  // namespace Snmp::detail

struct S32ToAsnIntegerF {
  S32 operator()(S32 value, unsigned char* buf, S32 capacity) const;
};
inline constexpr S32ToAsnIntegerF S32ToAsnInteger{};

// For ASN_UNSIGNED (Unsigned32, Gauge32), ASN_COUNTER and ASN_TIMETICKS.
struct U32ToAsnUnsignedF {
  S32 operator()(U32 value, unsigned char* buf, S32 capacity) const;
};
inline constexpr U32ToAsnUnsignedF U32ToAsnUnsigned{};

// TruthValue: true(1), false(2).
struct BoolToAsnIntegerF {
  S32 operator()(bool value, unsigned char* buf, S32 capacity) const;
};
inline constexpr BoolToAsnIntegerF BoolToAsnInteger{};

// Seconds to TimeTicks (hundredths of a second), rounded down. A product within
// floating-point error of a whole hundredth counts as that hundredth, so 0.29 s is 29
// ticks and not 28. Negative durations are 0; NaN and infinities cannot be encoded.
// Beyond 2^32-1 hundredths the value wraps modulo 2^32, as TimeTicks counters do.
struct SecondsToTimeTicksF {
  S32 operator()(double seconds, unsigned char* buf, S32 capacity) const;
};
inline constexpr SecondsToTimeTicksF SecondsToTimeTicks{};

struct StringToAsnOctetStringF {
  S32 operator()(const Kiv::String8& value, unsigned char* buf, S32 capacity) const;
};
inline constexpr StringToAsnOctetStringF StringToAsnOctetString{};

// A host-order IPv4 address to the four octets, network order, of an IpAddress or an
// InetAddress OCTET STRING.
struct U32ToAsnIpAddressF {
  S32 operator()(U32 hostOrder, unsigned char* buf, S32 capacity) const;
};
inline constexpr U32ToAsnIpAddressF U32ToAsnIpAddress{};

// Any address type with `U32 value()` in host order (Lirex::IpAddr).
struct LirexIpAddrToAsnOctetStringF {
  template <class IpAddr>
  S32 operator()(const IpAddr& addr, unsigned char* buf, S32 capacity) const {
    return U32ToAsnIpAddress(static_cast<U32>(addr.value()), buf, capacity);
  }
};
inline constexpr LirexIpAddrToAsnOctetStringF LirexIpAddrToAsnOctetString{};

// Any MAC address type whose bytes() is a 6-octet array (Lirex::EthAddr).
struct LirexEthAddrToAsnOctetStringF {
  template <class EthAddr>
  S32 operator()(const EthAddr& addr, unsigned char* buf, S32 capacity) const {
    const auto& bytes = addr.bytes();
    static_assert(std::tuple_size_v<std::remove_cvref_t<decltype(bytes)>> == 6,
                  "a MAC address has six octets");
    static_assert(sizeof(bytes[0]) == 1, "octets are single bytes");
    return Snmp::detail::encodeOctets(reinterpret_cast<const unsigned char*>(bytes.data()),
                                      bytes.size(), buf, capacity);
  }
};
inline constexpr LirexEthAddrToAsnOctetStringF LirexEthAddrToAsnOctetString{};

// The INTEGER in a varbind (*v->val.integer, a long) as an S32. A missing varbind or
// value, or a value outside S32, raises Kiv::RangeException.
S32 AsnIntegerToS32(const netsnmp_variable_list* v);

// The four octets of an IpAddress (or a 4-octet address index) as a host-order value.
// Raises Kiv::RangeException unless the varbind holds exactly four octets.
U32 AsnIpAddressToU32(const netsnmp_variable_list* v);

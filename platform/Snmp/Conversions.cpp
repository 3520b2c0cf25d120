// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/Conversions.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "kiv/Exception.h"

static_assert(sizeof(int) == 4 && sizeof(unsigned) == 4,
              "integer-like values are handed to net-snmp as a 4-byte int");

namespace Snmp::detail {

S32 encodeInt32Bits(U32 bits, unsigned char* buf, S32 capacity) {
  if (!buf || capacity < static_cast<S32>(sizeof(unsigned))) return -1;
  const unsigned native = bits;
  std::memcpy(buf, &native, sizeof native);
  return sizeof native;
}

S32 encodeOctets(const unsigned char* data, size_t size, unsigned char* buf, S32 capacity) {
  if (!buf || capacity < 0 || size > static_cast<size_t>(capacity)) return -1;
  if (size) std::memcpy(buf, data, size);
  return static_cast<S32>(size);
}

}  // namespace Snmp::detail

using Snmp::detail::encodeInt32Bits;

S32 S32ToAsnIntegerF::operator()(S32 value, unsigned char* buf, S32 capacity) const {
  return encodeInt32Bits(static_cast<U32>(value), buf, capacity);
}

S32 U32ToAsnUnsignedF::operator()(U32 value, unsigned char* buf, S32 capacity) const {
  return encodeInt32Bits(value, buf, capacity);
}

S32 BoolToAsnIntegerF::operator()(bool value, unsigned char* buf, S32 capacity) const {
  return encodeInt32Bits(value ? 1u : 2u, buf, capacity);
}

S32 SecondsToTimeTicksF::operator()(double seconds, unsigned char* buf, S32 capacity) const {
  if (!std::isfinite(seconds)) return -1;
  if (seconds <= 0) return encodeInt32Bits(0, buf, capacity);
  double hundredths = seconds * 100.0;
  // 0.29 * 100 is 28.999999999999996: snap products that miss a whole hundredth only by
  // the rounding of the multiplication (a few units in the last place) before flooring.
  const double nearest = std::round(hundredths);
  const double tolerance = 16 * std::numeric_limits<double>::epsilon() * std::max(1.0, nearest);
  hundredths = std::abs(hundredths - nearest) <= tolerance ? nearest : std::floor(hundredths);
  const double wrapped = std::fmod(hundredths, 4294967296.0);
  return encodeInt32Bits(static_cast<U32>(wrapped), buf, capacity);
}

S32 StringToAsnOctetStringF::operator()(const Kiv::String8& value, unsigned char* buf,
                                        S32 capacity) const {
  return Snmp::detail::encodeOctets(reinterpret_cast<const unsigned char*>(value.data()),
                                    value.size(), buf, capacity);
}

S32 U32ToAsnIpAddressF::operator()(U32 hostOrder, unsigned char* buf, S32 capacity) const {
  const unsigned char octets[4] = {
      static_cast<unsigned char>(hostOrder >> 24), static_cast<unsigned char>(hostOrder >> 16),
      static_cast<unsigned char>(hostOrder >> 8), static_cast<unsigned char>(hostOrder)};
  return Snmp::detail::encodeOctets(octets, sizeof octets, buf, capacity);
}

S32 AsnIntegerToS32(const netsnmp_variable_list* v) {
  if (!v || !v->val.integer || v->val_len == 0) {
    throw Kiv::RangeException("INTEGER value missing");
  }
  const long value = *v->val.integer;
  if (value < std::numeric_limits<S32>::min() || value > std::numeric_limits<S32>::max()) {
    throw Kiv::RangeException("INTEGER value " + std::to_string(value) + " out of range for S32");
  }
  return static_cast<S32>(value);
}

U32 AsnIpAddressToU32(const netsnmp_variable_list* v) {
  if (!v || !v->val.string) throw Kiv::RangeException("IpAddress value missing");
  if (v->val_len != 4) {
    throw Kiv::RangeException("IpAddress value has " + std::to_string(v->val_len) +
                              " octets, expected 4");
  }
  const unsigned char* o = v->val.string;
  return (U32{o[0]} << 24) | (U32{o[1]} << 16) | (U32{o[2]} << 8) | U32{o[3]};
}

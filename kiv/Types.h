// SPDX-License-Identifier: Apache-2.0
#pragma once
// Fixed-width integer names used across the product, and the framework string.
#include <cstdint>
#include <string>

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using S32 = std::int32_t;
using S64 = std::int64_t;

namespace Kiv {
using String8 = std::string;
}  // namespace Kiv

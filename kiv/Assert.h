// SPDX-License-Identifier: Apache-2.0
#pragma once
// Broken invariants stop the process: they are programming or deployment faults,
// never a reaction to input.
#include "kiv/Types.h"

namespace Kiv {
[[noreturn]] void assertionFailed(const char* condition, const String8& message, const char* file,
                                  int line, const char* function);
}  // namespace Kiv

#define KIV_ASSERT(cond, msg)                                                                   \
  do {                                                                                          \
    if (!(cond)) ::Kiv::assertionFailed(#cond, (msg), __FILE__, __LINE__, __PRETTY_FUNCTION__); \
  } while (0)

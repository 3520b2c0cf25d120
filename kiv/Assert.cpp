// SPDX-License-Identifier: Apache-2.0
#include "kiv/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Kiv {

void assertionFailed(const char* condition, const String8& message, const char* file, int line,
                     const char* function) {
  std::fprintf(stderr, "assertion failed: %s: %s (%s:%d, %s)\n", condition, message.c_str(), file,
               line, function);
  std::fflush(stderr);
  std::abort();
}

}  // namespace Kiv

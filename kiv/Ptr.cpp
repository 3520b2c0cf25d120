// SPDX-License-Identifier: Apache-2.0
#include "kiv/Ptr.h"

#include <cstdio>

namespace Kiv {

String8 ptrToStrep(const void* p) {
  if (!p) return "null";
  char buf[32];
  std::snprintf(buf, sizeof buf, "%p", p);
  return buf;
}

}  // namespace Kiv

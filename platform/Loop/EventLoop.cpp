// SPDX-License-Identifier: Apache-2.0
#include "platform/Loop/EventLoop.h"

#include <ctime>

namespace Loop {

double monotonicNow() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

}  // namespace Loop

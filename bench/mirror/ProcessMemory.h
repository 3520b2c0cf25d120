// SPDX-License-Identifier: Apache-2.0
#pragma once
// This process's memory as the kernel counts it (/proc/self/status), in KiB.
#include "kiv/Types.h"

namespace Bench {

struct ProcessMemory {
  U64 rssKiB = 0;  // VmRSS: resident now
  U64 hwmKiB = 0;  // VmHWM: the most that was ever resident
};

ProcessMemory processMemory();
// Resident memory once the allocator has handed back what it holds free, so that what is
// left is what the process really keeps.
ProcessMemory settledProcessMemory();

}  // namespace Bench

// SPDX-License-Identifier: Apache-2.0
#include "bench/mirror/ProcessMemory.h"

#include <malloc.h>

#include <cstdio>
#include <cstring>

namespace Bench {

ProcessMemory processMemory() {
  ProcessMemory m;
  std::FILE* f = std::fopen("/proc/self/status", "r");
  if (!f) return m;
  char line[256];
  while (std::fgets(line, sizeof line, f)) {
    unsigned long long kib = 0;
    if (std::sscanf(line, "VmRSS: %llu kB", &kib) == 1) m.rssKiB = kib;
    if (std::sscanf(line, "VmHWM: %llu kB", &kib) == 1) m.hwmKiB = kib;
  }
  std::fclose(f);
  return m;
}

ProcessMemory settledProcessMemory() {
  malloc_trim(0);
  return processMemory();
}

}  // namespace Bench

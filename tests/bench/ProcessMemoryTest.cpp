#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "bench/mirror/ProcessMemory.h"

namespace {

TEST(ProcessMemoryTest, FollowsMemoryThatIsTouchedAndReleased) {
  const Bench::ProcessMemory before = Bench::settledProcessMemory();
  ASSERT_GT(before.rssKiB, 0u);
  ASSERT_GE(before.hwmKiB, before.rssKiB);
  constexpr size_t kBytes = 64 << 20;
  {
    auto block = std::make_unique<char[]>(kBytes);
    std::memset(block.get(), 1, kBytes);
    const Bench::ProcessMemory during = Bench::processMemory();
    EXPECT_GE(during.rssKiB, before.rssKiB + (kBytes >> 10) * 9 / 10);
  }
  const Bench::ProcessMemory after = Bench::settledProcessMemory();
  // Released memory leaves the resident set; the high-water mark remembers it.
  EXPECT_LT(after.rssKiB, before.rssKiB + (kBytes >> 10) / 2);
  EXPECT_GE(after.hwmKiB, before.rssKiB + (kBytes >> 10) * 9 / 10);
}

}  // namespace

#include "tests/integration/Wait.h"

#include <thread>

#include "tests/integration/TempDir.h"

namespace Harness {

bool waitUntil(const std::function<bool()>& condition, Millis timeout, Millis interval) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(interval);
  }
  return condition();
}

bool waitForFileLine(const std::filesystem::path& path, const std::string& substring,
                     Millis timeout) {
  return waitUntil([&] { return readFile(path).find(substring) != std::string::npos; }, timeout);
}

}  // namespace Harness

#pragma once
// Polling waits: a loaded 2-core CI machine makes any fixed sleep either too short or wasteful.
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

namespace Harness {

using Millis = std::chrono::milliseconds;

// Calls `condition` until it returns true (then true) or `timeout` has passed (then false;
// `condition` is always tried once more at the deadline).
bool waitUntil(const std::function<bool()>& condition, Millis timeout,
               Millis interval = Millis(20));

// Waits until a line of the file contains `substring` (the file may not exist yet).
bool waitForFileLine(const std::filesystem::path& path, const std::string& substring,
                     Millis timeout);

}  // namespace Harness

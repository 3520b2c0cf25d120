// SPDX-License-Identifier: Apache-2.0
// Replays every input saved for a fuzz target, the inputs that once crashed it
// (fuzz/regressions/<target>/) and its seed corpus (fuzz/corpus/<target>/), through the very
// function the target runs. A defect aborts the process as it did under the fuzzer; the name
// of the input being replayed is on stderr just before.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/Inputs.h"

namespace {

namespace fs = std::filesystem;

struct Target {
  const char* name;
  void (*run)(std::string_view);
};

// The inputs under folder/<target>, in name order; returns how many there were.
std::size_t replay(const Target& target, const char* folder) {
  const fs::path dir = fs::path(FHRP_FUZZ_DIR) / folder / target.name;
  std::vector<fs::path> files;
  if (fs::is_directory(dir)) {
    for (const auto& entry : fs::directory_iterator(dir)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    std::cerr << "replaying " << file.string() << std::endl;
    std::ifstream in(file, std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    target.run(input);
  }
  return files.size();
}

// Names the target in test listings instead of dumping its bytes.
void PrintTo(const Target& target, std::ostream* os) {
  *os << target.name;
}

class Replay : public testing::TestWithParam<Target> {};

TEST_P(Replay, CrashInputsStayFixed) {
  replay(GetParam(), "regressions");
}

// The seeds are the valid inputs each target starts from; they must never stop passing.
TEST_P(Replay, SeedCorpusPasses) {
  EXPECT_GT(replay(GetParam(), "corpus"), 0u) << "no seed corpus for " << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Replay,
                         testing::Values(Target{"fuzz_advert", FhrpFuzz::advert},
                                         Target{"fuzz_keys", FhrpFuzz::keys},
                                         Target{"fuzz_snmp_request", FhrpFuzz::snmpRequest},
                                         Target{"fuzz_state_document", FhrpFuzz::stateDocument},
                                         Target{"fuzz_vrrpd_reply", FhrpFuzz::vrrpdReply},
                                         Target{"fuzz_netlink", FhrpFuzz::netlink}),
                         [](const testing::TestParamInfo<Target>& info) {
                           return std::string(info.param.name);
                         });

}  // namespace

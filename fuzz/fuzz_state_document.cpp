// SPDX-License-Identifier: Apache-2.0
// libFuzzer entry; the work is FhrpFuzz::stateDocument, shared with the regression test.
#include "fuzz/Inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FhrpFuzz::stateDocument(FhrpFuzz::asText(data, size));
  return 0;
}

// SPDX-License-Identifier: Apache-2.0
#pragma once
// The trace handle of the state tree's publishers: level 0 for rejected documents, level 1 for
// each document applied.
#include "kiv/Trace.h"

namespace Zentra {

inline const Kiv::TraceHandle& zentraTrace() {
  static const Kiv::TraceHandle& handle = Kiv::traceHandle("Zentra");
  return handle;
}

}  // namespace Zentra

// SPDX-License-Identifier: Apache-2.0
#pragma once
// What the operator must do when vrrpd's vty socket cannot be reached for a reason that waiting
// will not mend. A missing group membership or a wrong directory otherwise shows only as "vrrpd
// does not answer", which reads like a vrrpd that is down, and every router reads initialize
// for good.
#include "kiv/Types.h"

namespace Sources {

// Where FRR keeps its daemons' vty sockets unless told otherwise.
constexpr const char* kFrrVtyDirectory = "/var/run/frr";

// The advice for connecting to `socketPath` as this process failed with `error` (an errno):
// for permission, the group to add this process's user to (the socket's owner group) and that
// the program must start again to be in it; for a directory that does not exist or is none,
// the setting that names it and FRR's default. Empty when waiting may mend it (vrrpd not
// running yet, or restarting).
Kiv::String8 vtyAdvice(const Kiv::String8& socketPath, int error);
// The same for the socket as it is now, tried as this process (its effective user and groups).
Kiv::String8 vtyAdvice(const Kiv::String8& socketPath);

}  // namespace Sources

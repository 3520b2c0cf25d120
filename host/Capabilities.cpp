// SPDX-License-Identifier: Apache-2.0
#include "host/Capabilities.h"

#include <sys/capability.h>

#include <cerrno>
#include <cstring>

#include "kiv/Types.h"
#include "platform/Log.h"

namespace Host {

void dropNetRaw(const char* why) {
  cap_t caps = cap_get_proc();
  if (!caps) return Log::warning(Kiv::String8("cannot read capabilities: ") + std::strerror(errno));
  Kiv::String8 sets;
  auto held = [&](const char* name, bool in) {
    if (in) sets += (sets.empty() ? "" : ", ") + Kiv::String8(name);
  };
  cap_value_t raw = CAP_NET_RAW;
  cap_flag_value_t effective = CAP_CLEAR, permitted = CAP_CLEAR;
  cap_get_flag(caps, raw, CAP_EFFECTIVE, &effective);
  cap_get_flag(caps, raw, CAP_PERMITTED, &permitted);
  const bool ambient = cap_get_ambient(raw) == 1;
  held("effective", effective == CAP_SET);
  held("permitted", permitted == CAP_SET);
  held("ambient", ambient);
  if (sets.empty()) {
    cap_free(caps);
    return;
  }
  // The bounding set first: dropping from it takes CAP_SETPCAP, not CAP_NET_RAW.
  held("bounding", cap_get_bound(raw) == 1 && cap_drop_bound(raw) == 0);
  // The kernel lowers the ambient set with the permitted one.
  for (cap_flag_t set : {CAP_EFFECTIVE, CAP_PERMITTED, CAP_INHERITABLE}) {
    cap_set_flag(caps, set, 1, &raw, CAP_CLEAR);
  }
  const bool dropped = cap_set_proc(caps) == 0;
  const int error = errno;
  cap_free(caps);
  if (!dropped) {
    return Log::warning(Kiv::String8("cannot drop CAP_NET_RAW: ") + std::strerror(error));
  }
  Log::info("dropped CAP_NET_RAW (" + sets + "): " + why);
}

}  // namespace Host

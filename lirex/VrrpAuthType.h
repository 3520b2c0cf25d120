// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRP authentication type, numbered as on the wire and in the MIB. The underlying type is
// int so that an out-of-range number read from elsewhere can still be held (and rejected).
#include <ostream>
#include <string_view>

#include "kiv/Types.h"
#include "lirex/Strep.h"

namespace Lirex {

enum class VrrpAuthType : int {
  noAuthentication = 0,
  simpleTextPassword = 1,
  ipAuthenticationHeader = 2,
};

bool isValid(VrrpAuthType type);
// The enumerator name; an out-of-range value gives VrrpAuthType(<number>), which does not
// parse back.
Kiv::String8 valueToStrep(VrrpAuthType type);
std::ostream& operator<<(std::ostream& os, VrrpAuthType type);
// Throws Kiv::RangeException for any text but an enumerator name.
VrrpAuthType vrrpAuthTypeFromString(std::string_view name);
template <>
VrrpAuthType strepToValue<VrrpAuthType>(const Kiv::String8& text);
// Reads the run of letters at pos, then requires it to be an enumerator name.
template <>
VrrpAuthType strepToValue<VrrpAuthType>(StrepIter& pos, StrepIter end);

}  // namespace Lirex

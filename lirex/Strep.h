// SPDX-License-Identifier: Apache-2.0
#pragma once
// The text form ("strep") of a value: each value type declares valueToStrep and explicit
// specialisations of these two parsers next to its definition.
#include "kiv/Types.h"

namespace Lirex {

using StrepIter = Kiv::String8::const_iterator;

// The whole text must be exactly one value, without surrounding white space.
template <class T>
T strepToValue(const Kiv::String8& text);

// Skips white space, reads one value and leaves `pos` right behind it.
template <class T>
T strepToValue(StrepIter& pos, StrepIter end);

}  // namespace Lirex

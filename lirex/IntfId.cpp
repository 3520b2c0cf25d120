// SPDX-License-Identifier: Apache-2.0
#include "lirex/IntfId.h"

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace Lirex {

std::ostream& operator<<(std::ostream& os, const IntfId& id) {
  return os << id.name();
}

Kiv::String8 valueToStrep(const IntfId& id) {
  return Kiv::quoteString(id.name());
}

template <>
IntfId strepToValue<IntfId>(StrepIter& pos, StrepIter end) {
  Kiv::TokenReader reader(pos, end);
  return IntfId(reader.readQuoted());
}

template <>
IntfId strepToValue<IntfId>(const Kiv::String8& text) {
  StrepIter pos = text.begin();
  Kiv::TokenReader reader(pos, text.end(), text.begin());
  try {
    if (pos != text.end() && Kiv::isWhiteSpace(*pos)) reader.fail("unexpected white space");
    IntfId id(reader.readQuoted());
    if (pos != text.end()) reader.fail("unexpected text after the name");
    return id;
  } catch (const Kiv::RangeException& e) {
    // Double quotes, since the text itself is meant to be single-quoted.
    throw Kiv::RangeException("bad interface name \"" + text + "\": " + e.message());
  }
}

}  // namespace Lirex

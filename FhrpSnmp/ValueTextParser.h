// SPDX-License-Identifier: Apache-2.0
#pragma once
// The reader shared by the text forms of this folder's value keys:
//   Value('FhrpSnmp::<type>', ** {'name': value, ...})
// Only the key types' source files include it.
#include <cstdio>

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace FhrpSnmp::detail {

using StrepIter = Kiv::String8::const_iterator;

// Hands each attribute name to readAttribute(name, reader, pos, end), which reads the
// value and returns false for a name it does not know. A range error from a value is
// re-raised naming the attribute.
template <class ReadAttribute>
void parseValue(StrepIter& pos, StrepIter end, const char* type, ReadAttribute readAttribute) {
  Kiv::TokenReader in(pos, end);
  in.expect("Value");
  in.expect("(");
  in.expect(Kiv::String8("'FhrpSnmp::") + type + "'");
  in.expect(",");
  in.expect("**");
  in.expect("{");
  for (bool first = true;; first = false) {
    in.skipWhiteSpace();
    if (in.atEnd()) throw Kiv::RangeException(Kiv::String8("premature end of value type ") + type);
    if (in.peek() == '}') {
      in.expect("} ");
      in.expect(") ");
      return;
    }
    if (!first) in.expect(", ");
    Kiv::String8 name = in.readQuoted();
    in.expect(" : ");
    bool known;
    try {
      known = readAttribute(name, in, pos, end);
    } catch (const Kiv::RangeException& e) {
      throw Kiv::RangeException("bad value for attribute " + name + " of " + type + ": " +
                                e.message());
    }
    if (!known) throw Kiv::RangeException(Kiv::String8(type) + " has no such attribute: " + name);
  }
}

// Parses a whole text with T's parsing constructor; anything left over is an error.
template <class T>
T parseWhole(const Kiv::String8& text) {
  StrepIter pos = text.begin();
  T value(pos, text.end());
  if (pos != text.end()) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "junk at column %lld deserializing ",
                  static_cast<long long>(pos - text.begin()));
    throw Kiv::RangeException(buf + text);
  }
  return value;
}

}  // namespace FhrpSnmp::detail

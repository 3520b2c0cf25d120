#pragma once
// Strict JSON (RFC 8259) for documents that may be half-written, garbage, huge or hostile at
// any moment. Every fault in the input is a ParseError that says where it is; sizes and
// nesting are bounded by Limits and nothing recurses on the input, so no document can crash
// the reader or make it allocate without bound.
#include <cstddef>
#include <string_view>

#include "kiv/Exception.h"
#include "kiv/Types.h"
#include "zentra/JsonPath.h"

namespace Zentra::Json {

struct Limits {
  // Arrays and objects open at once.
  std::size_t maxDepth = 64;
  std::size_t maxDocumentBytes = 16 * 1024 * 1024;
  // A string or key once escapes are decoded; also the written length of a number.
  std::size_t maxStringBytes = 64 * 1024;
};

// what() reads e.g. "line 3, column 17 (at $.vrrpStatus.Ethernet1): expected ',' or '}'".
// Columns count characters, not bytes, from 1; a tab is one column.
class ParseError : public Kiv::RangeException {
 public:
  ParseError(std::size_t line, std::size_t column, Kiv::String8 path, Kiv::String8 reason);

  std::size_t line() const { return line_; }
  std::size_t column() const { return column_; }
  // Where parsing was when it failed, written as Path writes it.
  const Kiv::String8& path() const { return path_; }
  // The message without its position.
  const Kiv::String8& reason() const { return reason_; }

 private:
  std::size_t line_;
  std::size_t column_;
  Kiv::String8 path_;
  Kiv::String8 reason_;
};

// Throws the ParseError for the first fault in `text`, which must be one value, optionally
// preceded by a UTF-8 byte order mark and surrounded by JSON whitespace, and must not repeat a
// key within an object. Readers that stop at the first wrong value use it to tell whether the
// text was JSON at all.
void check(std::string_view text, const Limits& limits = {});

}  // namespace Zentra::Json

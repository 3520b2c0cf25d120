#pragma once
// Reads JSON text one value at a time, in document order, without building a tree: the caller
// asks what comes next and takes it, so a document becomes its final form in one pass. The
// grammar is strict RFC 8259 and every fault is a ParseError that says where it is; nesting
// is kept on a heap stack bounded by Limits::maxDepth, so no input can exhaust the machine
// stack.
//
// Keys and strings come back as views into the text when they hold no escapes, otherwise into
// one buffer that the next key or string overwrites. Duplicate keys are the caller's to find
// (it knows its keys best; Json::check finds them for any document) and to report through
// duplicateKey().
#include <cstddef>
#include <string_view>
#include <vector>

#include "kiv/Types.h"
#include "zentra/Json.h"

namespace Zentra::Json {

class Cursor {
 public:
  enum class Kind { Null, Boolean, Number, String, Array, Object };

  struct Number {
    std::string_view text;  // exactly as written, e.g. "-0", "1.50", "2E+3"
    double value;           // nearest double; too small for a double reads as zero of its sign
    // Written without fraction or exponent: "5.0" and "1e3" are not integers.
    bool isInteger() const { return text.find_first_of(".eE") == std::string_view::npos; }
  };

  // Checks the size limit and skips a byte order mark and white space.
  Cursor(std::string_view text, const Limits& limits);

  // What the value here is; fails where no value starts, or at a misspelt literal.
  Kind peek();
  // Each takes the value peek() announced.
  bool readBool();
  void readNull();
  Number readNumber();
  std::string_view readString();

  // Opens the object (array) here. nextMember (nextElement) then moves to its first or next
  // member (element), leaving the cursor at its value, or closes it and returns false.
  void enterObject();
  bool nextMember(std::string_view& key);
  void enterArray();
  bool nextElement();

  // After the top-level value: only white space may follow.
  void finish();

  // Reports the key just read by nextMember as repeating an earlier key of its object.
  [[noreturn]] void duplicateKey() const;
  // Where the cursor is, written as Path writes it: the members and elements it is inside.
  Kiv::String8 path() const;

 private:
  struct Frame {
    bool isObject;
    // At a member's value or an element: errors belong to it rather than to the container.
    bool inside = false;
    std::size_t key = 0;    // where the current member's key starts in the text
    std::size_t index = 0;  // of the current element; members and elements so far
  };

  bool atEnd() const { return pos_ >= text_.size(); }
  char peekChar() const { return pos_ < text_.size() ? text_[pos_] : '\0'; }
  void skipSpace();
  // The character at `at` as an error message names it.
  Kiv::String8 found(std::size_t at) const;
  Kiv::String8 found() const { return found(pos_); }
  [[noreturn]] void fail(std::size_t at, const Kiv::String8& reason, std::size_t frames) const;
  [[noreturn]] void fail(std::size_t at, const Kiv::String8& reason) const {
    fail(at, reason, open_.size());
  }
  Kiv::String8 pathOf(std::size_t frames) const;

  void enter(bool isObject);
  // After a member or element: true when another follows, false once the container is closed.
  bool next(Frame& frame, char close);
  // Decodes the string starting at `at` into a view of the text or of `buffer`; returns where
  // the string ends.
  std::size_t string(std::size_t at, Kiv::String8& buffer, std::string_view& out) const;
  // Appends the character that the escape at `at` stands for; returns where the escape ends.
  std::size_t escape(std::size_t at, Kiv::String8& out, std::size_t stringStart) const;
  U32 hex4(std::size_t at, std::size_t escapeStart) const;
  void checkLength(std::size_t length, std::size_t stringStart) const;

  std::string_view text_;
  Limits limits_;
  std::size_t begin_ = 0;  // past the byte order mark, where line 1 column 1 is
  std::size_t pos_ = 0;
  std::vector<Frame> open_;
  Kiv::String8 buffer_;    // the last key or string that had escapes
  bool colonDue_ = false;  // a key has been read but not the colon after it
};

}  // namespace Zentra::Json

// SPDX-License-Identifier: Apache-2.0
#pragma once
// JSON text read through simdjson's On-Demand API, for readers that know the shape they expect
// and take each value as they pass it. It adds what a document that may be half-written,
// garbage or hostile needs and simdjson leaves to its user: where a fault is (the line, the
// column and the JSON path), the size and depth limits, and "syntax wins": a wrong value is
// reported only for text that is JSON throughout, so a half-written document says so wherever
// its first wrong value was.
//
// simdjson reports faults as error codes; nothing here lets one of its exceptions out. Every
// fault leaves as a StateDocumentError.
#include <simdjson.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/Types.h"
#include "zentra/StateDocument.h"

namespace Zentra::Json {

using Value = simdjson::ondemand::value;
using Type = simdjson::ondemand::json_type;

class Reader {
 public:
  // Checks the size limit; the text is copied into simdjson's padded buffer.
  Reader(std::string_view text, const Limits& limits);

  // The top-level value, which must be an object; then finish() once it has been read.
  Value root();
  void finish();

  // The value's type; a value of another type than `expected` is a wrong value ("expected
  // `what`, got a string").
  Type type(Value& value);
  void expect(Value& value, Type expected, const char* what);

  // Calls each(key, value) for every member of the object `value`, in document order, with
  // the key on the path while it runs.
  template <class F>
  void members(Value& value, F&& each) {
    auto object = value.get_object();
    if (object.error() == simdjson::INCORRECT_TYPE) expect(value, Type::object, "an object");
    enter();
    for (auto member : ok(std::move(object))) {
      simdjson::ondemand::field field = ok(std::move(member));
      const std::string_view key = checkLength(ok(field.unescaped_key()));
      path_.push_back({key});
      each(key, field.value());
      path_.pop_back();
    }
    --depth_;
  }
  std::string_view string(Value& value);
  bool boolean(Value& value);
  // A number and its text as written, e.g. "1.50".
  double number(Value& value, std::string_view& text);
  // A number written as an integer in min..max.
  U32 integer(Value& value, U32 min, U32 max);
  // A counter: an integer written with digits only, 0..2^64-1.
  U64 counter(Value& value);

  // A wrong value at the current path; a repeated key, a fault in the text.
  [[noreturn]] void fail(const Kiv::String8& reason);
  [[noreturn]] void duplicateKey(std::string_view key);

 private:
  template <class T>
  T ok(simdjson::simdjson_result<T>&& result) {
    if (result.error() != simdjson::SUCCESS) syntaxError(result.error());
    return std::move(result).value_unsafe();
  }
  [[noreturn]] void syntaxError(simdjson::error_code code);
  [[noreturn]] void syntaxError(Kiv::String8 why, bool atEnd = false);
  void enter();
  std::string_view checkLength(std::string_view text);
  Kiv::String8 path() const;
  // Walks the whole text again, throwing its first syntax fault.
  void validate();
  template <class V>
  void validate(V& value);

  std::string_view text_;
  Limits limits_;
  // Kept per thread from one document to the next: the buffers of a document's size are
  // allocated and faulted in once, not for every document.
  simdjson::ondemand::parser& parser_;
  std::string& buffer_;  // the text, with simdjson's padding behind it
  simdjson::padded_string_view padded_;
  simdjson::ondemand::document document_;
  bool started_ = false;  // document_ is iterating padded_
  // Where the reading is: the members' keys, or an element's index.
  struct Step {
    std::string_view key;
    std::size_t index = 0;
    bool isIndex = false;
  };
  std::vector<Step> path_;
  std::size_t depth_ = 0;
};

// `text` as a JSON string literal, quoted and escaped, so that odd keys print unambiguously.
Kiv::String8 quote(std::string_view text);

}  // namespace Zentra::Json

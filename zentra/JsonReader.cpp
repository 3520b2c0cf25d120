// SPDX-License-Identifier: Apache-2.0
#include "zentra/JsonReader.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Zentra::Json {

namespace {

using Kiv::String8;

const char* withArticle(Type type) {
  switch (type) {
    case Type::null:
      return "null";
    case Type::boolean:
      return "a boolean";
    case Type::number:
      return "a number";
    case Type::string:
      return "a string";
    case Type::array:
      return "an array";
    case Type::object:
      return "an object";
  }
  return "an unknown value";
}

// simdjson's own texts name its internals ("tape", "atom"); these name the fault in the text.
String8 reason(simdjson::error_code code) {
  using namespace simdjson;
  switch (code) {
    case EMPTY:
      return "expected a value, found end of document";
    case INCOMPLETE_ARRAY_OR_OBJECT:
      return "the document ends before its arrays and objects are closed";
    case TAPE_ERROR:
    case INCORRECT_TYPE:
      return "expected a value, or a ',', ':', ']' or '}' where one is missing or misplaced";
    case UNCLOSED_STRING:
      return "unterminated string";
    case UTF8_ERROR:
      return "invalid UTF-8";
    case STRING_ERROR:
      return "invalid escape or unpaired UTF-16 surrogate in a string";
    case UNESCAPED_CHARS:
      return "a control character must be escaped in a string";
    case T_ATOM_ERROR:
    case F_ATOM_ERROR:
    case N_ATOM_ERROR:
      return "unknown literal, expected true, false or null";
    case NUMBER_ERROR:
      return "malformed number";
    case NUMBER_OUT_OF_RANGE:
      return "number is out of range";
    case TRAILING_CONTENT:
      return "more text after the document's value";
    default:
      return error_message(code);
  }
}

bool isIdentifier(std::string_view key) {
  if (key.empty() || (key[0] >= '0' && key[0] <= '9')) return false;
  return std::all_of(key.begin(), key.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
}

}  // namespace

namespace {

simdjson::ondemand::parser& threadParser() {
  static thread_local simdjson::ondemand::parser parser;
  return parser;
}

std::string& threadBuffer() {
  static thread_local std::string buffer;
  return buffer;
}

}  // namespace

Reader::Reader(std::string_view text, const Limits& limits)
    : text_(text), limits_(limits), parser_(threadParser()), buffer_(threadBuffer()) {
  if (text.size() > limits.maxDocumentBytes) {
    syntaxError("document of " + std::to_string(text.size()) + " bytes exceeds the size limit of " +
                std::to_string(limits.maxDocumentBytes) + " bytes");
  }
  if (text_.starts_with("\xEF\xBB\xBF")) text_.remove_prefix(3);  // a byte order mark
  buffer_.reserve(text_.size() + simdjson::SIMDJSON_PADDING);
  buffer_.assign(text_);
  padded_ = simdjson::padded_string_view(buffer_.data(), buffer_.size(), buffer_.capacity());
  path_.reserve(8);
}

Value Reader::root() {
  document_ = ok(parser_.iterate(padded_));
  started_ = true;
  const Type found = ok(document_.type());
  if (found != Type::object) fail(String8("expected an object, got ") + withArticle(found));
  return ok(document_.get_value());
}

void Reader::finish() {
  // Past the last token there is no location to give.
  if (document_.current_location().error() != simdjson::OUT_OF_BOUNDS) {
    syntaxError(simdjson::TRAILING_CONTENT);
  }
}

Type Reader::type(Value& value) {
  return ok(value.type());
}

void Reader::expect(Value& value, Type expected, const char* what) {
  const Type found = type(value);
  if (found != expected) fail(String8("expected ") + what + ", got " + withArticle(found));
}

// Each reads first and asks for the type only to report a wrong one.
std::string_view Reader::string(Value& value) {
  auto result = value.get_string();
  if (result.error() == simdjson::INCORRECT_TYPE) expect(value, Type::string, "a string");
  return checkLength(ok(std::move(result)));
}

bool Reader::boolean(Value& value) {
  auto result = value.get_bool();
  if (result.error() == simdjson::INCORRECT_TYPE) expect(value, Type::boolean, "true or false");
  return ok(std::move(result));
}

double Reader::number(Value& value, std::string_view& text) {
  expect(value, Type::number, "a number");
  text = value.raw_json_token();  // up to the next token, white space included
  while (!text.empty() && std::strchr(" \t\r\n", text.back()) != nullptr) text.remove_suffix(1);
  return ok(value.get_double());
}

U64 Reader::counter(Value& value) {
  const auto n = value.get_uint64();
  if (n.error() == simdjson::SUCCESS) return n.value_unsafe();
  expect(value, Type::number, "a counter");
  std::string_view text;
  number(value, text);
  fail("expected a counter (an integer 0..18446744073709551615), got " + String8(text));
}

U32 Reader::integer(Value& value, U32 min, U32 max) {
  // The common case without the number's text.
  const auto fast = value.get_uint64();
  if (fast.error() == simdjson::SUCCESS) {
    // Read: the value is behind the cursor now, and plain digits are its text.
    const std::uint64_t n = fast.value_unsafe();
    if (n < min || n > max) {
      fail(std::to_string(n) + " is out of range " + std::to_string(min) + ".." +
           std::to_string(max));
    }
    return static_cast<U32>(n);
  }
  expect(value, Type::number, "an integer");
  std::string_view text;
  const double number = this->number(value, text);
  if (text.find_first_of(".eE") != std::string_view::npos) {
    fail("expected an integer, got " + String8(text));
  }
  // Exact: doubles hold every integer up to 2^53, and longer ones are out of range anyway.
  if (number < min || number > max) {
    fail(String8(text) + " is out of range " + std::to_string(min) + ".." + std::to_string(max));
  }
  return static_cast<U32>(number);  // -0
}

void Reader::enter() {
  if (++depth_ > limits_.maxDepth) {
    syntaxError("nesting exceeds the depth limit of " + std::to_string(limits_.maxDepth));
  }
}

std::string_view Reader::checkLength(std::string_view text) {
  if (text.size() > limits_.maxStringBytes) {
    syntaxError("string longer than the length limit of " + std::to_string(limits_.maxStringBytes) +
                " bytes");
  }
  return text;
}

String8 Reader::path() const {
  // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) on "[" + text + "]".
  String8 out = "$";
  for (const Step& step : path_) {
    if (!step.isIndex && isIdentifier(step.key)) {
      out += '.';
      out += step.key;
      continue;
    }
    out += '[';
    out += step.isIndex ? std::to_string(step.index) : quote(step.key);
    out += ']';
  }
  return out;
}

void Reader::fail(const String8& reason) {
  StateDocumentError error(path(), reason);
  validate();
  throw error;
}

void Reader::duplicateKey(std::string_view key) {
  syntaxError("duplicate key " + quote(key));
}

void Reader::syntaxError(simdjson::error_code code) {
  if (code == simdjson::DEPTH_ERROR) enter();  // simdjson's own limit is far above ours
  syntaxError(reason(code),
              code == simdjson::UNCLOSED_STRING || code == simdjson::INCOMPLETE_ARRAY_OR_OBJECT);
}

void Reader::syntaxError(String8 why, bool atEnd) {
  // Where simdjson stopped. Faults it finds before it hands out the document are at the start
  // (garbage) or, for a string or container left open, at the end; past the last token is the end.
  std::size_t at = atEnd ? text_.size() : 0;
  // simdjson checks the quotes of the whole text first, so a text that is not JSON from its first
  // byte would be reported as an unterminated string at its end: name the first byte instead.
  const std::size_t first = text_.find_first_not_of(" \t\r\n");
  if (!started_ && atEnd && first != std::string_view::npos &&
      std::string_view("{[\"-0123456789tfn").find(text_[first]) == std::string_view::npos) {
    at = first;
    why = "unexpected character";
  } else if (started_) {
    const auto location = document_.current_location();
    if (location.error() == simdjson::SUCCESS) {
      at = static_cast<std::size_t>(location.value_unsafe() - padded_.data());
    } else if (location.error() == simdjson::OUT_OF_BOUNDS) {
      at = text_.size();
    }
  }
  at = std::min(at, text_.size());
  const std::size_t lineStart = text_.rfind('\n', at == 0 ? 0 : at - 1);
  const std::size_t from = at == 0 || lineStart == std::string_view::npos ? 0 : lineStart + 1;
  const auto line = 1 + std::count(text_.begin(), text_.begin() + static_cast<long>(from), '\n');
  // Columns count characters: every byte but UTF-8 continuation bytes.
  const auto column = 1 + std::count_if(text_.begin() + static_cast<long>(from),
                                        text_.begin() + static_cast<long>(at),
                                        [](char c) { return (c & 0xC0) != 0x80; });
  throw StateDocumentError(static_cast<std::size_t>(line), static_cast<std::size_t>(column), path(),
                           why);
}

void Reader::validate() {
  path_.clear();
  depth_ = 0;
  started_ = false;
  document_ = ok(parser_.iterate(padded_));
  started_ = true;
  validate(document_);
  finish();
}

// Recursion is bounded by the depth limit.
template <class V>
void Reader::validate(V& value) {
  switch (ok(value.type())) {
    case Type::object:
      enter();
      for (auto member : ok(value.get_object())) {
        simdjson::ondemand::field field = ok(std::move(member));
        path_.push_back({checkLength(ok(field.unescaped_key()))});
        Value inner = field.value();
        validate(inner);
        path_.pop_back();
      }
      --depth_;
      break;
    case Type::array: {
      enter();
      std::size_t index = 0;
      for (auto element : ok(value.get_array())) {
        Value inner = ok(std::move(element));
        path_.push_back({{}, index++, true});
        validate(inner);
        path_.pop_back();
      }
      --depth_;
      break;
    }
    case Type::string:
      checkLength(ok(value.get_string()));
      break;
    case Type::number:
      ok(value.get_double());
      break;
    case Type::boolean:
      ok(value.get_bool());
      break;
    case Type::null:
      if (!ok(value.is_null())) syntaxError(simdjson::N_ATOM_ERROR);
      break;
  }
}

String8 quote(std::string_view text) {
  String8 out = "\"";
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  out += '"';
  return out;
}

}  // namespace Zentra::Json

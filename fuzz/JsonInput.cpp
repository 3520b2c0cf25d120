#include <algorithm>

#include "fuzz/Inputs.h"
#include "kiv/Assert.h"
#include "zentra/Json.h"

namespace FhrpFuzz {
namespace {

using Zentra::Json::Limits;
using Zentra::Json::ParseError;
using Zentra::Json::Value;

// Small enough that fuzzed input reaches every limit within a few hundred bytes.
constexpr Limits kSmall{.maxDepth = 3, .maxDocumentBytes = 512, .maxStringBytes = 16};

// Writes a value back as JSON: the parser's own quoting for strings and each number's source
// text, so that reading the result must give the same tree.
void write(const Value& v, Kiv::String8& out) {
  switch (v.type()) {
    case Value::Type::Null:
      out += "null";
      return;
    case Value::Type::Boolean:
      out += v.asBool() ? "true" : "false";
      return;
    case Value::Type::Number:
      out += v.numberText();
      return;
    case Value::Type::String:
      out += Zentra::Json::quote(v.asString());
      return;
    case Value::Type::Array: {
      out += '[';
      const char* comma = "";
      for (const Value& e : v.elements()) {
        out += comma;
        write(e, out);
        comma = ",";
      }
      out += ']';
      return;
    }
    case Value::Type::Object: {
      out += '{';
      const char* comma = "";
      for (const Zentra::Json::Member& m : v.members()) {
        out += comma;
        out += Zentra::Json::quote(m.key);
        out += ':';
        write(m.value, out);
        comma = ",";
      }
      out += '}';
      return;
    }
  }
}

Kiv::String8 written(const Value& v) {
  Kiv::String8 out;
  write(v, out);
  return out;
}

// What a reader of the tree may rely on, whatever the document was.
void checkValue(const Value& v) {
  switch (v.type()) {
    case Value::Type::Number: {
      (void)v.asDouble();
      if (v.isInteger()) {
        try {
          (void)v.asInt64();
        } catch (const Kiv::RangeException&) {
          // Out of the 64-bit range: refused, as documented.
        }
      }
      break;
    }
    case Value::Type::Array:
      for (const Value& e : v.elements()) checkValue(e);
      break;
    case Value::Type::Object:
      for (const Zentra::Json::Member& m : v.members()) {
        KIV_ASSERT(v.find(m.key) == &m.value, "lookup of key " + m.key + " misses its member");
        checkValue(m.value);
      }
      break;
    default:
      break;
  }
}

void checkError(const ParseError& e, std::string_view text) {
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  KIV_ASSERT(e.line() >= 1 && e.line() <= lines, "error line out of the text: " + e.message());
  KIV_ASSERT(e.column() >= 1 && e.column() <= text.size() + 1,
             "error column out of the text: " + e.message());
  KIV_ASSERT(e.path().starts_with("$"), "error path does not start at the root: " + e.message());
}

}  // namespace

void json(std::string_view input) {
  Value small;
  bool smallOk = true;
  try {
    small = Zentra::Json::parse(input, kSmall);
  } catch (const ParseError& e) {
    checkError(e, input);
    smallOk = false;
  }

  Value full;
  try {
    full = Zentra::Json::parse(input);
  } catch (const ParseError& e) {
    checkError(e, input);
    KIV_ASSERT(!smallOk,
               "accepted within small limits but refused within default ones: " + e.message());
    return;
  }
  checkValue(full);
  const Kiv::String8 text = written(full);
  if (smallOk) KIV_ASSERT(written(small) == text, "the limits changed the tree of " + text);

  try {
    const Value again = Zentra::Json::parse(text);
    KIV_ASSERT(written(again) == text, "writing and reading changed " + text);
  } catch (const ParseError& e) {
    KIV_ASSERT(false, "a written tree does not read back: " + text + ": " + e.message());
  }
}

}  // namespace FhrpFuzz

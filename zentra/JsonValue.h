#pragma once
// One JSON value as parsed: null, boolean, number, string, array or object. Numbers keep
// their source text so that nothing is lost to a double before the caller decides what the
// number means; objects keep their members in document order and never hold a key twice.
// Values are move-only: a document is parsed once and then read in place.
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "kiv/Types.h"

namespace Zentra::Json {

class Parser;
struct Member;

class Value {
 public:
  enum class Type { Null, Boolean, Number, String, Array, Object };

  Value();  // null
  ~Value();
  Value(Value&& other) noexcept;
  Value& operator=(Value&& other) noexcept;
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  static Value boolean(bool value);
  // Kiv::RangeException unless `text` is exactly one JSON number that fits a double.
  static Value number(std::string_view text);
  // `text` is taken as is; the parser only ever hands over valid UTF-8.
  static Value string(Kiv::String8 text);
  static Value array(std::vector<Value> elements);
  // Kiv::NameInUseException when two members share a key.
  static Value object(std::vector<Member> members);

  Type type() const { return static_cast<Type>(data_.index()); }
  // "null", "boolean", "number", "string", "array" or "object".
  const char* typeName() const { return typeName(type()); }
  static const char* typeName(Type type);
  bool isNull() const { return type() == Type::Null; }
  bool isBoolean() const { return type() == Type::Boolean; }
  bool isNumber() const { return type() == Type::Number; }
  bool isString() const { return type() == Type::String; }
  bool isArray() const { return type() == Type::Array; }
  bool isObject() const { return type() == Type::Object; }

  // Each accessor below throws Kiv::RangeException on a value of another type.
  bool asBool() const;
  const Kiv::String8& asString() const;

  // The number exactly as written, e.g. "-0", "1.50", "2E+3".
  const Kiv::String8& numberText() const;
  // Written without fraction or exponent: "5.0" and "1e3" are not integers.
  bool isInteger() const;
  // Kiv::RangeException when not an integer or outside the 64-bit signed range.
  S64 asInt64() const;
  // Nearest double; numbers too small for a double read as zero of their sign.
  double asDouble() const;

  // Elements of an array or members of an object.
  std::size_t size() const;
  const std::vector<Value>& elements() const;
  // Kiv::RangeException when `index` is past the end.
  const Value& at(std::size_t index) const;
  // In document order.
  const std::vector<Member>& members() const;
  // Null when the object has no member `key`.
  const Value* find(std::string_view key) const;

 private:
  friend class Parser;

  struct NumberData {
    Kiv::String8 text;
    double value;
  };
  struct ObjectData;  // members plus, for larger objects, a sorted index for lookups

  // Objects with fewer members are searched member by member, which beats an index there.
  static constexpr std::size_t kIndexedFrom = 16;

  // Alternatives in the order of Type.
  using Data = std::variant<std::monostate, bool, NumberData, Kiv::String8, std::vector<Value>,
                            std::unique_ptr<ObjectData>>;

  explicit Value(Data data);
  static Value parsedNumber(Kiv::String8 text, double value);
  // Member positions in the order of their keys; equal keys in document order.
  static std::vector<U32> sortedByKey(std::span<const Member> members);
  // `byKey` is sortedByKey(members) for an object of at least kIndexedFrom members, else
  // empty; no two members share a key.
  static Value indexedObject(std::vector<Member> members, std::vector<U32> byKey);
  void expect(Type type) const;

  Data data_;
};

struct Member {
  Kiv::String8 key;
  Value value;
};

}  // namespace Zentra::Json

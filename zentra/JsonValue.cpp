#include "zentra/JsonValue.h"

#include <algorithm>
#include <charconv>

#include "kiv/Assert.h"
#include "kiv/Exception.h"
#include "zentra/Json.h"

namespace Zentra::Json {

struct Value::ObjectData {
  std::vector<Member> members;
  std::vector<U32> byKey;  // member positions sorted by key
};

Value::Value() = default;
Value::~Value() = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::Value(Data data) : data_(std::move(data)) {}

Value Value::boolean(bool value) {
  return Value(Data(std::in_place_type<bool>, value));
}

Value Value::number(std::string_view text) {
  // Reuse the parser so that there is exactly one notion of what a JSON number is.
  const Kiv::String8 notANumber = "not a JSON number: " + quote(text);
  Value parsed;
  try {
    parsed = parse(text);
  } catch (const ParseError& error) {
    throw Kiv::RangeException(notANumber + " (" + error.reason() + ")");
  }
  if (!parsed.isNumber() || parsed.numberText().size() != text.size()) {
    throw Kiv::RangeException(notANumber);
  }
  return parsed;
}

Value Value::parsedNumber(Kiv::String8 text, double value) {
  return Value(Data(std::in_place_type<NumberData>, NumberData{std::move(text), value}));
}

Value Value::string(Kiv::String8 text) {
  return Value(Data(std::in_place_type<Kiv::String8>, std::move(text)));
}

Value Value::array(std::vector<Value> elements) {
  return Value(Data(std::in_place_type<std::vector<Value>>, std::move(elements)));
}

std::vector<U32> Value::sortedByKey(std::span<const Member> members) {
  KIV_ASSERT(members.size() <= UINT32_MAX, "JSON object with more than 2^32 members");
  std::vector<U32> byKey(members.size());
  for (U32 i = 0; i < byKey.size(); ++i) byKey[i] = i;
  std::stable_sort(byKey.begin(), byKey.end(),
                   [&](U32 a, U32 b) { return members[a].key < members[b].key; });
  return byKey;
}

Value Value::object(std::vector<Member> members) {
  std::vector<U32> byKey;
  const Kiv::String8* repeated = nullptr;
  if (members.size() >= kIndexedFrom) {
    byKey = sortedByKey(members);
    for (std::size_t i = 1; i < byKey.size() && !repeated; ++i) {
      if (members[byKey[i]].key == members[byKey[i - 1]].key) repeated = &members[byKey[i]].key;
    }
  } else {
    for (std::size_t i = 1; i < members.size() && !repeated; ++i) {
      for (std::size_t j = 0; j < i && !repeated; ++j) {
        if (members[i].key == members[j].key) repeated = &members[i].key;
      }
    }
  }
  if (repeated) throw Kiv::NameInUseException("duplicate key " + quote(*repeated));
  return indexedObject(std::move(members), std::move(byKey));
}

Value Value::indexedObject(std::vector<Member> members, std::vector<U32> byKey) {
  auto data = std::make_unique<ObjectData>();
  data->members = std::move(members);
  data->byKey = std::move(byKey);
  return Value(Data(std::move(data)));
}

const char* Value::typeName(Type type) {
  switch (type) {
    case Type::Null:
      return "null";
    case Type::Boolean:
      return "boolean";
    case Type::Number:
      return "number";
    case Type::String:
      return "string";
    case Type::Array:
      return "array";
    case Type::Object:
      return "object";
  }
  return "unknown";
}

void Value::expect(Type type) const {
  if (this->type() != type) {
    throw Kiv::RangeException(Kiv::String8("expected ") + typeName(type) + ", found " + typeName());
  }
}

bool Value::asBool() const {
  expect(Type::Boolean);
  return std::get<bool>(data_);
}

const Kiv::String8& Value::asString() const {
  expect(Type::String);
  return std::get<Kiv::String8>(data_);
}

const Kiv::String8& Value::numberText() const {
  expect(Type::Number);
  return std::get<NumberData>(data_).text;
}

bool Value::isInteger() const {
  return isNumber() && numberText().find_first_of(".eE") == Kiv::String8::npos;
}

S64 Value::asInt64() const {
  const Kiv::String8& text = numberText();
  if (!isInteger()) throw Kiv::RangeException("number " + text + " is not an integer");
  S64 result = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw Kiv::RangeException("number " + text + " is outside the 64-bit signed integer range");
  }
  return result;
}

double Value::asDouble() const {
  expect(Type::Number);
  return std::get<NumberData>(data_).value;
}

std::size_t Value::size() const {
  if (isArray()) return elements().size();
  expect(Type::Object);
  return members().size();
}

const std::vector<Value>& Value::elements() const {
  expect(Type::Array);
  return std::get<std::vector<Value>>(data_);
}

const Value& Value::at(std::size_t index) const {
  const std::vector<Value>& all = elements();
  if (index >= all.size()) {
    throw Kiv::RangeException("index " + std::to_string(index) +
                              " is past the end of an array of " + std::to_string(all.size()) +
                              " elements");
  }
  return all[index];
}

const std::vector<Member>& Value::members() const {
  expect(Type::Object);
  return std::get<std::unique_ptr<ObjectData>>(data_)->members;
}

const Value* Value::find(std::string_view key) const {
  expect(Type::Object);
  const ObjectData& data = *std::get<std::unique_ptr<ObjectData>>(data_);
  if (data.byKey.empty()) {
    for (const Member& member : data.members) {
      if (member.key == key) return &member.value;
    }
    return nullptr;
  }
  const auto found = std::lower_bound(
      data.byKey.begin(), data.byKey.end(), key,
      [&](U32 position, std::string_view wanted) { return data.members[position].key < wanted; });
  if (found == data.byKey.end() || data.members[*found].key != key) return nullptr;
  return &data.members[*found].value;
}

}  // namespace Zentra::Json

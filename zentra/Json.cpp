#include "zentra/Json.h"

#include <functional>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "zentra/JsonCursor.h"

namespace Zentra::Json {

using Kiv::String8;

ParseError::ParseError(std::size_t line, std::size_t column, String8 path, String8 reason)
    : Kiv::RangeException("line " + std::to_string(line) + ", column " + std::to_string(column) +
                          " (at " + path + "): " + reason),
      line_(line),
      column_(column),
      path_(std::move(path)),
      reason_(std::move(reason)) {}

void check(std::string_view text, const Limits& limits) {
  Cursor in(text, limits);
  // The keys of each open object, or none for an array. An ordered set, because a hash set
  // could be flooded with colliding keys.
  std::vector<std::optional<std::set<String8, std::less<>>>> open;
  for (;;) {
    switch (in.peek()) {
      case Cursor::Kind::Object:
        in.enterObject();
        open.emplace_back(std::in_place);
        break;
      case Cursor::Kind::Array:
        in.enterArray();
        open.emplace_back();
        break;
      case Cursor::Kind::String:
        in.readString();
        break;
      case Cursor::Kind::Number:
        in.readNumber();
        break;
      case Cursor::Kind::Boolean:
        in.readBool();
        break;
      case Cursor::Kind::Null:
        in.readNull();
        break;
    }
    // On to the next value, closing the containers that end here.
    for (;;) {
      if (open.empty()) return in.finish();
      std::string_view key;
      if (open.back() ? in.nextMember(key) : in.nextElement()) {
        if (open.back() && !open.back()->emplace(key).second) in.duplicateKey();
        break;
      }
      open.pop_back();
    }
  }
}

}  // namespace Zentra::Json

#include "zentra/JsonPath.h"

#include <cstdio>

namespace Zentra::Json {

namespace {

bool isIdentifier(std::string_view key) {
  if (key.empty()) return false;
  for (std::size_t i = 0; i < key.size(); ++i) {
    const char c = key[i];
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    const bool digit = c >= '0' && c <= '9';
    if (!letter && !(digit && i > 0)) return false;
  }
  return true;
}

}  // namespace

void Path::pushKey(std::string_view key) {
  if (isIdentifier(key)) {
    text_ += '.';
    text_ += key;
  } else {
    text_ += '[';
    text_ += quote(key);
    text_ += ']';
  }
}

void Path::pushIndex(std::size_t index) {
  text_ += '[';
  text_ += std::to_string(index);
  text_ += ']';
}

Kiv::String8 quote(std::string_view text) {
  Kiv::String8 out = "\"";
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

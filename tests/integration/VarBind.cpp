#include "tests/integration/VarBind.h"

#include <cctype>
#include <sstream>

namespace Harness {
namespace {

constexpr std::string_view kSeparator = " = ";

bool startsWith(std::string_view s, std::string_view prefix) {
  return s.substr(0, prefix.size()) == prefix;
}

std::string trim(std::string_view s) {
  std::size_t begin = 0;
  std::size_t end = s.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(s[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(s[end - 1]))) --end;
  return std::string(s.substr(begin, end - begin));
}

// Position just past the closing quote of the string that opens at `open`, or npos.
std::size_t closingQuote(std::string_view s, std::size_t open) {
  for (std::size_t i = open + 1; i < s.size(); ++i) {
    if (s[i] == '\\') {
      ++i;
    } else if (s[i] == '"') {
      return i + 1;
    }
  }
  return std::string_view::npos;
}

std::string unquote(std::string_view quoted) {
  std::string result;
  for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
    if (quoted[i] == '\\' && i + 2 < quoted.size()) ++i;
    result += quoted[i];
  }
  return result;
}

std::string collapseWhitespace(std::string_view s) {
  std::istringstream in{std::string(s)};
  std::string result;
  for (std::string word; in >> word;) result += (result.empty() ? "" : " ") + word;
  return result;
}

// A line that starts a binding: ".1.3.6 = ...".
bool startsBinding(std::string_view line) {
  if (line.empty() || line[0] != '.') return false;
  std::size_t eq = line.find(kSeparator);
  if (eq == std::string_view::npos || eq < 2) return false;
  for (char c : line.substr(0, eq)) {
    if (c != '.' && !std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

// Where the value that starts at `valueStart` ends (exclusive; at a newline or the end).
std::size_t valueEnd(std::string_view s, std::size_t valueStart) {
  std::string_view value = s.substr(valueStart);
  std::size_t quote = std::string_view::npos;
  if (startsWith(value, "\"")) quote = valueStart;
  if (startsWith(value, "STRING: \"")) quote = valueStart + 8;
  std::size_t pos = valueStart;
  if (quote != std::string_view::npos) {
    std::size_t close = closingQuote(s, quote);
    if (close != std::string_view::npos) pos = close;
  }
  for (;;) {
    std::size_t newline = s.find('\n', pos);
    if (newline == std::string_view::npos) return s.size();
    std::size_t next = newline + 1;
    std::size_t nextEnd = s.find('\n', next);
    std::string_view line =
        s.substr(next, nextEnd == std::string_view::npos ? nextEnd : nextEnd - next);
    if (next >= s.size() || startsBinding(line)) return newline;
    pos = next;
  }
}

}  // namespace

std::string VarBind::octets() const {
  if (type != "Hex-STRING") return value;
  std::istringstream in(value);
  std::string result;
  for (std::string byte; in >> byte;) result += static_cast<char>(std::stoi(byte, nullptr, 16));
  return result;
}

std::ostream& operator<<(std::ostream& out, const VarBind& vb) {
  return out << vb.oid << " = " << vb.type << ": " << vb.value;
}

VarBind parseVarBind(std::string_view text) {
  VarBind vb;
  std::size_t eq = text.find(kSeparator);
  if (eq == std::string_view::npos) {
    vb.text = std::string(text);
    vb.value = trim(text);
    return vb;
  }
  vb.oid = trim(text.substr(0, eq));
  std::string_view rest = text.substr(eq + kSeparator.size());
  while (!rest.empty() && (rest.back() == '\n' || rest.back() == '\r')) rest.remove_suffix(1);
  vb.text = std::string(rest);

  if (startsWith(rest, "\"")) {
    vb.type = "STRING";
    vb.value = unquote(trim(rest));
  } else if (startsWith(rest, "No Such Object")) {
    vb.type = "noSuchObject";
  } else if (startsWith(rest, "No Such Instance")) {
    vb.type = "noSuchInstance";
  } else if (startsWith(rest, "No more variables left")) {
    vb.type = "endOfMibView";
  } else if (trim(rest) == "NULL") {
    vb.type = "NULL";
  } else if (std::size_t colon = rest.find(':'); colon != std::string_view::npos) {
    vb.type = std::string(rest.substr(0, colon));
    std::string value = trim(rest.substr(colon + 1));
    if (vb.type == "STRING" && startsWith(value, "\"")) {
      vb.value = unquote(value);
    } else if (vb.type == "Hex-STRING") {
      vb.value = collapseWhitespace(value);
    } else if (vb.type == "Timeticks" && startsWith(value, "(")) {
      vb.value = value.substr(1, value.find(')') - 1);
    } else {
      vb.value = value;
    }
  } else {
    vb.value = trim(rest);
  }
  return vb;
}

std::vector<VarBind> parseVarBinds(std::string_view output) {
  std::vector<VarBind> result;
  std::size_t pos = 0;
  while (pos < output.size()) {
    std::size_t lineEnd = output.find('\n', pos);
    if (lineEnd == std::string_view::npos) lineEnd = output.size();
    std::string_view line = output.substr(pos, lineEnd - pos);
    if (!startsBinding(line)) {
      pos = lineEnd + 1;
      continue;
    }
    std::size_t end = valueEnd(output, pos + line.find(kSeparator) + kSeparator.size());
    result.push_back(parseVarBind(output.substr(pos, end - pos)));
    pos = end + 1;
  }
  return result;
}

}  // namespace Harness

// SPDX-License-Identifier: Apache-2.0
#include "host/ConfigLines.h"

#include <cstdio>
#include <string_view>

#include "kiv/Exception.h"

namespace Host {
namespace {

// rocommunity keeps a community of at most this many characters as its reader returns it.
constexpr std::size_t kCommunityMax = 255;

// A word net-snmp's reader (copy_nword) returns as `value`: in double quotes, in which a
// backslash takes the next character as it is.
Kiv::String8 quoted(std::string_view value) {
  Kiv::String8 word = "\"";
  for (char c : value) {
    if (c == '"' || c == '\\') word += '\\';
    word += c;
  }
  return word + '"';
}

// A line ends at a newline, and no word carries a NUL byte; other control characters would
// reach the manager's configuration unseen.
void printable(const char* option, std::string_view value) {
  for (unsigned char c : value) {
    if (c >= 0x20 && c != 0x7f) continue;
    char code[8];
    std::snprintf(code, sizeof code, "0x%02X", c);
    throw Kiv::RangeException(Kiv::String8(option) + " holds the control character " + code +
                              ", which net-snmp's configuration cannot carry");
  }
}

}  // namespace

Kiv::String8 rocommunityLine(const Kiv::String8& community) {
  printable("--community", community);
  // rocommunity reads its first word, then hands the community on to com2sec inside single
  // quotes, whose reader takes the word apart once more: a quote or a backslash in it needs a
  // backslash of its own for that second reading.
  Kiv::String8 once;
  for (char c : community) {
    if (c == '\'' || c == '\\') once += '\\';
    once += c;
  }
  if (once.size() > kCommunityMax) {
    throw Kiv::RangeException("--community is longer than net-snmp takes (" +
                              std::to_string(kCommunityMax) +
                              " characters, a ' or a \\ counting twice)");
  }
  // rocommunity takes the word -v for an option, quoted or not.
  if (community == "-v")
    throw Kiv::RangeException("--community cannot be -v: net-snmp takes it for an option");
  return "rocommunity " + quoted(once);
}

Kiv::String8 trapCommunityLine(const Kiv::String8& community) {
  printable("--community", community);
  return "trapcommunity " + quoted(community);
}

Kiv::String8 trapSinkLine(const Kiv::String8& address) {
  printable("--trap-sink", address);
  // trap2sink splits its line at white space without quoting, and takes a word that starts with
  // a dash for an option.
  if (address.find_first_of(" \t") != Kiv::String8::npos || address.starts_with('-')) {
    throw Kiv::RangeException("--trap-sink '" + address +
                              "' is no address: it holds a space or starts with -");
  }
  return "trap2sink " + address;
}

}  // namespace Host

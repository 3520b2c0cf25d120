#include "kiv/TokenReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/Exception.h"

namespace Kiv {
namespace {

using ::testing::ThrowsMessage;

String8 readQuoted(const String8& text) {
  auto pos = text.cbegin();
  TokenReader r(pos, text.cend());
  String8 value = r.readQuoted();
  EXPECT_EQ(pos, text.cend()) << text;
  return value;
}

TEST(TokenReaderTest, QuotedStrings) {
  for (const String8 text : {"", "a\\'b'\\\\", " x "}) {
    EXPECT_EQ(readQuoted(quoteString(text)), text);
  }
  const std::pair<String8, String8> bad[] = {
      {"abc", "expected a quoted string, found 'a' at column 0"},
      {"  'abc", "unterminated quoted string starting at column 2"},
      {"'it\\'", "unterminated quoted string starting at column 0"},
      {"'a\\n'", "bad escape '\\n' at column 2"},
      {"'a\\", "backslash at end of text at column 2"},
  };
  for (const auto& c : bad) {
    EXPECT_THAT([&] { readQuoted(c.first); }, ThrowsMessage<RangeException>(c.second)) << c.first;
  }
}

// What reading one integer of the given type gives: its decimal form, or the error message.
String8 readInt(const String8& type, const String8& text) {
  auto pos = text.cbegin();
  TokenReader r(pos, text.cend());
  try {
    if (type == "S32") return std::to_string(r.readS32());
    return std::to_string(r.readU32());
  } catch (const RangeException& e) {
    return e.message();
  }
}

TEST(TokenReaderTest, IntegersTakeTheirWholeRangeAndStopBehindTheDigits) {
  const struct {
    String8 type;
    std::vector<String8> accepted, outOfRange;
  } types[] = {
      {"S32", {"-2147483648", "2147483647"}, {"2147483648", "-2147483649"}},
      {"U32", {"4294967295"}, {"4294967296", "-0"}},
  };
  for (const auto& t : types) {
    for (const String8& text : t.accepted) EXPECT_EQ(readInt(t.type, text), text);
    for (const String8& text : t.outOfRange) {
      EXPECT_EQ(readInt(t.type, text), "integer out of range for " + t.type + ": " + text);
    }
  }
  EXPECT_EQ(readInt("S32", "- 5"), "expected an integer, found '-' at column 0");
  EXPECT_EQ(readInt("S32", " +5"), "expected an integer, found '+' at column 1");
  EXPECT_EQ(readInt("U32", ""), "expected an integer, found end of text at column 0");
  const String8 text = " -12,x";
  auto pos = text.cbegin();
  TokenReader r(pos, text.cend());
  EXPECT_EQ(r.readS32(), -12);
  EXPECT_EQ(*pos, ',');
}

}  // namespace
}  // namespace Kiv

#include "kiv/TokenReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/Exception.h"

namespace Kiv {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(TokenReaderTest, ReadsAValueForm) {
  const String8 text = "Value('Pair', **{'left': -7, 'right': 'it\\'s \\\\ok'}) ";
  auto pos = text.cbegin();
  TokenReader r(pos, text.cend());
  r.expect("Value(");
  EXPECT_EQ(r.readQuoted(), "Pair");
  r.expect(", ** { ");  // inner and trailing blanks are optional white space
  EXPECT_EQ(r.readQuoted(), "left");
  r.expect(":");
  EXPECT_EQ(r.readS32(), -7);
  EXPECT_TRUE(r.accept(","));
  EXPECT_FALSE(r.accept(","));
  EXPECT_EQ(r.readQuoted(), "right");
  r.expect(":");
  EXPECT_EQ(r.readQuoted(), "it's \\ok");
  EXPECT_EQ(r.peek(), '}');
  r.expect("} ");
  r.expect(") ");
  EXPECT_TRUE(r.atEnd());
  EXPECT_EQ(r.peek(), std::nullopt);
}

TEST(TokenReaderTest, ExpectNamesLiteralAndColumn) {
  const String8 text = "Value('X' )";
  auto pos = text.cbegin() + 6;
  TokenReader r(pos, text.cend(), text.cbegin());
  r.readQuoted();
  EXPECT_THAT([&] { r.expect("}"); },
              ThrowsMessage<RangeException>("expected '}', found ')' at column 10"));
  // A failed literal reads nothing, so a retry with another literal still works.
  EXPECT_NO_THROW(r.expect(")"));
  EXPECT_THAT([&] { r.expect(", "); },
              ThrowsMessage<RangeException>("expected ',', found end of text at column 11"));
}

String8 readQuoted(const String8& text) {
  auto pos = text.cbegin();
  TokenReader r(pos, text.cend());
  String8 value = r.readQuoted();
  EXPECT_EQ(pos, text.cend()) << text;
  return value;
}

TEST(TokenReaderTest, QuotedStrings) {
  for (const String8 text : {"", "plain", "'", "\\", "a\\'b'\\\\", " x "}) {
    EXPECT_EQ(readQuoted(quoteString(text)), text);
  }
  EXPECT_THAT([] { readQuoted("abc"); },
              ThrowsMessage<RangeException>("expected a quoted string, found 'a' at column 0"));
  EXPECT_THAT([] { readQuoted("  'abc"); },
              ThrowsMessage<RangeException>("unterminated quoted string starting at column 2"));
  EXPECT_THAT([] { readQuoted("'it\\'"); }, ThrowsMessage<RangeException>(HasSubstr("unterm")));
  EXPECT_THAT([] { readQuoted("'a\\n'"); },
              ThrowsMessage<RangeException>("bad escape '\\n' at column 2"));
  EXPECT_THAT([] { readQuoted("'a\\"); }, ThrowsMessage<RangeException>(HasSubstr("backslash")));
}

template <class T>
T readInt(T (TokenReader::*read)(), const String8& text) {
  auto pos = text.cbegin();
  TokenReader r(pos, text.cend());
  return (r.*read)();
}

template <class T>
void expectRejected(T (TokenReader::*read)(), const String8& text, const String8& message) {
  EXPECT_THAT([&] { readInt(read, text); }, ThrowsMessage<RangeException>(message)) << text;
}

TEST(TokenReaderTest, IntegerLimits) {
  EXPECT_EQ(readInt(&TokenReader::readS32, "-2147483648"), INT32_MIN);
  EXPECT_EQ(readInt(&TokenReader::readS32, "2147483647"), INT32_MAX);
  EXPECT_EQ(readInt(&TokenReader::readU32, "4294967295"), UINT32_MAX);
  EXPECT_EQ(readInt(&TokenReader::readS64, "-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(readInt(&TokenReader::readU64, "18446744073709551615"), UINT64_MAX);
  const char* const kOutOfRange = "integer out of range for ";
  for (const String8 text : {"2147483648", "-2147483649", "99999999999"}) {
    expectRejected(&TokenReader::readS32, text, kOutOfRange + String8("S32: ") + text);
  }
  for (const String8 text : {"4294967296", "-1", "-0"}) {
    expectRejected(&TokenReader::readU32, text, kOutOfRange + String8("U32: ") + text);
  }
  for (const String8 text : {"9223372036854775808", "-9223372036854775809"}) {
    expectRejected(&TokenReader::readS64, text, kOutOfRange + String8("S64: ") + text);
  }
  for (const String8 text : {"18446744073709551616", "100000000000000000000"}) {
    expectRejected(&TokenReader::readU64, text, kOutOfRange + String8("U64: ") + text);
  }
}

TEST(TokenReaderTest, IntegerNeedsDigitsAndStopsBehindThem) {
  expectRejected(&TokenReader::readS32, "- 5", "expected an integer, found '-' at column 0");
  expectRejected(&TokenReader::readS32, " +5", "expected an integer, found '+' at column 1");
  expectRejected(&TokenReader::readU64, "", "expected an integer, found end of text at column 0");
  const String8 text = " -12,x";
  auto pos = text.cbegin();
  TokenReader r(pos, text.cend());
  EXPECT_EQ(r.readS64(), -12);
  EXPECT_EQ(*pos, ',');
}

}  // namespace
}  // namespace Kiv

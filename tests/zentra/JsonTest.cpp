#include "zentra/Json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "kiv/Exception.h"

namespace Zentra::Json {
namespace {

const std::string kDocument = R"({
  "version": 3,
  "vrrpStatus": {
    "Ethernet1": {
      "5": {"state": "master", "priority": 110, "preempt": true, "advertInterval": 1.50,
            "virtualIps": ["10.0.0.1", "10.0.0.2"], "note": null},
      "7": {"state": "backup", "priority": 100, "preempt": false, "virtualIps": []}
    },
    "Vlan 20": {}
  },
  "zeta": "last key sorts last but was written before alpha",
  "alpha": "\u00e9t\u00e9 \ud83d\ude00"
}
)";

// Parses `text` expecting a ParseError and returns it.
ParseError parseError(std::string_view text, const Limits& limits = {}) {
  try {
    parse(text, limits);
  } catch (const ParseError& error) {
    return error;
  }
  ADD_FAILURE() << "parsed without error: " << text;
  return ParseError(0, 0, "", "");
}

TEST(JsonParse, RealisticDocumentKeepsValuesAndOrder) {
  const Value root = parse(kDocument);
  ASSERT_TRUE(root.isObject());
  std::vector<std::string> keys;
  for (const Member& member : root.members()) keys.push_back(member.key);
  EXPECT_EQ(keys, (std::vector<std::string>{"version", "vrrpStatus", "zeta", "alpha"}));
  EXPECT_EQ(root.find("version")->asInt64(), 3);
  EXPECT_EQ(root.find("alpha")->asString(), "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80");
  EXPECT_EQ(root.find("missing"), nullptr);

  const Value& ethernet1 = *root.find("vrrpStatus")->find("Ethernet1");
  ASSERT_EQ(ethernet1.size(), 2u);
  const Value& master = *ethernet1.find("5");
  EXPECT_EQ(master.find("state")->asString(), "master");
  EXPECT_TRUE(master.find("preempt")->asBool());
  EXPECT_EQ(master.find("advertInterval")->numberText(), "1.50");
  EXPECT_DOUBLE_EQ(master.find("advertInterval")->asDouble(), 1.5);
  EXPECT_TRUE(master.find("note")->isNull());
  EXPECT_EQ(master.find("virtualIps")->at(1).asString(), "10.0.0.2");
  EXPECT_EQ(ethernet1.find("7")->find("virtualIps")->size(), 0u);
  EXPECT_FALSE(ethernet1.find("7")->find("preempt")->asBool());
  EXPECT_EQ(root.find("vrrpStatus")->find("Vlan 20")->size(), 0u);
}

TEST(JsonParse, MisusedValuesThrowRangeException) {
  const Value root = parse(R"({"list": [1], "text": "x"})");
  EXPECT_STREQ(root.find("list")->typeName(), "array");
  EXPECT_THROW(root.find("list")->find("x"), Kiv::RangeException);
  EXPECT_THROW(root.find("list")->at(1), Kiv::RangeException);
  EXPECT_THROW(root.find("text")->size(), Kiv::RangeException);
  try {
    root.find("text")->asInt64();
    FAIL();
  } catch (const Kiv::RangeException& error) {
    EXPECT_STREQ(error.what(), "expected number, found string");
  }
}

struct ErrorCase {
  std::string text;
  std::size_t line, column;
  std::string path, reason;
};

TEST(JsonParse, ErrorsSayWhereAndWhy) {
  const ErrorCase cases[] = {
      {R"({"a": 1 "b": 2})", 1, 9, "$", R"(expected ',' or '}', found '"')"},
      {"{\n  \"vrrpStatus\": {\n    \"Ethernet1\": {\"state\": 1 \"x\"}\n  }\n}", 3, 30,
       "$.vrrpStatus.Ethernet1", R"(expected ',' or '}', found '"')"},
      {R"({"a": [1, 2, {"b": [true, fals]}]})", 1, 27, "$.a[2].b[1]",
       "unknown literal, expected true, false or null"},
      {R"({"x y": {"k" 1}})", 1, 14, R"($["x y"].k)", "expected ':', found '1'"},
      {"[1, 2,]", 1, 6, "$", "trailing comma before ']'"},
      {"{\"a\": 1,\n}", 1, 8, "$", "trailing comma before '}'"},
      {"{'a': 1}", 1, 2, "$", "expected a member name in double quotes or '}', found '''"},
      {"{\"a\": 1, 2}", 1, 10, "$", "expected a member name in double quotes, found '2'"},
      {"[1] // note", 1, 5, "$", "unexpected text after the document, found '/'"},
      {"[1]]", 1, 4, "$", "unexpected text after the document, found ']'"},
      {"[NaN]", 1, 2, "$[0]", "expected a value, found 'N'"},
      {"[-Infinity]", 1, 3, "$[0]", "expected a digit after '-', found 'I'"},
      {R"({"n": 01})", 1, 7, "$.n", "leading zeros are not allowed in numbers"},
      {"[+1]", 1, 2, "$[0]", "expected a value, found '+'"},
      {"[.5]", 1, 2, "$[0]", "expected a value, found '.'"},
      {"[1.]", 1, 4, "$[0]", "expected a digit after '.', found ']'"},
      {"[1e+]", 1, 5, "$[0]", "expected a digit in the exponent, found ']'"},
      {"[1,\f2]", 1, 4, "$[1]", "expected a value, found byte 0x0C"},
      {"\xC2\xA0[1]", 1, 1, "$", "expected a value, found byte 0xC2"},
      {"", 1, 1, "$", "expected a value, found end of document"},
      {" \r\n\t ", 2, 3, "$", "expected a value, found end of document"},
      {"\xEF\xBB\xBF[1,]", 1, 3, "$", "trailing comma before ']'"},
      // Columns count characters: the 'x' is the seventh character but the eighth byte.
      {"[\"\xC3\xA9\", x]", 1, 7, "$[1]", "expected a value, found 'x'"},
      {"[\"ab", 1, 2, "$[0]", "unterminated string"},
      {"[\"a\tb\"]", 1, 4, "$[0]", "control character U+0009 must be escaped in a string"},
      {R"(["\x"])", 1, 3, "$[0]", "invalid escape '\\' followed by 'x'"},
      {R"(["\u12G4"])", 1, 3, "$[0]", "'\\u' must be followed by four hexadecimal digits"},
      {R"(["\uD83D"])", 1, 3, "$[0]", "UTF-16 high surrogate without a low surrogate after it"},
      {R"(["\uD83D\u0041"])", 1, 3, "$[0]",
       "UTF-16 high surrogate without a low surrogate after it"},
      {R"(["\uDE00"])", 1, 3, "$[0]", "UTF-16 low surrogate without a high surrogate before it"},
      {"{\"a\": 1, \"b\": 2, \"a\": 3}", 1, 18, "$", "duplicate key \"a\""},
  };
  for (const ErrorCase& expected : cases) {
    SCOPED_TRACE(expected.text);
    const ParseError error = parseError(expected.text);
    EXPECT_EQ(error.line(), expected.line);
    EXPECT_EQ(error.column(), expected.column);
    EXPECT_EQ(error.path(), expected.path);
    EXPECT_EQ(error.reason(), expected.reason);
  }
  EXPECT_STREQ(parseError("{\n \"a\": [1 2]}").what(),
               "line 2, column 10 (at $.a): expected ',' or ']', found '2'");
}

TEST(JsonParse, DuplicateKeysAreRejectedAfterDecoding) {
  EXPECT_EQ(parseError(R"({"outer": {"k": 1, "\u006b": 2}})").path(), "$.outer");
  EXPECT_EQ(parseError(R"({"k": 1, "\u006b": 2})").reason(), "duplicate key \"k\"");
  // The same key in sibling objects is fine.
  EXPECT_NO_THROW(parse(R"({"x": {"k": 1}, "y": {"k": 2}})"));

  std::vector<Member> members;
  members.push_back({"k", Value()});
  members.push_back({"k", Value()});
  EXPECT_THROW(Value::object(std::move(members)), Kiv::NameInUseException);
}

// A half-written document must fail cleanly wherever it was cut.
TEST(JsonParse, EveryTruncationFailsCleanly) {
  const std::size_t complete = kDocument.rfind('}') + 1;
  for (std::size_t length = 0; length < complete; ++length) {
    SCOPED_TRACE(length);
    const ParseError error = parseError(std::string_view(kDocument).substr(0, length));
    EXPECT_GE(error.line(), 1u);
    EXPECT_GE(error.column(), 1u);
  }
  EXPECT_NO_THROW(parse(std::string_view(kDocument).substr(0, complete)));
}

// Garbage must only ever produce a Value or a ParseError (run under the sanitizers too).
TEST(JsonParse, CorruptedDocumentsNeverCrash) {
  const auto tryParse = [](const std::string& text) {
    try {
      parse(text);
    } catch (const ParseError&) {
    }
  };
  for (std::size_t i = 0; i < kDocument.size(); ++i) {
    for (const char replacement : {'\0', '"', '\\', '{', ']', ',', '-', '\xFF', '\xC3'}) {
      std::string corrupted = kDocument;
      corrupted[i] = replacement;
      tryParse(corrupted);
    }
  }
  std::mt19937 random(12345);
  const std::string alphabet = "{}[],:\"\\u0123456789.eE+-tfnrl \n\xC3\xA9\xED\xF0";
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 24, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    tryParse(text);
  }
}

TEST(JsonLimits, DepthIsLimitedWithoutRecursion) {
  const ParseError deep = parseError(std::string(100000, '['));
  EXPECT_EQ(deep.column(), 65u);
  EXPECT_EQ(deep.reason(), "nesting exceeds the depth limit of 64");

  std::string objects;
  for (int i = 0; i < 65; ++i) objects += "{\"a\":";
  EXPECT_EQ(parseError(objects).path().size(), 1 + 2 * 64u);  // $ then .a 64 times

  EXPECT_NO_THROW(parse(std::string(64, '[') + std::string(64, ']')));
  EXPECT_NO_THROW(parse("1", Limits{.maxDepth = 0}));
  EXPECT_EQ(parseError("[[1]]", Limits{.maxDepth = 1}).path(), "$[0]");
}

TEST(JsonLimits, DocumentAndStringSizes) {
  EXPECT_NO_THROW(parse("[1,2,3,45]", Limits{.maxDocumentBytes = 10}));
  EXPECT_EQ(parseError("[1,2,3,456]", Limits{.maxDocumentBytes = 10}).reason(),
            "document of 11 bytes exceeds the size limit of 10 bytes");

  const Limits four{.maxStringBytes = 4};
  EXPECT_NO_THROW(parse(R"(["abcd", "\u00e9\u00e9", 1234])", four));  // decoded length counts
  for (const char* text : {R"("abcde")", R"("\u00e9\u00e9a")", R"({"abcde": 1})"}) {
    const ParseError error = parseError(text, four);
    EXPECT_EQ(error.reason(), "string longer than the length limit of 4 bytes") << text;
  }
  EXPECT_EQ(parseError("[12345]", four).reason(),
            "number longer than the string length limit of 4 bytes");
}

TEST(JsonNumbers, IntegersAndTheirRange) {
  const Value negativeZero = parse("-0");
  EXPECT_TRUE(negativeZero.isInteger());
  EXPECT_EQ(negativeZero.asInt64(), 0);
  EXPECT_TRUE(std::signbit(negativeZero.asDouble()));

  EXPECT_EQ(parse("9223372036854775807").asInt64(), INT64_MAX);
  EXPECT_EQ(parse("-9223372036854775808").asInt64(), INT64_MIN);
  for (const char* text : {"9223372036854775808", "-9223372036854775809", "1.5", "1e2", "1.0"}) {
    EXPECT_THROW(parse(text).asInt64(), Kiv::RangeException) << text;
  }
  EXPECT_FALSE(parse("1e2").isInteger());
  EXPECT_DOUBLE_EQ(parse("2E+3").asDouble(), 2000);
  EXPECT_DOUBLE_EQ(parse("123456789012345678901234567890").asDouble(), 1.2345678901234568e29);
}

TEST(JsonNumbers, OverflowIsRejectedUnderflowIsZero) {
  for (const char* text : {"1e309", "-1e309", "[1e99999999999999999999]", "1797693134862316e293"}) {
    EXPECT_EQ(parseError(text).reason(), "number is too large for a double") << text;
  }
  EXPECT_EQ(parse("1e-400").asDouble(), 0.0);
  EXPECT_TRUE(std::signbit(parse("-0.000001e-400").asDouble()));
  EXPECT_DOUBLE_EQ(parse("1.7976931348623157e308").asDouble(), 1.7976931348623157e308);

  EXPECT_EQ(Value::number("-1.5e3").numberText(), "-1.5e3");
  for (const char* text : {" 1", "01", "1e400", "x", ""}) {
    EXPECT_THROW(Value::number(text), Kiv::RangeException) << text;
  }
}

TEST(JsonStrings, EscapesDecodeToUtf8) {
  EXPECT_EQ(parse(R"("\"\\\/\b\f\n\r\t")").asString(), "\"\\/\b\f\n\r\t");
  EXPECT_EQ(parse(R"("\u0041\u00E9\u20ac\uD83D\uDE00")").asString(),
            "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(parse(R"("a\u0000b")").asString(), std::string("a\0b", 3));
  // Raw UTF-8 of every length passes through unchanged.
  EXPECT_EQ(parse("\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F\"").asString(),
            "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F");
}

TEST(JsonStrings, InvalidUtf8IsRejected) {
  const char* invalid[] = {
      "\xC0\xAF",          // overlong '/'
      "\xE0\x80\xAF",      // overlong, three bytes
      "\xED\xA0\x80",      // encoded surrogate
      "\xF4\x90\x80\x80",  // past U+10FFFF
      "\xF5\x80\x80\x80",  // never a lead byte
      "\x80",              // continuation without a lead
      "\xE2\x82\"",        // sequence cut short inside the string
  };
  for (const char* bytes : invalid) {
    const ParseError error = parseError("\"a" + std::string(bytes) + "\"");
    EXPECT_EQ(error.reason(), "invalid UTF-8 in string");
    EXPECT_EQ(error.column(), 3u);
  }
  EXPECT_EQ(parseError("\"a\xE2\x82").reason(), "unterminated string");
}

TEST(JsonPath, NamesKeysAndIndexes) {
  Path path;
  EXPECT_EQ(path.str(), "$");
  for (const char* key : {"vrrpStatus", "Ethernet1", "5", "state"}) path.pushKey(key);
  EXPECT_EQ(path.str(), R"($.vrrpStatus.Ethernet1["5"].state)");
  path.pop();
  path.pushIndex(3);
  path.pushKey("say \"hi\"\n");
  path.pushKey("");
  path.pushKey("_a1");
  EXPECT_EQ(path.str(), R"($.vrrpStatus.Ethernet1["5"][3]["say \"hi\"\n"][""]._a1)");
  EXPECT_EQ(path.depth(), 7u);
  while (path.depth() > 0) path.pop();
  EXPECT_EQ(path.str(), "$");
  EXPECT_DEATH(path.pop(), "popping the root");
}

}  // namespace
}  // namespace Zentra::Json

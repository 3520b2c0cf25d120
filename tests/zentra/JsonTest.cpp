// The JSON layer under the state-document reader: Json::check on any JSON, and the same faults
// reached through parseStateDocument, which reads with the cursor and falls back to check.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "zentra/Json.h"
#include "zentra/StateDocument.h"

namespace Zentra {
namespace {

using Json::Limits;
using Json::ParseError;

ParseError checkError(std::string_view text, const Limits& limits = {}) {
  try {
    Json::check(text, limits);
  } catch (const ParseError& error) {
    return error;
  }
  ADD_FAILURE() << "valid: " << text;
  return ParseError(0, 0, "", "");
}

StateDocumentError documentError(std::string_view text, const Limits& limits = {}) {
  try {
    parseStateDocument(text, limits);
  } catch (const StateDocumentError& error) {
    return error;
  }
  ADD_FAILURE() << "accepted: " << text;
  return StateDocumentError("", "");
}

struct ErrorCase {
  std::string text;
  std::size_t line, column;
  std::string path, reason;
};

// Each fault is reported by check and, as the same syntax error, by the state-document reader,
// whether the reader meets it itself or stops at a wrong value first.
TEST(JsonSyntax, ErrorsSayWhereAndWhy) {
  std::string sixteen;
  for (int i = 0; i < 20; ++i) sixteen += "\"k" + std::to_string(i) + "\": 0, ";
  const ErrorCase cases[] = {
      {R"({"a": 1 "b": 2})", 1, 9, "$", R"(expected ',' or '}', found '"')"},
      {"{\n  \"vrrpStatus\": {\n    \"Ethernet1\": {\"5\": 1 \"x\"}\n  }\n}", 3, 26,
       "$.vrrpStatus.Ethernet1", R"(expected ',' or '}', found '"')"},
      {R"({"a": [1, 2, {"b": [true, fals]}]})", 1, 27, "$.a[2].b[1]",
       "unknown literal, expected true, false or null"},
      {R"({"vrrpStatus": {"e": {"1": {"ipAddrs": {"1.2.3.4": tru}}}}})", 1, 52,
       R"($.vrrpStatus.e["1"].ipAddrs["1.2.3.4"])",
       "unknown literal, expected true, false or null"},
      {R"({"x y": {"k" 1}})", 1, 14, R"($["x y"].k)", "expected ':', found '1'"},
      {"[1, 2,]", 1, 6, "$", "trailing comma before ']'"},
      {"{\"ip\": {},\n}", 1, 10, "$", "trailing comma before '}'"},
      {"{'a': 1}", 1, 2, "$", "expected a member name in double quotes or '}', found '''"},
      {"{\"a\": 1, 2}", 1, 10, "$", "expected a member name in double quotes, found '2'"},
      {"{} // note", 1, 4, "$", "unexpected text after the document, found '/'"},
      {"{}}", 1, 3, "$", "unexpected text after the document, found '}'"},
      {"[NaN]", 1, 2, "$[0]", "expected a value, found 'N'"},
      {"[-Infinity]", 1, 3, "$[0]", "expected a digit after '-', found 'I'"},
      {R"({"interfaces": {"e1": {"ifIndex": 01}}})", 1, 35, "$.interfaces.e1.ifIndex",
       "leading zeros are not allowed in numbers"},
      {"[+1]", 1, 2, "$[0]", "expected a value, found '+'"},
      {"[.5]", 1, 2, "$[0]", "expected a value, found '.'"},
      {"[1.]", 1, 4, "$[0]", "expected a digit after '.', found ']'"},
      {"[1e+]", 1, 5, "$[0]", "expected a digit in the exponent, found ']'"},
      {"[1,\f2]", 1, 4, "$[1]", "expected a value, found byte 0x0C"},
      {"\xC2\xA0{}", 1, 1, "$", "expected a value, found byte 0xC2"},
      {"", 1, 1, "$", "expected a value, found end of document"},
      {" \r\n\t ", 2, 3, "$", "expected a value, found end of document"},
      {"\xEF\xBB\xBF[1,]", 1, 3, "$", "trailing comma before ']'"},
      // Columns count characters: the 'x' is the seventh character but the eighth byte.
      {"[\"\xC3\xA9\", x]", 1, 7, "$[1]", "expected a value, found 'x'"},
      {"{\"ip\": {\"ab", 1, 9, "$.ip", "unterminated string"},
      {"[\"a\tb\"]", 1, 4, "$[0]", "control character U+0009 must be escaped in a string"},
      {R"(["\x"])", 1, 3, "$[0]", "invalid escape '\\' followed by 'x'"},
      {R"(["\u12G4"])", 1, 3, "$[0]", "'\\u' must be followed by four hexadecimal digits"},
      {R"(["\uD83D"])", 1, 3, "$[0]", "UTF-16 high surrogate without a low surrogate after it"},
      {R"(["\uD83D\u0041"])", 1, 3, "$[0]",
       "UTF-16 high surrogate without a low surrogate after it"},
      {R"(["\uDE00"])", 1, 3, "$[0]", "UTF-16 low surrogate without a high surrogate before it"},
      {"[1e309]", 1, 2, "$[0]", "number is too large for a double"},
      {"[-1e99999999999999999999]", 1, 2, "$[0]", "number is too large for a double"},
      {"[1797693134862316e293]", 1, 2, "$[0]", "number is too large for a double"},
      // Repeated keys, in every kind of object the reader knows and after decoding; at the
      // second key even in a large object, and before a missing colon.
      {R"({"ip": {}, "\u0069p": {}})", 1, 12, "$", R"(duplicate key "ip")"},
      {R"({"ip": {"e1": {}, "e1": {}}})", 1, 19, "$.ip", R"(duplicate key "e1")"},
      {R"({"vrrpConfig": {"e": {"1": {}, "1": {}}}})", 1, 32, "$.vrrpConfig.e",
       R"(duplicate key "1")"},
      {R"({"vrrpConfig": {"e": {"1": {"priority": 1, "priority": 2}}}})", 1, 44,
       R"($.vrrpConfig.e["1"])", R"(duplicate key "priority")"},
      {R"({"vrrpStatus": {"e": {"1": {"ipAddrs": {"1.2.3.4": true, "1.2.3.4": true}}}}})", 1, 58,
       R"($.vrrpStatus.e["1"].ipAddrs)", R"(duplicate key "1.2.3.4")"},
      {R"({"x": {"k": 1, "\u006b": 2}})", 1, 16, "$.x", R"(duplicate key "k")"},
      {"{" + sixteen + R"("k3": 0, "x" 1})", 1, 192, "$", R"(duplicate key "k3")"},
      {R"({"ip": {}, "ip" {}})", 1, 12, "$", R"(duplicate key "ip")"},
      // A wrong value first: the syntax error still wins.
      {R"({"ip": 5, "x": [}])", 1, 17, "$.x[0]", "expected a value, found '}'"},
      {R"({"ip": 5, "ip": {}})", 1, 11, "$", R"(duplicate key "ip")"},
  };
  for (const ErrorCase& expected : cases) {
    SCOPED_TRACE(expected.text);
    const ParseError error = checkError(expected.text);
    EXPECT_EQ(error.line(), expected.line);
    EXPECT_EQ(error.column(), expected.column);
    EXPECT_EQ(error.path(), expected.path);
    EXPECT_EQ(error.reason(), expected.reason);
    const StateDocumentError asDocument = documentError(expected.text);
    EXPECT_TRUE(asDocument.isSyntaxError());
    EXPECT_EQ(asDocument.message(), error.message());
  }
  EXPECT_STREQ(checkError("{\n \"a\": [1 2]}").what(),
               "line 2, column 10 (at $.a): expected ',' or ']', found '2'");
  EXPECT_NO_THROW(Json::check(R"({"x": {"k": 1}, "y": {"k": [{"k": null}]}})"));
}

TEST(JsonSyntax, InvalidUtf8IsRejected) {
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
    const StateDocumentError error = documentError("{\"a" + std::string(bytes) + "\": 1}");
    EXPECT_EQ(error.reason(), "invalid UTF-8 in string") << bytes;
    EXPECT_EQ(error.column(), 4u);
  }
  EXPECT_EQ(checkError("\"a\xE2\x82").reason(), "unterminated string");
}

TEST(JsonLimits, DepthIsLimitedWithoutRecursion) {
  const ParseError deep = checkError(std::string(100000, '['));
  EXPECT_EQ(deep.column(), 65u);
  EXPECT_EQ(deep.reason(), "nesting exceeds the depth limit of 64");
  std::string objects;
  for (int i = 0; i < 65; ++i) objects += "{\"a\":";
  EXPECT_EQ(documentError(objects).path().size(), 1 + 2 * 64u);  // $ then .a 64 times

  EXPECT_NO_THROW(Json::check(std::string(64, '[') + std::string(64, ']')));
  EXPECT_NO_THROW(Json::check("1", Limits{.maxDepth = 0}));
  EXPECT_EQ(checkError("[[1]]", Limits{.maxDepth = 1}).path(), "$[0]");
  EXPECT_EQ(documentError(R"({"ip": {}})", Limits{.maxDepth = 1}).path(), "$.ip");
}

TEST(JsonLimits, DocumentAndStringSizes) {
  EXPECT_NO_THROW(Json::check("[1,2,3,45]", Limits{.maxDocumentBytes = 10}));
  EXPECT_EQ(documentError("[1,2,3,456]", Limits{.maxDocumentBytes = 10}).reason(),
            "document of 11 bytes exceeds the size limit of 10 bytes");

  const Limits four{.maxStringBytes = 4};
  EXPECT_NO_THROW(Json::check(R"(["abcd", "\u00e9\u00e9", "\u00e9\u00e9", 1234])", four));
  for (const char* text :
       {R"("abcde")", R"("\u00e9\u00e9a")", "\"\xC3\xA9\xC3\xA9x\"", R"({"ip": {"abcde": {}}})"}) {
    EXPECT_EQ(documentError(text, four).reason(), "string longer than the length limit of 4 bytes")
        << text;
  }
  EXPECT_EQ(checkError("[12345]", four).reason(),
            "number longer than the string length limit of 4 bytes");
}

std::string config(const std::string& members) {
  return R"({"vrrpConfig": {"e1": {"1": {)" + members + "}}}}";
}

// Escaped keys and strings are decoded into a buffer that the next one reuses; everything read
// before must be unaffected, error paths included.
TEST(JsonStrings, EscapesDecodeToUtf8) {
  const auto authKey = [](const std::string& text) {
    return parseStateDocument(config(R"("authKey": )" + text))
        .vrrpConfig.at(Lirex::IntfId("e1"))
        .at(1)
        .authKey;
  };
  EXPECT_EQ(authKey(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
  EXPECT_EQ(authKey(R"("\u0041\u00E9\u20ac\uD83D\uDE00")"),
            "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(authKey(R"("a\u0000b")"), std::string("a\0b", 3));
  EXPECT_EQ(authKey("\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F\""),
            "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F");
  EXPECT_EQ(authKey("\"\xC3\xA9\\u0041\""),
            "\xC3\xA9"
            "A");

  const StateDocument doc = parseStateDocument(
      R"({"vrrpConfig": {"\u0065th1": {"1": {"authKey": "\u006b"}}, "e\u0032": {}}})");
  EXPECT_EQ(doc.vrrpConfig.at(Lirex::IntfId("eth1")).at(1).authKey, "k");
  EXPECT_TRUE(doc.vrrpConfig.count(Lirex::IntfId("e2")));
  EXPECT_EQ(documentError(R"({"vrrpConfig": {"\u0065th1": {"1": {"authKey": "\u0041", )"
                          R"("priority": 300}}}})")
                .path(),
            R"($.vrrpConfig.eth1["1"].priority)");
  EXPECT_EQ(documentError(R"({"ip": {"\u0065 1": {}}})").message(),
            R"($.ip["e 1"]: interface name "e 1" contains white space or a control character)");
}

TEST(JsonNumbers, RangeAndSign) {
  const auto first = [](const std::string& text) {
    return parseStateDocument(config(text)).vrrpConfig.at(Lirex::IntfId("e1")).at(1);
  };
  EXPECT_EQ(first(R"("priority": -0)").priority, 0u);
  EXPECT_EQ(first(R"("version": 4294967295)").version, 4294967295u);
  for (const char* n : {"4294967296", "9223372036854775808", "-9223372036854775809", "-1"}) {
    EXPECT_EQ(documentError(config(R"("version": )" + std::string(n))).reason(),
              n + std::string(" is out of range 1..4294967295"));
  }
  const auto upSince = [](const std::string& number) {
    const std::string text = R"({"vrrpStatus": {"e1": {"1": {"state": "master", "priority": 1, )"
                             R"("srcAddr": "1.2.3.4", "virtualMacAddr": "00:00:5e:00:01:01", )"
                             R"("ipAddrs": {}, "upSince": )" +
                             number + "}}}}";
    return parseStateDocument(text).vrrpStatus.at(Lirex::IntfId("e1")).at(1).upSince;
  };
  EXPECT_EQ(upSince("1e-400"), 0.0);
  EXPECT_FALSE(std::signbit(upSince("-0.000001e-400")));
  EXPECT_DOUBLE_EQ(upSince("1.7976931348623157e308"), 1.7976931348623157e308);
  EXPECT_DOUBLE_EQ(upSince("17637600002E-1"), 1763760000.2);
  EXPECT_DOUBLE_EQ(upSince("123456789012345678901234567890"), 1.2345678901234568e29);
}

const std::string kDocument = R"({
  "interfaces": { "Ethernet1": { "ifIndex": 1 }, "V\u00e9lo2": { "ifIndex": 2 } },
  "ip": { "Ethernet1": { "activeAddrWithMask": "192.0.2.2/24" } },
  "vrrpConfig": { "Ethernet1": { "5": { "priority": 200, "authKey": "\ud83d\ude00" } } },
  "vrrpStatus": { "Ethernet1": { "5": { "state": "master", "priority": 200,
      "srcAddr": "192.0.2.2", "virtualMacAddr": "00:00:5e:00:01:05",
      "ipAddrs": { "192.0.2.1": true, "192.0.2.9": false }, "upSince": 1763760000.25 } } }
}
)";

// A half-written document must fail as one, wherever it was cut, and not for its values.
TEST(JsonDocuments, EveryTruncationIsASyntaxError) {
  const std::size_t complete = kDocument.rfind('}') + 1;
  for (std::size_t length = 0; length < complete; ++length) {
    SCOPED_TRACE(length);
    const StateDocumentError error = documentError(std::string_view(kDocument).substr(0, length));
    EXPECT_TRUE(error.isSyntaxError()) << error.message();
    EXPECT_GE(error.column(), 1u);
  }
  EXPECT_NO_THROW(parseStateDocument(std::string_view(kDocument).substr(0, complete)));
}

// Garbage must only ever give a document or a StateDocumentError (run under the sanitizers too).
TEST(JsonDocuments, CorruptedDocumentsNeverCrash) {
  const auto tryParse = [](const std::string& text) {
    try {
      parseStateDocument(text);
    } catch (const StateDocumentError&) {
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

TEST(JsonPath, NamesKeysAndIndexes) {
  Json::Path path;
  EXPECT_EQ(path.str(), "$");
  for (const char* key : {"vrrpStatus", "Ethernet1", "5"}) path.pushKey(key);
  path.pushIndex(3);
  path.pushKey("say \"hi\"\n\x7f");
  path.pushKey("");
  path.pushKey("_a1");
  EXPECT_EQ(path.str(), R"($.vrrpStatus.Ethernet1["5"][3]["say \"hi\"\n\u007f"][""]._a1)");
}

}  // namespace
}  // namespace Zentra

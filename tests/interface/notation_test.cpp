#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tessaro/host_objects.hpp"
#include "tessaro/notation.hpp"

namespace tessaro {
namespace {

constexpr ReadOptions kArgument{.allowNothing = true};

std::string reprint(std::string_view text, ReadOptions options = {}) {
  return printNotation(readNotation(text, options));
}

TEST(Notation, CanonicalTextsPrintBackUnchanged) {
  const char* texts[] = {
      "null", "true", "false", "0", "-12", "9223372036854775807", "-9223372036854775808",
      "2.0", "0.1", "-0.0", "1e-310", "2.2250738585072014e-308", "1e+22", "123456.0", "-1.5e-07",
      R"("")", R"("abc")", "\"h\xC3\xA9llo \xE2\x9C\x93 \xF0\x9F\x98\x80\"", R"("\ud800")", R"("a\udfffb")",
      R"("\"\\\b\f\n\r\t\u0001\u001f")", "\"\x7F/\"",
      "[]", "[1, [2, [3, []]], {}]", "{}", R"({"a": 1, "b": [1, 2]})", R"({"z": 1, "a": 2, "m": null})",
      R"({"$real": "inf"})", R"({"$real": "-inf"})", R"({"$real": "nan"})",
      R"({"$date": 482797958.5})", R"({"$date": -1.0})", R"({"$date": {"$real": "nan"}})",
      R"({"$data": "3q2+7w=="})", R"({"$data": ""})", R"({"$data": "AAE="})",
      R"({"$url": "file:///tmp/a%20b"})", R"({"$range": [0, 9223372036854775807]})",
      R"({"$indexSet": [1, 3, 4, 5]})", R"({"$indexSet": []})",
      R"({"$descriptor": {"type": "ldt ", "hex": "0011aabbccddeeff"}})",
      R"({"$descriptor": {"type": "enum", "hex": "64736c63"}})",
      R"({"$descriptor": {"type": "list", "items": [{"$descriptor": {"type": "bool", "hex": "01"}}, )"
      R"({"$descriptor": {"type": "list", "items": []}}]}})",
      R"({"$descriptor": {"type": "reco", "items": {"aiCl": {"$descriptor": {"type": "bool", "hex": "00"}}, )"
      R"("pAnc": {"$descriptor": {"type": "list", "items": []}}}}})",
      R"({"$record": {"$url": 1}})", R"({"$record": {"$record": {}}})", R"({"a": {"$record": {"$date": 2}}})",
      R"({"$record": {"$record": {"$url": 5}}, "b": 2})",
      R"({"$bezier": {"elements": [["moveto", [0.0, 0.0]], ["lineto", [10.0, 0.5]], )"
      R"(["curveto", [1.0, 2.0], [3.0, 4.0], [5.0, 6.0]], ["closepath"]]}})",
      R"({"$bezier": {"elements": [], "dash": [5.0, 2.0], "phase": 1.0}})",
      R"({"$bezier": {"elements": [], "dash": [5.0, 2.0]}})", R"({"$bezier": {"elements": [], "dash": []}})",
      R"({"$bezier": {"elements": [["moveto", [0.0, 0.0]]], "phase": 3.0}})",
      R"({"$bezier": {"elements": [], "dash": [1.0], "phase": 0.0}})",
      "100000.0", "0.0001", "1000000000000000.0", "1e+16", "1.5e-05", "1.2345678901234568e+20", "-1e-05",
      R"({"$color": {"space": "rgb", "components": [1.0, 0.5, 0.0, 1.0]}})",
      R"({"$color": {"space": "gray", "components": [0.25, 1.0]}})",
      R"({"$locale": "fr_FR"})", R"({"$script": {"command": ["/bin/echo", "x"]}})", R"({"$script": {}})",
      R"([{"$date": 1.0}, {"k": {"$url": "http://x/"}, "r": {"$range": [1, 2]}}])",
  };
  for (const char* text : texts) EXPECT_EQ(reprint(text), text);
  EXPECT_EQ(reprint(R"({"$nothing": true})", kArgument), R"({"$nothing": true})");
}

TEST(Notation, NumbersKeepTheirKind) {
  Value two = readNotation("2"), twoReal = readNotation("2.0"), thousand = readNotation("1E3");
  EXPECT_EQ(two.kind(), ValueKind::integer);
  EXPECT_EQ(twoReal.kind(), ValueKind::real);
  EXPECT_EQ(thousand.kind(), ValueKind::real);
  EXPECT_EQ(thousand.asReal(), 1000.0);
  EXPECT_EQ(readNotation("-0").kind(), ValueKind::integer);
  EXPECT_TRUE(std::signbit(readNotation("-0.0").asReal()));
  EXPECT_EQ(readNotation("9223372036854775807").asInteger(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(readNotation("-9223372036854775808").asInteger(), std::numeric_limits<std::int64_t>::min());
  // Too large for an integer is still fine as a real.
  EXPECT_EQ(readNotation("9223372036854775808.0").asReal(), 9223372036854775808.0);
  // Long digit strings with exponents that bring them back into range.
  EXPECT_EQ(readNotation("1" + std::string(400, '0') + ".0e-400").asReal(), 1.0);
  EXPECT_EQ(readNotation("[0." + std::string(400, '0') + "25e401]").asList()[0].asReal(), 2.5);
}

std::string readError(std::string_view text) {
  try {
    readNotation(text);
  } catch (const NotationError& e) {
    return e.what();
  }
  return "(read)";
}

TEST(Notation, NumberErrorsSayWhatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {"9223372036854775808", "integer out of the 64-bit range"},
      {"-9223372036854775809", "integer out of the 64-bit range"},
      {"[18446744073709551616]", "integer out of the 64-bit range"},
      {"{\"a\": 100000000000000000000000}", "integer out of the 64-bit range"},
      {"1e400", "real out of range"}, {"[-1e400]", "real out of range"}, {"[1.5E+309 ]", "real out of range"},
      {"1e99999999999999999999", "real out of range"}, {"{\"a\": 0.1e310}", "real out of range"},
      {"-", "malformed number"}, {"[-]", "malformed number"}, {"-a", "malformed number"}, {"01", "malformed number"},
      {"[-01]", "malformed number"}, {"1.", "malformed number"}, {"1e", "malformed number"},
      {"[1.5e+]", "malformed number"}, {"0x1", "malformed number"}, {"[1e400x]", "malformed number"},
  };
  for (const auto& [text, message] : cases) {
    std::string error = readError(text);
    EXPECT_EQ(error.rfind(message, 0), 0u) << text << ": " << error;
  }
  // Long tokens are named in part only.
  EXPECT_LT(readError(std::string(5000, '9')).size(), 100u);
}

TEST(Notation, RealsTooSmallToHoldReadAsZero) {
  for (const char* text : {"1e-400", "0.0000001e-330", "1e-99999999999999999999", "0e99999999999999999999",
                           "0.000e-99999999999999999999"}) {
    Value v = readNotation(text);
    ASSERT_EQ(v.kind(), ValueKind::real) << text;
    EXPECT_EQ(v.asReal(), 0.0) << text;
    EXPECT_FALSE(std::signbit(v.asReal())) << text;
  }
  EXPECT_TRUE(std::signbit(readNotation("-1e-400").asReal()));
  Value list = readNotation(R"([-1e-99999999999999999999, {"a": 1e-99999999999999999999, "b": 2}, 3])");
  EXPECT_EQ(printNotation(list), R"([-0.0, {"a": 0.0, "b": 2}, 3])");
  EXPECT_THROW(readNotation("1e-99999999999999999999 2"), NotationError);
  // Subnormals are not underflow.
  EXPECT_EQ(readNotation("2e-320").asReal(), 2e-320);
  EXPECT_EQ(readNotation("4.9406564584124654e-324").asReal(), 5e-324);
}

TEST(Notation, RealsPrintShortestInFixedOrScientificByExponent) {
  // Fixed notation for decimal exponents -4 to 15, scientific outside.
  const std::pair<double, const char*> cases[] = {
      {0.0, "0.0"}, {-0.0, "-0.0"}, {1.0, "1.0"}, {0.1, "0.1"}, {1.0 / 3, "0.3333333333333333"},
      {100000.0, "100000.0"}, {123456.5, "123456.5"}, {1e15, "1000000000000000.0"},
      {9999999999999998.0, "9999999999999998.0"}, {1e16, "1e+16"}, {1.5e16, "1.5e+16"},
      {123456789012345680000.0, "1.2345678901234568e+20"}, {1e22, "1e+22"}, {-1e100, "-1e+100"},
      {1.7976931348623157e308, "1.7976931348623157e+308"}, {0.0001, "0.0001"}, {0.00012345, "0.00012345"},
      {-0.0001, "-0.0001"}, {0.00009999, "9.999e-05"}, {1.5e-5, "1.5e-05"}, {1e-5, "1e-05"},
      {2.2250738585072014e-308, "2.2250738585072014e-308"}, {1e-310, "1e-310"}, {5e-324, "5e-324"},
      {482797958.5, "482797958.5"}, {-12345678.9, "-12345678.9"},
  };
  for (const auto& [d, text] : cases) {
    std::string printed;
    printReal(d, printed);
    EXPECT_EQ(printed, text);
    Value back = readNotation(printed);
    EXPECT_EQ(back.asReal(), d) << printed;
    EXPECT_EQ(std::signbit(back.asReal()), std::signbit(d)) << printed;
  }
  // Dates and bezier coordinates print by the same rule.
  EXPECT_EQ(printNotation(Value::date(1e16)), R"({"$date": 1e+16})");
  EXPECT_EQ(printNotation(Value::date(-100000.0)), R"({"$date": -100000.0})");
  EXPECT_EQ(reprint(R"({"$bezier": "M 100000 0.00001"})"),
            R"({"$bezier": {"elements": [["moveto", [100000.0, 1e-05]]]}})");
}

TEST(Notation, StringsAreUtf16WithSurrogatesKept) {
  EXPECT_EQ(readNotation(R"("\ud83d\ude00")").asString(), u"\U0001F600");
  EXPECT_EQ(readNotation("\"\xF0\x9F\x98\x80\"").asString(), u"\U0001F600");
  EXPECT_EQ(readNotation(R"("\uD800")").asString(), std::u16string(1, char16_t(0xD800)));
  EXPECT_EQ(readNotation(R"("x\uDE00\uD83D")").asString(), (std::u16string{u'x', 0xDE00, 0xD83D}));
  EXPECT_EQ(readNotation(R"("\u00e9\/\u0041")").asString(), u"\u00e9/A");
  // Long strings cross the word-at-a-time fast path at every offset.
  std::string text = "\"";
  std::u16string expected;
  for (int i = 0; i < 40; ++i) {
    text += "abcdefg\\n\xC3\xA9";
    expected += u"abcdefg\n\u00e9";
  }
  EXPECT_EQ(readNotation(text + "\"").asString(), expected);
  // Printing: a surrogate pair becomes one UTF-8 character, lone ones stay escapes.
  EXPECT_EQ(printNotation(Value::string(std::u16string{0xD83D, 0xDE00, 0xDC00, 0xD800})),
            "\"\xF0\x9F\x98\x80\\udc00\\ud800\"");
}

TEST(Notation, EveryCharacterKindAtEveryOffset) {
  // The reader and the printer work on blocks of 8 and 16 units: put each kind
  // of character that needs care at each offset of strings around those sizes.
  const std::u16string specials[] = {u"\"", u"\\", u"\n", u"\u0001", u"\u00e9", u"\u6771", u"\U0001F600",
                                     std::u16string(1, char16_t(0xDC00)), u"/", u"\u007f"};
  for (std::size_t length : {1, 7, 8, 9, 15, 16, 17, 24, 33}) {
    for (std::size_t at = 0; at < length; ++at) {
      for (const std::u16string& special : specials) {
        std::u16string text(length, u'a');
        text.replace(at, 1, special);
        Value value = Value::string(text);
        std::string printed = printNotation(value);
        Value back = readNotation(printed);
        ASSERT_EQ(back.asString(), text) << printed;
        EXPECT_EQ(printNotation(back), printed);
      }
    }
  }
  EXPECT_EQ(printNotation(Value::string(u"0123456789abcdef\"x")), R"("0123456789abcdef\"x")");
  EXPECT_EQ(printNotation(Value::string(u"tab\there, \u00e9")), "\"tab\\there, \xC3\xA9\"");
}

TEST(Notation, NonCanonicalInputPrintsCanonically) {
  EXPECT_EQ(reprint(" { \"a\" :1 ,\"b\":[ 1,2 ] } "), R"({"a": 1, "b": [1, 2]})");
  EXPECT_EQ(reprint(R"({"a": 1, "b": 2, "a": 3})"), R"({"a": 3, "b": 2})");
  EXPECT_EQ(reprint(R"({"$data": "3q2+7w"})"), R"({"$data": "3q2+7w=="})");
  EXPECT_EQ(reprint(R"({"$indexSet": [5, 1, 3, 1, 2]})"), R"({"$indexSet": [1, 2, 3, 5]})");
  EXPECT_EQ(reprint(R"({"$descriptor": {"hex": "ABcd", "type": "doub"}})"),
            R"({"$descriptor": {"type": "doub", "hex": "abcd"}})");
  EXPECT_EQ(reprint(R"({"$date": 5})"), R"({"$date": 5.0})");
  EXPECT_EQ(reprint(R"({"$real": 2})"), "2.0");
  EXPECT_EQ(reprint(R"({"$date": "2001-01-01T00:00:00Z"})"), R"({"$date": 0.0})");
  EXPECT_EQ(reprint(R"({"$date": "2016-04-19T08:12:38.5+02:00"})"), R"({"$date": 482739158.5})");
  EXPECT_EQ(reprint(R"({"$date": "2000-12-31T19:00-0500"})"), R"({"$date": 0.0})");
  EXPECT_EQ(reprint(R"({"$bezier": {"phase": 2, "elements": []}})"), R"({"$bezier": {"elements": [], "phase": 2.0}})");
  EXPECT_EQ(reprint(R"({"$bezier": "M 0 0 L 1 2 z"})"),
            R"({"$bezier": {"elements": [["moveto", [0.0, 0.0]], ["lineto", [1.0, 2.0]], ["closepath"]]}})");
}

TEST(Notation, TaggedValuesHoldWhatTheySay) {
  Value data = readNotation(R"({"$data": "3q2+7w=="})");
  EXPECT_EQ(data.asData(), "\xDE\xAD\xBE\xEF");
  EXPECT_EQ(readNotation(R"({"$url": "file:///tmp/a%20b"})").asUrl(), "file:///tmp/a%20b");
  EXPECT_EQ(readNotation(R"({"$range": [3, 4]})").asRange(), (Range{3, 4}));
  EXPECT_EQ(readNotation(R"({"$indexSet": [7, 1, 2, 3]})").asIndexSet().indexes(),
            (std::vector<std::uint64_t>{1, 2, 3, 7}));
  EXPECT_TRUE(readNotation(R"({"$nothing": true})", kArgument).isNothing());

  Value enumerated = readNotation(R"({"$descriptor": {"type": "enum", "hex": "64736c63"}})");
  EXPECT_EQ(enumerated.asDescriptor(), Descriptor::fromFourCC(codes::enumerated, fourCC("clsd")));
  Value recordDescriptor = readNotation(
      R"({"$descriptor": {"type": "reco", "items": {"aiCl": {"$descriptor": {"type": "bool", "hex": "01"}}}}})");
  const Descriptor& record = recordDescriptor.asDescriptor();
  ASSERT_EQ(record.form(), Descriptor::Form::record);
  ASSERT_NE(record.field(fourCC("aiCl")), nullptr);
  EXPECT_EQ(*record.field(fourCC("aiCl")), Descriptor::fromBool(true));

  // An escaped record is a record even when its one key is a tag.
  Value escaped = readNotation(R"({"$record": {"$date": "not a date"}})");
  ASSERT_TRUE(escaped.isRecord());
  EXPECT_EQ(*escaped.asRecord().find(u"$date"), Value::string(u"not a date"));
  // With more than one key, tag names are ordinary keys.
  Value plain = readNotation(R"({"$url": 1, "$date": {"$date": 2.5}})");
  ASSERT_TRUE(plain.isRecord());
  EXPECT_EQ(plain.asRecord().find(u"$date")->kind(), ValueKind::date);

  Value colorValue = readNotation(R"({"$color": {"space": "cmyk", "components": [0, 0.5, 1, 0, 1]}})");
  const auto* color = colorValue.objectAs<Color>();
  ASSERT_NE(color, nullptr);
  EXPECT_EQ(color->space, "cmyk");
  EXPECT_EQ(color->components, (std::vector<double>{0, 0.5, 1, 0, 1}));
  Value scriptValue = readNotation(R"({"$script": {"command": ["sh", "-c", "x"]}})");
  const auto* script = scriptValue.objectAs<ScriptTarget>();
  ASSERT_NE(script, nullptr);
  EXPECT_EQ(script->command, (std::vector<std::string>{"sh", "-c", "x"}));
  EXPECT_FALSE(readNotation(R"({"$script": {}})").objectAs<ScriptTarget>()->hasHandlers());
}

TEST(Notation, ValuesBuiltInCodePrintCanonically) {
  EXPECT_EQ(printNotation(Value::real(2)), "2.0");
  EXPECT_EQ(printNotation(Value::real(1e-310)), "1e-310");
  EXPECT_EQ(printNotation(Value::nothing()), R"({"$nothing": true})");
  EXPECT_EQ(printNotation(Value::list({Value::null(), Value::boolean(false)})), "[null, false]");

  Record tagLike;
  tagLike.set(u"$date", Value::integer(1));
  EXPECT_EQ(printNotation(Value::record(tagLike)), R"({"$record": {"$date": 1}})");

  // Four-character codes that are not UTF-8 print a character per byte and read back as the same bytes.
  Value odd = Value::descriptor(Descriptor::record({{0x2475726C /* "$url" */, Descriptor::fromBool(false)}},
                                                   0xFF616263));
  std::string text = printNotation(odd);
  EXPECT_EQ(text, "{\"$descriptor\": {\"type\": \"\xC3\xBF" "abc\", \"items\": {\"$record\": {\"$url\": "
                  "{\"$descriptor\": {\"type\": \"bool\", \"hex\": \"00\"}}}}}}");
  EXPECT_EQ(readNotation(text), odd);

  auto path = std::make_unique<BezierPath>();
  path->elements.push_back({BezierPath::ElementKind::moveTo, {{HUGE_VAL, -0.0}}});
  Value bezier = Value::object(path.release());
  text = printNotation(bezier);
  EXPECT_EQ(text, R"({"$bezier": {"elements": [["moveto", [{"$real": "inf"}, -0.0]]]}})");
  EXPECT_EQ(readNotation(text), bezier);
  // A path built in code shows a dash pattern and a phase when it has them.
  auto dashed = std::make_unique<BezierPath>();
  dashed->dash = {3, 1};
  EXPECT_EQ(printNotation(Value::object(dashed.release())), R"({"$bezier": {"elements": [], "dash": [3.0, 1.0]}})");
  auto shifted = std::make_unique<BezierPath>();
  shifted->dash = {3, 1};
  shifted->phase = 0.5;
  EXPECT_EQ(printNotation(Value::object(shifted.release())),
            R"({"$bezier": {"elements": [], "dash": [3.0, 1.0], "phase": 0.5}})");

  std::string bytes;
  for (int b = 0; b < 256; ++b) bytes += char(b);
  Value data = Value::data(bytes);
  EXPECT_EQ(readNotation(printNotation(data)), data);

  EXPECT_EQ(printNotation(Value::url("http://h/\xFF\"")), "{\"$url\": \"http://h/\xEF\xBF\xBD\\\"\"}");
}

TEST(Notation, HostObjectsCompareByContent) {
  const char* colour = R"({"$color": {"space": "rgb", "components": [1, 0.5, 0, 1]}})";
  EXPECT_EQ(readNotation(colour), readNotation(colour));
  EXPECT_EQ(readNotation(colour).hash(), readNotation(colour).hash());
  EXPECT_NE(readNotation(colour), readNotation(R"({"$color": {"space": "rgb", "components": [1, 0.5, 0, 0.5]}})"));
  EXPECT_EQ(readNotation(R"({"$locale": "de_CH"})"), readNotation(R"({"$locale": "de_CH"})"));
  EXPECT_NE(readNotation(R"({"$locale": "de_CH"})"), readNotation(R"({"$locale": "de_DE"})"));
  EXPECT_EQ(readNotation(R"({"$bezier": "M 0 0 H 2 Z"})"),
            readNotation(R"({"$bezier": {"elements": [["moveto", [0, 0]], ["lineto", [2, 0]], ["closepath"]]}})"));
  EXPECT_NE(readNotation(R"({"$bezier": {"elements": [], "dash": [1]}})"),
            readNotation(R"({"$bezier": {"elements": []}})"));
  // Writing a phase of 0 or an empty dash pattern changes the printed form only.
  EXPECT_EQ(readNotation(R"({"$bezier": {"elements": [], "dash": [1], "phase": 0}})"),
            readNotation(R"({"$bezier": {"elements": [], "dash": [1]}})"));
  EXPECT_EQ(readNotation(R"({"$bezier": {"elements": [], "dash": []}})"),
            readNotation(R"({"$bezier": {"elements": []}})"));
  EXPECT_NE(readNotation(R"({"$bezier": {"elements": [], "phase": 1}})"),
            readNotation(R"({"$bezier": {"elements": []}})"));
  EXPECT_NE(readNotation(R"({"$locale": "rgb"})"), readNotation(colour));
  // Scripts are the same only when they are the same object.
  EXPECT_NE(readNotation(R"({"$script": {}})"), readNotation(R"({"$script": {}})"));
}

TEST(Notation, MalformedTextIsRefused) {
  const char* bad[] = {
      "", "  ", "[1,]", "[,1]", "[1 2]", "{\"a\" 1}", "{\"a\":1,}", "{\"a\"}", "{1: 2}", "tru", "nul", "nulls",
      "01", "1.", ".5", "+1", "-", "1e", "1e400", "[1e400]", "NaN", "'a'", "\"abc", "\"a\\x\"", "\"\\u12G4\"",
      "\"\\u12\"", "\"tab\there\"", "\"nl\nhere\"", "[1]]", "[1] 2", "{} {}", "\"a\" \"b\"", "1 2", "[1]x",
      "\"\xFF\"", "\"\xC3\"", "\"\xED\xA0\x80\"", "{\"a\xE9\": 1}", "[\"a\"\x01]",
      // tags
      R"([{"$nothing": true}])", R"({"a": {"$nothing": true}})", R"({"$nothing": false})",
      R"({"$real": "infinity"})", R"({"$real": null})", R"({"$date": "2001-01-01T00:00:00"})",
      R"({"$date": "2001-02-29T00:00:00Z"})", R"({"$date": "2001-01-01T24:00:00Z"})", R"({"$date": [1]})",
      R"({"$date": "2001-01-01T00:00:00Zjunk"})", R"({"$data": "3q2+7"})", R"({"$data": "3q*+"})",
      R"({"$data": "3q2+7w="})", R"({"$data": "===="})", R"({"$data": 5})",
      R"({"$url": "no scheme"})", R"({"$url": "/tmp/x"})", R"({"$url": ":x"})", R"({"$url": "a b:c"})",
      R"({"$url": "http://a b/"})", R"({"$range": [1]})", R"({"$range": [-1, 2]})", R"({"$range": [1.0, 2]})",
      R"({"$indexSet": [-1]})", R"({"$indexSet": [1, "2"]})", R"({"$indexSet": 3})",
      R"({"$descriptor": {"type": "abc", "hex": ""}})", R"({"$descriptor": {"type": "abcd", "hex": "0"}})",
      R"({"$descriptor": {"type": "abcd", "hex": "zz"}})", R"({"$descriptor": {"type": "abcd"}})",
      R"({"$descriptor": {"type": "abcd", "hex": "", "items": []}})",
      R"({"$descriptor": {"type": "list", "items": [1]}})", R"({"$descriptor": {"type": "abcd", "items": []}})",
      R"({"$descriptor": {"type": "reco", "items": {"abc": {"$descriptor": {"type": "abcd", "hex": ""}}}}})",
      R"({"$descriptor": {"type": "abcd", "hex": "", "x": 1}})",
      R"({"$record": 5})", R"({"$record": {"$url": 5}, "b": 2})", R"({"$bezier": "L 1 1"})",
      R"({"$bezier": {"elements": [["lineto"]]}})", R"({"$bezier": {"elements": [["arc", [1, 2]]]}})",
      R"({"$bezier": {"elements": [["moveto", [1, 2, 3]]]}})", R"({"$bezier": {"dash": [1]}})",
      R"({"$bezier": {"elements": [], "colour": 1}})", R"({"$color": {"space": "rgb", "components": [1, 2]}})",
      R"({"$color": {"space": "hsv", "components": [1, 2, 3, 4]}})", R"({"$color": {"components": [1, 1]}})",
      R"({"$locale": ""})", R"({"$locale": "fr FR"})", R"({"$locale": 5})", R"({"$script": {"command": []}})",
      R"({"$script": {"cmd": ["x"]}})", R"({"$script": {"command": ["a\u0000b"]}})",
      R"({"$script": {"command": ["\udc00"]}})",
  };
  for (const char* text : bad) EXPECT_THROW(readNotation(text, kArgument), NotationError) << text;
  // No value is an argument of its own, never a value of the notation otherwise.
  EXPECT_THROW(readNotation(R"({"$nothing": true})"), NotationError);
}

TEST(Notation, AWholeTextScalarMayEndInWhiteSpace) {
  // The parser copies a root scalar to a small buffer to read it, white
  // space and all, and checks what follows "null" one byte too far.
  EXPECT_EQ(readNotation("8" + std::string(30, '\t')), Value::integer(8));
  EXPECT_EQ(readNotation("-12" + std::string(100, ' ')).asInteger(), -12);
  EXPECT_EQ(readNotation("-0" + std::string(30, ' ')).kind(), ValueKind::integer);
  EXPECT_EQ(readNotation("1.5" + std::string(2000, ' ')).asReal(), 1.5);
  EXPECT_TRUE(readNotation("null ").isNull());
  EXPECT_TRUE(readNotation("null\t\n").isNull());
  EXPECT_EQ(readNotation("true" + std::string(20, ' ')), Value::boolean(true));
  EXPECT_EQ(readNotation("false" + std::string(20, '\n')), Value::boolean(false));
  for (const char* text : {"nulll ", "nullx  ", "nulll          ", "truee     ", "falsex          "})
    EXPECT_EQ(readError(text), "malformed JSON literal") << text;
  EXPECT_EQ(readError("99999999999999999999" + std::string(30, ' ')),
            "integer out of the 64-bit range: 99999999999999999999");
  EXPECT_EQ(readError("8" + std::string(30, ' ') + "x"), "unexpected text after the JSON value");
  EXPECT_EQ(readError("null" + std::string(30, ' ') + "x"), "malformed JSON literal");
}

TEST(Notation, NestingIsLimited) {
  std::string deep = std::string(400, '[') + std::string(400, ']');
  EXPECT_EQ(readNotation(deep).kind(), ValueKind::list);
  std::string tooDeep = std::string(5000, '[') + std::string(5000, ']');
  EXPECT_THROW(readNotation(tooDeep), NotationError);
  std::string unbalanced = std::string(5000, '[');
  EXPECT_THROW(readNotation(unbalanced), NotationError);
}

TEST(Notation, ReaderStateDoesNotLeakBetweenTexts) {
  // A failed read leaves partial lists and records behind; the next read must not see them.
  EXPECT_THROW(readNotation(R"([1, {"a": [2, 3, tru]}])"), NotationError);
  EXPECT_EQ(reprint(R"([4, {"b": [5]}])"), R"([4, {"b": [5]}])");
  // A long text followed by a short one whose padding once held the long one's bytes.
  std::string longText = "[0]" + std::string(100, ']');
  EXPECT_THROW(readNotation(longText), NotationError);
  EXPECT_EQ(reprint("[0]"), "[0]");
}

TEST(Notation, LargeRecordsKeepOrderAndLastValue) {
  std::string text = "{";
  for (int i = 0; i < 100; ++i) text += "\"k" + std::to_string(i) + "\": " + std::to_string(i) + ", ";
  text += "\"k7\": \"again\"}";
  Value v = readNotation(text);
  ASSERT_EQ(v.asRecord().size(), 100u);
  EXPECT_EQ(v.asRecord().entries()[7].first, Value::string(u"k7"));
  EXPECT_EQ(v.asRecord().entries()[7].second, Value::string(u"again"));
  EXPECT_EQ(v.asRecord().entries()[99].second, Value::integer(99));
}

TEST(Notation, RepeatedKeysAreFoundAtEveryLengthAndDepth) {
  // A repeated key keeps its first place and takes its last value; keys
  // that differ anywhere, however long, stay apart.
  const std::pair<const char*, const char*> cases[] = {
      {R"({"a": {"x": 1, "x": 2}, "b": 1, "a": 3})", R"({"a": 3, "b": 1})"},
      {R"({"a": {"b": 1, "c": 2}, "d": {"b": 1, "b": 5}})", R"({"a": {"b": 1, "c": 2}, "d": {"b": 5}})"},
      {R"({"abcdefg": 1, "abcdefgh": 2, "abcdefg": 3})", R"({"abcdefg": 3, "abcdefgh": 2})"},
      {R"({"abcdefgh": 1, "abcdefgh": 2})", R"({"abcdefgh": 2})"},
      {R"({"abcdefghi": 1, "abcdefghj": 2, "abcdefghi": 3})", R"({"abcdefghi": 3, "abcdefghj": 2})"},
      {R"({"a longer key of text": 1, "a longer key of texT": 2})", R"({"a longer key of text": 1, "a longer key of texT": 2})"},
      {R"({"": 1, "a": 2, "": 3})", R"({"": 3, "a": 2})"},
      {R"({"ab": 1, "a": 2, "abc": 3, "b": 4})", R"({"ab": 1, "a": 2, "abc": 3, "b": 4})"},
      {R"({"\u00e9": 1, "\u00e9t\u00e9": 2, "é": 3})", R"({"é": 3, "été": 2})"},
      {R"([{"k": 1, "k": 2}, {"k": 3}, {"x": {"y": {"z": 1, "z": 2}, "y": 0}}])", R"([{"k": 2}, {"k": 3}, {"x": {"y": 0}}])"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(printNotation(readNotation(text)), expected) << text;
}

}  // namespace
}  // namespace tessaro

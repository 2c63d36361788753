#include "cli/config_file/syntax.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "cli/config_file/json_tokens.h"
#include "cli/config_file/text_positions.h"
#include "test_files.h"

// The configuration that each test damages at one location.
constexpr char kSound[] = R"({
  "wired": {
    "eth0": {
      "enable": true,
      "network": {
        "mode": "router",
        "ipv4": "192.168.1.1",
        "netmask": 24
      }
    },
    "eth1": {
      "enable": false
    }
  },
  "dns": {"static": ["9.9.9.9", "1.1.1.1"]}
}
)";

static std::string replaced(const std::string& part, const std::string& other) {
  std::string text = kSound;
  const std::size_t location = text.find(part);
  EXPECT_NE(location, std::string::npos) << part;
  return text.replace(location, part.size(), other);
}

// The text after all edits, which are applied from the last to the first.
static std::string edited(std::string text, std::vector<Edit> edits) {
  std::sort(edits.begin(), edits.end(),
            [](const Edit& a, const Edit& b) { return a.range.begin > b.range.begin; });
  for (const Edit& edit : edits)
    text.replace(static_cast<std::size_t>(edit.range.begin),
                 static_cast<std::size_t>(edit.range.end - edit.range.begin), edit.replacement);
  return text;
}

static std::optional<SyntaxError> error_in(const std::string& text) {
  Json::Value root;
  const auto parse_error = parse_configuration(text, root);
  return parse_error ? std::optional(explain_parse_error(text, *parse_error)) : std::nullopt;
}

static std::string located(const std::string& text, TextRange range, const std::string& message) {
  const TextPosition position = TextPositions(text).at(range.begin);
  return std::to_string(position.line) + ":" + std::to_string(position.column) + ": " + message;
}

// The error, such as "4:17: a comma is missing after this value", or "accepted".
static std::string message_for(const std::string& text) {
  const auto error = error_in(text);
  return error ? located(text, error->range, error->message) : "accepted";
}

// The first related location, such as "6:9: the first one", or "none".
static std::string note_for(const std::string& text) {
  const auto error = error_in(text);
  if (!error || error->related.empty()) return "none";
  return located(text, error->related[0].range, error->related[0].message);
}

// The text after the fix; unchanged if there is no error or no fix.
static std::string fixed(const std::string& text) {
  const auto error = error_in(text);
  return error ? edited(text, error->fix) : text;
}

namespace {

struct Damage {
  const char* part;
  const char* other;
  const char* message;
};

}  // namespace

// The fix restores the original text.
TEST(Syntax, DamageWithACertainFix) {
  constexpr Damage kDamages[] = {
      {"true,\n", "true\n", "4:17: a comma is missing after this value"},
      {"    },\n    \"eth1\"", "    }\n    \"eth1\"", "10:5: a comma is missing after this value"},
      {"\"9.9.9.9\", ", "\"9.9.9.9\" ", "15:22: a comma is missing after this value"},
      {"24\n", "24,\n", "8:22: trailing comma after the last member"},
      {"\"1.1.1.1\"]", "\"1.1.1.1\",]", "15:42: trailing comma after the last element"},
      {"true,", "true,,", "4:22: one comma too many"},
      {"\"eth0\": {", "\"eth0\": {,", "3:14: one comma too many"},
      {"[\"9", "[,\"9", "15:22: one comma too many"},
      {"\"9.9.9.9\",", "\"9.9.9.9\",,", "15:32: one comma too many"},
      {"true,", "true;", "4:21: a comma is expected, not ';'"},
      {"\"ipv4\":", "\"ipv4\"", "7:9: a colon is missing after \"ipv4\""},
      {"\"ipv4\":", "\"ipv4\"=", "7:15: a colon is expected, not '='"},
      {"\"ipv4\":", "\"ipv4\"=>", "7:15: a colon is expected, not '='"},
      {"\"ipv4\":", "\"ipv4\"::", "7:16: one colon too many"},
      {"\"192.168.1.1\",", "\"192.168.1.1,", "7:17: the string is not closed: its second quote is missing"},
      {"\"192.168.1.1\",", "192.168.1.1\",", "7:17: the string has no quote before it"},
      {"\"192.168.1.1\",", "192.168.1.1,", "7:17: a string needs double quotes"},
      {"\"router\"", "router", "6:17: a string needs double quotes"},
      {"\"ipv4\":", "ipv4\":", "7:9: the key has no quote before it"},
      {"\"ipv4\":", "\"ipv4:", "7:9: the string is not closed: its second quote is missing"},
      {"\"ipv4\":", "ipv4:", "7:9: a key needs double quotes"},
      {"\"router\"", "'router'", "6:17: single quotes: a string needs double quotes"},
      {"\"mode\"", "'mode'", "6:9: single quotes: a string needs double quotes"},
      {"\"router\"", "`router`", "6:17: backquotes: a string needs double quotes"},
      {"\"router\"", "“router”",
       "6:17: typographic quotes (U+201C LEFT DOUBLE QUOTATION MARK): a string needs double quotes"},
      {"\"mode\"", "„mode“",
       "6:9: typographic quotes (U+201E DOUBLE LOW-9 QUOTATION MARK): a string needs double quotes"},
      {"\"router\"", "\"router”",
       "6:24: typographic quotes (U+201D RIGHT DOUBLE QUOTATION MARK): this string begins with a double "
       "quote"},
      {"\"router\"", "\"router'", "6:24: single quotes: this string begins with a double quote"},
      {"\"router\"", "\"router\"\"", "6:24: one quote too many"},
      {"\"router\"", "\"\"router\"", "6:18: one quote too many"},
      {"true,", "True,", "4:17: \"True\" is not a value in JSON: write true"},
      {"false", "FALSE", "12:17: \"FALSE\" is not a value in JSON: write false"},
      {"true,", "ture,", "4:17: \"ture\" is not a value in JSON: did you mean true?"},
      {"true,", "truе,", "4:17: the word has a Cyrillic е (U+0435): write true"},
      {"24\n", "0x18\n", "8:20: a number is decimal in JSON: write 24"},
      {"24\n", "2_4\n", "8:20: a number has no underscores"},
      {"\"mode\": ", "\"mode\":\u00a0", "6:16: contains U+00A0 NO-BREAK SPACE"},
      {"\"mode\": ", "\"mode\": \u200b", "6:17: contains U+200B ZERO WIDTH SPACE"},
      {"true,", "true，", "4:21: contains fullwidth ， (U+FF0C)"},
      {"\"mode\":", "\"mode\"：", "6:15: contains fullwidth ： (U+FF1A)"},
      {"\"wired\"", "\ufeff\"wired\"", "2:3: contains U+FEFF ZERO WIDTH NO-BREAK SPACE (byte order mark)"},
      {"\"1.1.1.1\"]", "\"1.1.1.1\"", "15:33: ']' is missing after this"},
      {"[\"9", "{\"9", "15:21: '[' is expected, not '{'"},
      {"\"network\": {", "\"network\": [", "5:18: '{' is expected, not '['"},
      {"1.1.1.1\"]}\n}", "1.1.1.1\"]}", "15:43: '}' is missing after this"},
  };
  for (const auto& [part, other, message] : kDamages) {
    const std::string text = replaced(part, other);
    EXPECT_EQ(message_for(text), message);
    // Where a space was damaged, the white space may differ after the fix.
    EXPECT_EQ(message_for(fixed(text)), "accepted") << fixed(text);
    if (std::string(part) != "\"mode\": ") {
      EXPECT_EQ(fixed(text), kSound) << message;
    }
  }
}

// The original is not the only possible meaning, so there is no fix, or one that results in another text.
TEST(Syntax, DamageWithoutItsInverse) {
  constexpr Damage kDamages[] = {
      {"true,", "yes,", "4:17: \"yes\" is not a value in JSON: write true, or a string in double quotes"},
      {"true,", "off,", "4:17: \"off\" is not a value in JSON: write false, or a string in double quotes"},
      {"true,", "None,", "4:17: \"None\" is not a value in JSON: write null"},
      {"true,", "truefalse,", "4:17: a string needs double quotes"},
      {"24\n", "NaN\n", "8:20: JSON has no number NaN"},
      {"24\n", "-Infinity\n", "8:20: JSON has no number -Infinity"},
      {"24\n", ".5\n", "8:20: a number has a digit before the point"},
      {"24\n", "1e\n", "8:20: not a number, or too large for one"},
      {"24\n", "24h\n", "8:20: a string needs double quotes"},
      {"24\n", "02:00:5e:00:53:01\n", "8:20: a string needs double quotes"},
      {"24\n", "/* bits */ 24\n", "8:20: a comment is not allowed here"},
      {"24\n", "/* 24\n", "8:20: the comment is never closed"},
      {"true,", "true, # on", "4:23: a comment is not allowed here"},
      {"  \"dns\"", "<<<<<<< HEAD\n  \"dns\"", "15:1: a merge conflict is not resolved"},
      {"      }\n    },\n", "    },\n", "8:20: '}' is missing after this"},
      {"      }\n    },\n", "      },\n", "9:7: '}' is missing after this"},
      {"      }\n    },\n", "", "8:20: '}' is missing after this"},
      {"    }\n  },", "    }\n    }\n  },", "14:5: one '}' too many"},
      {"\"]}\n}", "\"]}\n}\n}", "17:1: one '}' too many"},
      {"\"]}\n}", "\"]}\n}\n[]", "17:1: text after the end of the configuration"},
      {"  },\n  \"dns\"", "  }},\n  \"dns\"", "14:4: the configuration ends here, but the text goes on"},
      {"\"]}", "\"}}", "15:42: '[' is closed with '}'"},
      {"24\n      }", "24\n      ]", "9:7: '{' is closed with ']'"},
      {"[\"9.9.9.9\"", "\"9.9.9.9\"", "15:19: '[' is missing after this"},
      {"[\"9.9.9.9\", \"1.1.1.1\"", "\"9.9.9.9\"", "15:19: '[' is missing after this"},
      {"[\"9.9.9.9\", \"1.1.1.1\"]", "{\"a\": 1}, {\"b\": 2}]", "15:19: '[' is missing after this"},
      {"[\"9.9.9.9\", \"1.1.1.1\"]", "[\"a\": 1}, {\"b\": 2}]", "15:22: '{' is missing before this key"},
      {"[\"9.9.9.9\", \"1.1.1.1\"]", "[{\"a\": 1}, \"b\": 2}]", "15:32: '{' is missing before this key"},
      {"[\"9.9.9.9\", \"1.1.1.1\"]", "{{\"a\": 1}, {\"b\": 2}]", "15:21: '[' is expected, not '{'"},
      {"\"1.1.1.1\"]", "1}]", "15:34: no '{' is open here"},
      {"\"]}", "\", \"source\": \"isp\"}", "15:33: ']' is missing after this"},
      {"\"]}", "\" \"source\": \"isp\"}", "15:33: ']' is missing after this"},
      {"\"netmask\"", "\"mode\"", "8:9: \"mode\" is already a key of this object"},
      {" \"router\",", ",", "6:9: \"mode\" has no value"},
      {" \"router\",", "", "6:9: \"mode\" has no value"},
      {": \"router\",", ",", "6:9: \"mode\" has no value"},
      {"24\n", "\n", "8:9: \"netmask\" has no value"},
      {"24\n", "(24)\n", "8:20: a value is expected, not '('"},
      {"\"router\",", "\"router\" |", "6:26: a comma or '}' is expected, not '|'"},
      {"\"9.9.9.9\",", "\"9.9.9.9\" |", "15:32: a comma or ']' is expected, not '|'"},
      {"\"mode\"", "{", "6:9: a key in double quotes is expected, not '{'"},
      {"\"router\"", "\"a \"b\" c\"", "6:20: a quote within a string needs a backslash: \\\""},
      {"\"router\"", "\"C:\\dir\"", "6:20: unknown escape: a backslash is written as \\\\"},
      {"\"router\"", "\"it\\'s\"", "6:20: unknown escape: a single quote needs no backslash"},
      {"\"router\"", "\"\\u12\"", "6:18: \\u needs four hexadecimal digits"},
      {"\"router\"", "\"\\ud83d\\ude00 \\ud83d\"",
       "6:31: half a character: \\uD800 to \\uDBFF need a second half"},
      {"\"router\"", "\"two words,", "6:17: the string is not closed: its second quote is missing"},
      {"\"router\"", "'it's", "6:17: single quotes: a string needs double quotes"},
      {"\"router\"", "'a \"b\"'", "6:17: single quotes: a string needs double quotes"},
      {"\"wired\"", "\x0b\"wired\"", "2:3: contains U+000B, a control character"},
      {"\"wired\"", "\xe4\"wired\"", "2:3: this byte is not UTF-8: the file has another encoding"},
  };
  for (const auto& [part, other, message] : kDamages) {
    const std::string text = replaced(part, other);
    EXPECT_EQ(message_for(text), message) << text;
    if (const std::string after = fixed(text); after != text) {
      EXPECT_NE(message_for(after), message) << after;
    }
  }
}

// Whether jsoncpp accepts comments above keys and after values; newer versions reject all comments.
constexpr bool kTakesComments = JSONCPP_VERSION_HEXA < 0x01090600;

TEST(Syntax, WholeTexts) {
  struct {
    std::string text;
    const char* message;
  } const cases[] = {
      {"", "1:1: the file is empty"},
      {" \n\n", "1:1: the file is empty"},
      {"[]", "1:1: the configuration is not an object in braces"},
      {"\"wired\": {}", "1:1: the configuration is not an object in braces"},
      {"wired: {}", "1:1: a string needs double quotes"},
      {"// a comment\n{}", "1:1: a comment is not allowed here"},
      {"{}\n// a comment\n", "2:1: a comment is not allowed here"},
      {"{}\n" + std::string(1, '\0') + "{}", "2:1: contains U+0000 (NUL)"},
      {"{\"a\": " + std::string(1, '\0') + "1}", "1:7: contains U+0000 (NUL)"},
      {std::string("\xff\xfe{\0}\0", 6), "1:1: the file is encoded in UTF-16: save it as UTF-8"},
      {std::string("{\0}\0", 4), "1:1: the file is encoded in UTF-16: save it as UTF-8"},
      {std::string("\0{\0}", 4), "1:1: the file is encoded in UTF-16: save it as UTF-8"},
      {std::string("\xff\xfe\0\0{\0\0\0", 8), "1:1: the file is encoded in UTF-32: save it as UTF-8"},
      {std::string("{\0\0\0}\0\0\0", 8), "1:1: the file is encoded in UTF-32: save it as UTF-8"},
      {std::string("\0\0\0{\0\0\0}", 8), "1:1: the file is encoded in UTF-32: save it as UTF-8"},
      {"{\"a\": [" + std::string(1200, '['), "1:1006: too deeply nested: 1000 brackets are open here"},
      {"{1: 2}", "1:2: a key needs double quotes"},
      {"{: 2}", "1:2: a key in double quotes is expected, not ':'"},
      {"{\"a\", \"b\"}", "1:2: \"a\" has no value"},
      {"{\"c\": {\"a\": [\"a\"]}, \"a\": 1, \"b\": \"a\", \"a\": 2}",
       "1:39: \"a\" is already a key of this object"},
      {"{\"a\": 1, \"\\u0061\": 2}", "1:10: this is already a key of this object"},
      {"{\"\\u0061 and something much too long for a message\"}", "1:2: this key has no value"},
      {"{\"a\": [1, 2", "1:11: ']' is missing after this"},
      {"{\"a\": 1", "1:7: '}' is missing after this"},
      {"{\"a\":", "1:5: '}' is missing after this"},
      {"{\"a\": -x}", "1:7: a string needs double quotes"},
      {"{\"a\": \"b, \"c\": \"d\"}", "1:7: the string is not closed: its second quote is missing"},
      {"{\"a\": \"b", "1:7: the string is not closed: its second quote is missing"},
      {"{\"a\": 1 // one\n \"b\": 2}",
       kTakesComments ? "1:7: a comma is missing after this value" : "1:9: a comment is not allowed here"},
      {"{\r\n\"a\": 1\r\n\"b\": 2\r\n}", "2:6: a comma is missing after this value"},
      {"{\r\"a\": 1\r\"b\": 2\r}", "1:8: a comma is missing after this value"},
      {"{\"enable\"true}", "1:2: a colon is missing after \"enable\""},
  };
  for (const auto& [text, message] : cases)
    EXPECT_EQ(message_for(text), message) << text;
}

TEST(Syntax, TheSecondLocationIsWhereItBeganOrWhereItIsMissing) {
  EXPECT_EQ(note_for(replaced("\"netmask\"", "\"mode\"")), "6:9: the first one");
  EXPECT_EQ(note_for(replaced("      }\n    },\n", "      },\n")), "3:13: '{' is opened here");
  EXPECT_EQ(note_for(replaced("\"]}", "\"}")), "15:21: '[' is opened here");
  EXPECT_EQ(note_for(replaced("\"]}", "\"}}")), "15:21: opened here");
  EXPECT_EQ(note_for("{\"a\": [1, 2"), "1:7: '[' is opened here");
  EXPECT_EQ(note_for("{} 1"), "1:2: it ends here");
}

// A text that the parser accepts is not an error, even if it is not valid JSON.
TEST(Syntax, ThePlaceOfTheErrorIsTheParsersNotTheGrammars) {
  EXPECT_EQ(message_for("{\"a\": 01, \"b\": +1, \"c\": 1., \"d\": tru}"),
            "1:34: \"tru\" is not a value in JSON: did you mean true?");
  EXPECT_EQ(message_for("{\"a\": \"x\ny\", \"\": 1,}"), "accepted");
}

TEST(Syntax, WithoutAKnownCauseTheParsersMessageIsUsed) {
  const SyntaxError error = explain_parse_error("{}", {{1, 2}, "something unheard of"});
  EXPECT_EQ(error.message, "something unheard of");
  EXPECT_EQ(error.range.begin, 1);
  EXPECT_EQ(error.range.end, 2);
  EXPECT_EQ(explain_parse_error("{}", {{7, 9}, "elsewhere"}).range.begin, 1);
}

// Copies of the text, each damaged at `offset`: a character is missing, everything after it, or one is added.
static std::vector<std::string> damages_at(const std::string& text, std::size_t offset) {
  std::vector<std::string> damages;
  std::string without = text;
  without.erase(offset, 1);
  damages.push_back(without);
  damages.push_back(text.substr(0, offset));
  for (const char* inserted : {",", ":", "\"", "'", "{", "}", "[", "]", "x", "\xc2\xa0", "//", "\\"}) {
    std::string with = text;
    damages.push_back(with.insert(offset, inserted));
  }
  return damages;
}

static bool is_within(TextRange range, const std::string& text) {
  const auto size = static_cast<std::ptrdiff_t>(text.size());
  return range.begin >= 0 && range.begin <= range.end && range.end <= size &&
         (range.begin < range.end || text.empty());
}

// Whether the text has no error, or one with a message of one line and with ranges within the text. After the
// fix, the text may have another error.
static bool is_sound(const std::string& text) {
  const auto error = error_in(text);
  if (!error) return true;
  const bool is_related_sound =
      std::all_of(error->related.begin(), error->related.end(),
                  [&text](const RelatedLocation& related) { return is_within(related.range, text); });
  const bool is_fix_sound = std::all_of(error->fix.begin(), error->fix.end(), [&text](const Edit& edit) {
    return edit.range.begin >= 0 && edit.range.begin <= edit.range.end &&
           edit.range.end <= static_cast<std::ptrdiff_t>(text.size());
  });
  const bool is_told = error->message.find_first_of("\n") == std::string::npos && !error->message.empty();
  return is_told && is_within(error->range, text) && is_related_sound && is_fix_sound;
}

// Damages only every 7th character; the fuzz tests damage the others.
TEST(Syntax, DamageToTheExamplesHasOneErrorWithinTheText) {
  for (const auto& example : std::filesystem::directory_iterator(EXAMPLES)) {
    if (!example.is_directory()) continue;
    const std::string text = text_of_file(example.path() / "network.json");
    ASSERT_TRUE(is_sound(text) && !error_in(text)) << example.path();
    for (std::size_t offset = 0; offset < text.size(); offset += 7) {
      for (const std::string& damaged : damages_at(text, offset))
        ASSERT_TRUE(is_sound(damaged)) << damaged;
    }
  }
}

#include "configd/json_reader.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

using testing::Eq;
using testing::Optional;
using Kind = JsonValue::Kind;

std::string Shown(const JsonValue &value)
{
    switch (value.kind) {
    case Kind::Null:
        return "null";
    case Kind::Flag:
        return value.flag ? "true" : "false";
    case Kind::Number:
        return "number";
    case Kind::Text:
        return '"' + std::string(value.text) + '"';
    case Kind::Object:
        return "{";
    case Kind::ObjectEnd:
        return "}";
    case Kind::Array:
        return "[";
    }
    return "unknown kind";
}

// All values of a text in order, each with its path on one line.
std::string Taken(const std::string &text)
{
    std::string taken;
    EXPECT_EQ(ReadJson(text,
                       [&taken](const std::string &path, const JsonValue &value) {
                           taken += path + ' ' + Shown(value) + '\n';
                           return std::nullopt;
                       }),
              std::nullopt);
    return taken;
}

std::optional<Fault> FaultOf(const std::string &text)
{
    return ReadJson(text, [](const std::string &, const JsonValue &) { return std::nullopt; });
}

// The fault of a text if every number is refused.
std::optional<Fault> NumberRefused(const std::string &text)
{
    return ReadJson(text, [](const std::string &, const JsonValue &value) {
        return value.kind == Kind::Number ? std::optional<Fault>("no") : std::nullopt;
    });
}

TEST(ReadJson, PassesEachValueWithItsPath)
{
    EXPECT_EQ(Taken(" {\"a\": [true, \"b\", {\"c\": null}, []],\n \"d\": false, \"e\" : 1}\n"),
              " {\n"
              "/a [\n"
              "/a/0 true\n"
              "/a/1 \"b\"\n"
              "/a/2 {\n"
              "/a/2/c null\n"
              "/a/2 }\n"
              "/a/3 [\n"
              "/d false\n"
              "/e number\n"
              " }\n");
    EXPECT_EQ(Taken("\"\\u00fc\\n\""), " \"\xC3\xBC\n\"\n");
    EXPECT_EQ(Taken("[[1,2],3]"), " [\n/0 [\n/0/0 number\n/0/1 number\n/1 number\n");
}

TEST(ReadJson, AcceptsEveryKindOfNumber)
{
    for (const char *number : {"0", "-1", "1.5", "1e999", "99999999999999999999"}) {
        EXPECT_EQ(Taken(number), " number\n") << number;
    }
}

TEST(ReadJson, ReportsWhereATextIsNotJson)
{
    EXPECT_THAT(FaultOf(""), Optional(Eq("line 1, column 1: malformed JSON")));
    EXPECT_THAT(FaultOf("{"), Optional(Eq("line 1, column 2: malformed JSON")));
    EXPECT_THAT(FaultOf("{\n  \"a\": tru,\n}"), Optional(Eq("line 2, column 11: malformed JSON")));
    EXPECT_THAT(FaultOf("[1]\n[2]"), Optional(Eq("line 2, column 1: malformed JSON")));
    EXPECT_THAT(FaultOf(std::string("[1]\0", 4)), Optional(Eq("line 1, column 4: malformed JSON")));
}

TEST(ReadJson, RefusesBytesThatAreNotUtf8)
{
    EXPECT_THAT(FaultOf("[\"a\xFF\"]"), Optional(Eq("line 1, column 4: malformed JSON")));
    EXPECT_THAT(FaultOf("[\"\xC3\"]"), Optional(Eq("line 1, column 4: malformed JSON")));
}

TEST(ReadJson, EndsAtTheFirstRefusedValueAndReportsItsPath)
{
    EXPECT_THAT(NumberRefused("1"), Optional(Eq("no")));
    EXPECT_THAT(NumberRefused("[[], 1, malformed"), Optional(Eq("/1: no")));
    EXPECT_THAT(NumberRefused("{\"a\":{\"b\":\"x\",\"c\":1e999"), Optional(Eq("/a/c: no")));
}

TEST(ReadJson, ReportsNamesInPrintableAscii)
{
    EXPECT_THAT(NumberRefused("{\"a/b\\u001b\xC3\xBC~\":1}"), Optional(Eq("/a?b???~: no")));
    EXPECT_THAT(NumberRefused("{\"" + std::string(200, 'n') + "\":1}"),
                Optional(Eq("/" + std::string(64, 'n') + ": no")));
}

TEST(ReadJson, RefusesLongValuesAndLongWhiteSpace)
{
    const char *fault = "line 2, column 2: a value or white space of more than 512 bytes";
    EXPECT_THAT(FaultOf("\n[" + std::string(512, ' ') + "1]"), Optional(Eq(fault)));
    EXPECT_THAT(FaultOf("\n[" + std::string(513, '1') + "]"), Optional(Eq(fault)));
    EXPECT_THAT(FaultOf("\n[\"" + std::string(512, 'a') + "\"]"), Optional(Eq(fault)));
    EXPECT_THAT(FaultOf("\n[\"" + std::string(512, '\\')), Optional(Eq(fault)));
    EXPECT_EQ(FaultOf("[" + std::string(511, ' ') + "1]"), std::nullopt);
    EXPECT_EQ(FaultOf("[\"" + std::string(511, 'a') + "\"]"), std::nullopt);
    // Structural characters and escaped quotes do not end a string.
    std::string signs;
    while (signs.size() < 600) {
        signs += "[{:,\\\"";
    }
    EXPECT_THAT(FaultOf("\n[\"" + signs + "\"]"), Optional(Eq(fault)));
}

TEST(ReadJson, ReadsAnyDepthThatIsNotRefused)
{
    const std::size_t depth = 30000;
    EXPECT_EQ(FaultOf(std::string(depth, '[') + std::string(depth, ']')), std::nullopt);
    EXPECT_THAT(FaultOf(std::string(depth, '[')),
                Optional(Eq("line 1, column 30001: malformed JSON")));
}

TEST(ExpectKind, NamesTheExpectedKind)
{
    const JsonValue null{};
    EXPECT_THAT(ExpectKind(null, Kind::Object), Optional(Eq("must be an object")));
    EXPECT_THAT(ExpectKind(null, Kind::Array), Optional(Eq("must be an array")));
    EXPECT_THAT(ExpectKind(null, Kind::Flag), Optional(Eq("must be true or false")));
    EXPECT_EQ(ExpectKind({Kind::Flag, false, {}}, Kind::Flag), std::nullopt);
}

TEST(JsonString, EscapesAndReplacesBytesThatAreNotUtf8)
{
    EXPECT_EQ(JsonString("a\"\\\n\xC3\xBC"), "\"a\\\"\\\\\\n\xC3\xBC\"");
    EXPECT_EQ(JsonString("a\xFF"), "\"a\xEF\xBF\xBD\"");
}

} // namespace
} // namespace configd

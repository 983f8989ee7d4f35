#include "configd/json_document.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

using testing::Eq;
using testing::Optional;

JsonDocument Parsed(const std::string &text)
{
    JsonDocument document(text);
    EXPECT_EQ(document.Malformed(), std::nullopt);
    return document;
}

std::optional<Fault> FaultOf(const std::string &text)
{
    return JsonDocument(text).Malformed();
}

TEST(JsonDocument, ReadsATextIntoItsValue)
{
    EXPECT_EQ(Parsed(" {\"a\": [1, \"b\", {\"c\": null}]}\n").Root(),
              nlohmann::json::parse(R"({"a":[1,"b",{"c":null}]})"));
}

TEST(JsonDocument, SaysWhereATextStopsBeingJson)
{
    EXPECT_THAT(FaultOf(""), Optional(Eq("line 1, column 1: malformed JSON")));
    EXPECT_THAT(FaultOf("{"), Optional(Eq("line 1, column 2: malformed JSON")));
    EXPECT_THAT(FaultOf("{\n  \"a\": tru,\n}"), Optional(Eq("line 2, column 11: malformed JSON")));
    EXPECT_THAT(FaultOf("[1]\n[2]"), Optional(Eq("line 2, column 1: malformed JSON")));
    EXPECT_THAT(FaultOf(std::string("[1]\0", 4)), Optional(Eq("line 1, column 4: malformed JSON")));
}

TEST(JsonDocument, RefusesWhatIsNoUtf8)
{
    EXPECT_THAT(FaultOf("[\"a\xFF\"]"), Optional(Eq("line 1, column 4: malformed JSON")));
    EXPECT_THAT(FaultOf("[\"\xC3\"]"), Optional(Eq("line 1, column 4: malformed JSON")));
}

TEST(JsonDocument, RefusesANumberThatDoesNotFit)
{
    EXPECT_THAT(FaultOf("[1e999]"), Optional(Eq("line 1, column 2: number out of range")));
    EXPECT_THAT(FaultOf("{\"a\" :\n 1e999 }"),
                Optional(Eq("line 2, column 2: number out of range")));
}

TEST(JsonDocument, BearsAnyDepth)
{
    const std::size_t depth = 30000;
    EXPECT_EQ(FaultOf(std::string(depth, '[') + std::string(depth, ']')), std::nullopt);
    std::string objects;
    for (std::size_t i = 0; i < depth; ++i) {
        objects += "{\"a\":";
    }
    EXPECT_EQ(FaultOf(objects + "1" + std::string(depth, '}')), std::nullopt);
    EXPECT_THAT(FaultOf(std::string(depth, '[')),
                Optional(Eq("line 1, column 30001: malformed JSON")));
}

TEST(JsonDocument, KnowsWhereEachValueBegins)
{
    const JsonDocument document = Parsed("[ 1 ,\n"
                                         "  {\"a\" : \"x\",\n"
                                         "   \"b\":{ \"c\" :2}\n"
                                         "  },  [] , 10\n"
                                         ", 11]");
    EXPECT_EQ(document.FaultAt("", "x"), "line 1, column 1: x");
    EXPECT_EQ(document.FaultAt("/0", "x"), "line 1, column 3: x");
    EXPECT_EQ(document.FaultAt("/1", "x"), "line 2, column 3: x");
    EXPECT_EQ(document.FaultAt("/1/a", "x"), "line 2, column 4: x"); // the name's place
    EXPECT_EQ(document.FaultAt("/1/b", "x"), "line 3, column 4: x");
    EXPECT_EQ(document.FaultAt("/1/b/c", "x"), "line 3, column 10: x");
    EXPECT_EQ(document.FaultAt("/2", "x"), "line 4, column 7: x");
    EXPECT_EQ(document.FaultAt("/3", "x"), "line 4, column 12: x");
    EXPECT_EQ(document.FaultAt("/4", "x"), "line 5, column 3: x");
}

TEST(JsonDocument, ExpectsAnArray)
{
    EXPECT_EQ(Parsed("[1]").ExpectArray(""), std::nullopt);
    EXPECT_THAT(Parsed(" {}").ExpectArray(""), Optional(Eq("line 1, column 2: must be an array")));
}

TEST(JsonDocument, ExpectsAnObjectWithoutOtherMembers)
{
    EXPECT_EQ(Parsed("{}").ExpectNoOther("", {"a", "b"}), std::nullopt);
    EXPECT_EQ(Parsed("{\"b\":1}").ExpectNoOther("", {"a", "b"}), std::nullopt);
    EXPECT_THAT(Parsed("{\"b\":1,\"c\":2}").ExpectNoOther("", {"a", "b"}),
                Optional(Eq("line 1, column 8: unknown member")));
    EXPECT_THAT(Parsed("{\"x/y~z\":1}").ExpectNoOther("", {"a"}),
                Optional(Eq("line 1, column 2: unknown member")));
    EXPECT_THAT(Parsed("[{\"a\":3}]").ExpectNoOther("/0/a", {"a"}),
                Optional(Eq("line 1, column 3: must be an object")));
}

TEST(JsonDocument, ExpectsAnObjectWithItsMembers)
{
    EXPECT_EQ(Parsed("{\"a\":1,\"b\":2}").ExpectMembers("", {"a", "b"}), std::nullopt);
    EXPECT_THAT(Parsed("{\"a\":1}").ExpectMembers("", {"a", "b"}),
                Optional(Eq("line 1, column 1: b is missing")));
    EXPECT_THAT(Parsed("{\"c\":1}").ExpectMembers("", {"a"}),
                Optional(Eq("line 1, column 2: unknown member")));
    EXPECT_THAT(Parsed("null").ExpectMembers("", {"a"}),
                Optional(Eq("line 1, column 1: must be an object")));
}

TEST(JsonDocument, ReadsAText)
{
    std::string text;
    EXPECT_EQ(Parsed("{\"a\":\"\\u00fc\"}").ReadText("/a", text), std::nullopt);
    EXPECT_EQ(text, "\xC3\xBC");
    const char *fault =
        "line 1, column 2: a must be a text of at most 255 bytes without control characters";
    for (const char *value : {"1", "true", "null", "[]", "{}", "\"\\u000a\"", "\"\\u007f\""}) {
        EXPECT_THAT(Parsed("{\"a\":" + std::string(value) + "}").ReadText("/a", text),
                    Optional(Eq(fault)))
            << value;
    }
    EXPECT_EQ(text, "\xC3\xBC"); // as it was
}

TEST(JsonDocument, ReadsTrueAndFalse)
{
    bool value = false;
    EXPECT_EQ(Parsed("[true]").ReadBool("/0", value), std::nullopt);
    EXPECT_TRUE(value);
    for (const char *other : {"1", "\"true\"", "null", "[]", "{}"}) {
        EXPECT_THAT(Parsed("{\"a\":" + std::string(other) + "}").ReadBool("/a", value),
                    Optional(Eq("line 1, column 2: a must be true or false")))
            << other;
    }
    EXPECT_TRUE(value); // as it was
    EXPECT_EQ(Parsed("[false]").ReadBool("/0", value), std::nullopt);
    EXPECT_FALSE(value);
}

TEST(JsonDocument, CountsALongTextInBytes)
{
    EXPECT_TRUE(IsPlainText(""));
    EXPECT_TRUE(IsPlainText(std::string(255, 'a')));
    EXPECT_FALSE(IsPlainText(std::string(256, 'a')));
    std::string umlauts;
    for (int i = 0; i < 128; ++i) {
        umlauts += "\xC3\xBC";
    }
    EXPECT_FALSE(IsPlainText(umlauts)); // 128 characters, 256 bytes
}

TEST(JsonDocument, CallsNoTextWithControlCharactersPlain)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text = std::string("a") + static_cast<char>(byte);
        EXPECT_EQ(IsPlainText(text), byte >= 0x20 && byte != 0x7F) << byte;
    }
    EXPECT_FALSE(IsPlainText(std::string_view("\0", 1)));
}

} // namespace
} // namespace configd

#include "formats/utf8.h"

#include <gtest/gtest.h>

using formats::ReplaceInvalidUtf8;

namespace {

const std::string kReplaced = "\xef\xbf\xbd"; // U+FFFD

// The code points of a text; 0 for each invalid byte.
std::u32string CodesOf(std::string_view text)
{
    std::u32string codes;
    while (!text.empty()) {
        const formats::Character character = formats::TakeCharacter(text);
        codes += character.valid ? character.code : 0;
    }
    return codes;
}

} // namespace

TEST(Utf8, ReadsTheFirstAndTheLastCodePointOfEachLength)
{
    EXPECT_EQ(CodesOf("\x01\x7f"), U"\x01\x7f");
    EXPECT_EQ(CodesOf("\xc2\x80\xdf\xbf"), U"\x80\x7ff");
    EXPECT_EQ(CodesOf("\xe0\xa0\x80\xef\xbf\xbf"), U"\x800\xffff");
    EXPECT_EQ(CodesOf("\xed\x9f\xbf\xee\x80\x80"), U"\xd7ff\xe000");
    EXPECT_EQ(CodesOf("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"), U"\x10000\x10ffff");
}

TEST(Utf8, RefusesEachByteOfSequencesThatAreTooLongTooLargeOrSurrogates)
{
    for (const char *sequence :
         {"\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf",
          "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff\xfe"}) {
        EXPECT_EQ(CodesOf(sequence), std::u32string(std::string(sequence).size(), 0)) << sequence;
    }
}

TEST(Utf8, ReplacesInvalidBytesOneByOneAndKeepsTheRest)
{
    EXPECT_EQ(ReplaceInvalidUtf8(""), "");
    EXPECT_EQ(ReplaceInvalidUtf8("a\xc3\xa9\xf0\x9f\x8e\xa5"), "a\xc3\xa9\xf0\x9f\x8e\xa5");
    EXPECT_EQ(ReplaceInvalidUtf8("\xe6\x97"), kReplaced + kReplaced);
    EXPECT_EQ(ReplaceInvalidUtf8("\xc3z\x80"), kReplaced + "z" + kReplaced);
    EXPECT_EQ(ReplaceInvalidUtf8(std::string_view("a\0b", 3)), std::string("a\0b", 3));
}

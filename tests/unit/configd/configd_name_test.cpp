#include "configd/name.h"

#include <gmock/gmock.h>
#include <string>

namespace configd {
namespace {

TEST(Name, HasOneToSixtyThreeBytes)
{
    EXPECT_FALSE(IsName(""));
    EXPECT_TRUE(IsName("a"));
    EXPECT_TRUE(IsName(std::string(63, 'a')));
    EXPECT_FALSE(IsName(std::string(64, 'a')));
    std::string umlauts = "a";
    for (int i = 0; i < 31; ++i) {
        umlauts += "\xC3\xBC";
    }
    EXPECT_TRUE(IsName(umlauts)); // 32 characters, 63 bytes
    EXPECT_FALSE(IsName(umlauts + "a"));
}

TEST(Name, HasNoC0NoDelAndNoMarkup)
{
    for (int byte = 0; byte < 0x80; ++byte) {
        const std::string name = std::string("a") + static_cast<char>(byte);
        const bool refused =
            byte < 0x20 || byte == 0x7F || byte == '<' || byte == '>' || byte == '&' || byte == '"';
        EXPECT_EQ(IsName(name), !refused) << byte;
    }
}

TEST(Name, HasNoC1)
{
    for (int second = 0x80; second < 0xC0; ++second) {
        const std::string last{static_cast<char>(second)};
        EXPECT_EQ(IsName("a\xC2" + last), second >= 0xA0) << second; // U+0080 to U+00BF
        EXPECT_TRUE(IsName("a\xC3" + last)) << second;               // U+00C0 to U+00FF
        EXPECT_TRUE(IsName("\xE2\x82" + last)) << second;            // U+2080 to U+20BF
    }
}

} // namespace
} // namespace configd

#include "mdns/dns_sd.h"

#include <gtest/gtest.h>

using mdns::instanceName;

namespace {

std::string fromHost(std::string_view hostName)
{
    return instanceName(hostName, "Corvia 12", "0042");
}

TEST(InstanceName, IsTheHostName)
{
    EXPECT_EQ(fromHost("studio-a"), "studio-a");
    EXPECT_EQ(fromHost("Z9-"), "Z9-");
}

TEST(InstanceName, BeginsWithTheFirstLetterAndKeepsLettersDigitsAndHyphens)
{
    EXPECT_EQ(fromHost("2nd Studio_A"), "ndStudioA");
    EXPECT_EQ(fromHost("-9-a-9-"), "a-9-");
    EXPECT_EQ(fromHost("a.b/c:d@e[f`g{h\x7f\n\ti"), "abcdefghi");
    EXPECT_EQ(fromHost(std::string_view("a\0b", 3)), "ab");
}

TEST(InstanceName, DropsEveryOtherByte)
{
    std::string all("a");
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(fromHost(all), "a-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

TEST(InstanceName, DropsLettersOfOtherAlphabets)
{
    EXPECT_EQ(fromHost("K\xc3\xb6ln-\xe6\x9d\xb1\xe4\xba\xac"), "Kln-");
    EXPECT_EQ(fromHost("\xc3\xb6\xe4-K\xf6ln"), "Kln");
}

TEST(InstanceName, FallsBackToProductAndSerialNumber)
{
    for (const char *nothing : {"", "--", "0123", "_ .", "\xc3\xb6\xff"}) {
        EXPECT_EQ(fromHost(nothing), "vex-Corvia 12-0042") << nothing;
    }
    EXPECT_EQ(instanceName("--", "", ""), "vex--");
}

TEST(InstanceName, IsCutTo255Bytes)
{
    EXPECT_EQ(fromHost(std::string(255, 'a')), std::string(255, 'a'));
    EXPECT_EQ(fromHost(std::string(256, 'a')), std::string(255, 'a'));
    EXPECT_EQ(fromHost(std::string(300, '-') + std::string(300, 'b')), std::string(255, 'b'));
    EXPECT_EQ(instanceName("", std::string(200, 'p'), std::string(200, 's')),
              "vex-" + std::string(200, 'p') + "-" + std::string(50, 's'));
}

} // namespace

#include "formats/ssdp_headers.h"

#include <gtest/gtest.h>
#include <string>

namespace {

std::int32_t MaxAge(const std::string &value)
{
    return formats::ScanHeaders("NOTIFY * HTTP/1.1\r\nCACHE-CONTROL:" + value + "\r\n\r\n").maxAge;
}

constexpr std::int32_t kDefault = 1800;
constexpr std::int32_t kLargest = 1073741;

} // namespace

TEST(CacheControl, HasTheMaxAgeInSeconds)
{
    EXPECT_EQ(MaxAge("max-age=60"), 60);
    EXPECT_EQ(MaxAge(" max-age=1800"), 1800);
    EXPECT_EQ(MaxAge(" MAX-Age=61"), 61);
    EXPECT_EQ(MaxAge(" \"max-age=62\""), 62);
}

TEST(CacheControl, IsAListOfDirectives)
{
    EXPECT_EQ(MaxAge(" no-cache, max-age = 60"), 60);
    EXPECT_EQ(MaxAge(" ,, \t, max-age=60,no-cache"), 60);
    EXPECT_EQ(MaxAge(" no-cache=\"a\", max-age=60 , private"), 60);
    EXPECT_EQ(MaxAge(" a=b,c,d=e,max-age=60"), 60);
}

TEST(CacheControl, ReadsDecimalHexadecimalAndOctalNumbers)
{
    EXPECT_EQ(MaxAge(" max-age=0x3c"), 60);
    EXPECT_EQ(MaxAge(" max-age=0X3C"), 60);
    EXPECT_EQ(MaxAge(" max-age=0xf"), 15);
    EXPECT_EQ(MaxAge(" max-age=074"), 60);
    EXPECT_EQ(MaxAge(" max-age=+60"), 60);
    EXPECT_EQ(MaxAge(" max-age=60s"), 60);
    EXPECT_EQ(MaxAge(" max-age=0"), 0);
    EXPECT_EQ(MaxAge(" max-age=08"), 0);
    EXPECT_EQ(MaxAge(" max-age=0x"), 0);
    EXPECT_EQ(MaxAge(" max-age=0xg"), 0);
}

TEST(CacheControl, ADirectiveWithoutANumberIs0)
{
    EXPECT_EQ(MaxAge(" max-age="), 0);
    EXPECT_EQ(MaxAge(" max-age= "), 0);
    EXPECT_EQ(MaxAge(" max-age=x"), 0);
    EXPECT_EQ(MaxAge(" max-age=\"60\""), 0);
    EXPECT_EQ(MaxAge(" max-age=,60"), 0);
    EXPECT_EQ(MaxAge(" max-age=-"), 0);
    EXPECT_EQ(MaxAge(" max-age=+-5"), 0);
    // At the end of the datagram, nothing beyond it may be read.
    EXPECT_EQ(formats::ScanHeaders("CACHE-CONTROL: max-age=").maxAge, 0);
    // Digits of the next line do not belong to this line.
    EXPECT_EQ(MaxAge(" max-age=\r\n77: x"), 0);
}

TEST(CacheControl, ADirectiveHasAValueOnlyWithAnEqualsSignBeforeTheComma)
{
    EXPECT_EQ(MaxAge(" max-age"), kDefault);
    EXPECT_EQ(MaxAge(" max-age,=60"), kDefault);
    EXPECT_EQ(MaxAge(" max-age, 60"), kDefault);
    EXPECT_EQ(MaxAge(" =60"), kDefault);
}

TEST(CacheControl, AnyDirectiveThatStartsWithMaxAgeIsRead)
{
    EXPECT_EQ(MaxAge(" max-ages=60"), 60);
    EXPECT_EQ(MaxAge(" max-age \t=60"), 60);
    EXPECT_EQ(MaxAge(" s-maxage=60"), kDefault);
    EXPECT_EQ(MaxAge(" xmax-age=60"), kDefault);
    EXPECT_EQ(MaxAge(" max-ag=60"), kDefault);
    EXPECT_EQ(MaxAge(" private=max-age=60"), kDefault);
}

TEST(CacheControl, ALaterDirectiveReplacesAnEarlierOne)
{
    EXPECT_EQ(MaxAge(" max-age=1,max-age=2, max-age=3"), 3);
    EXPECT_EQ(MaxAge(" max-age=1,max-age="), 0);
    EXPECT_EQ(MaxAge(" max-age=1=2"), 1);
}

TEST(CacheControl, NoNumberOverflows)
{
    EXPECT_EQ(MaxAge(" max-age=1073741"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=1073742"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=0x7fffffff"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=2147483648"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=4294967296"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=0xffffffffffffffffffff"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=99999999999999999999"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=07777777777777777777777777"), kLargest);
    EXPECT_EQ(MaxAge(" max-age=" + std::string(1400, '9')), kLargest);
    EXPECT_EQ(MaxAge(" max-age=-1"), -1);
    EXPECT_EQ(MaxAge(" max-age=-0x80000000"), -2147483647 - 1);
    EXPECT_EQ(MaxAge(" max-age=-99999999999999999999"), -2147483647 - 1);
}

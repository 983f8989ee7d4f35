#include "ssdp/web_root_files.h"

#include "formats/description_document.h"

#include <gtest/gtest.h>
#include <string_view>
#include <thread>
#include <vector>

namespace {

// Takes the numbers 1 to count.
void Take(ssdp::DescriptionFileNumbers &numbers, std::uint32_t count)
{
    for (std::uint32_t number = 1; number <= count; ++number) {
        ASSERT_EQ(numbers.GetFileNumber(), number);
    }
}

} // namespace

TEST(DescriptionFileNumbers, BeginWith1)
{
    ssdp::DescriptionFileNumbers numbers;
    EXPECT_EQ(numbers.GetFileNumber(), 1U);
    EXPECT_EQ(numbers.GetFileNumber(), 2U);
}

TEST(DescriptionFileNumbers, SmallestFreeNumberIsTaken)
{
    ssdp::DescriptionFileNumbers numbers;
    Take(numbers, 4);
    numbers.ReturnFileNumber("lumen_upnp_ssdp_3.xml");
    EXPECT_EQ(numbers.GetFileNumber(), 3U);
    EXPECT_EQ(numbers.GetFileNumber(), 5U);
}

TEST(DescriptionFileNumbers, ReturnedNumberIsTakenAgain)
{
    ssdp::DescriptionFileNumbers numbers;
    Take(numbers, 7);
    numbers.ReturnFileNumber("/var/www/html/lumen_upnp_ssdp_7.xml");
    EXPECT_EQ(numbers.GetFileNumber(), 7U);
    numbers.ReturnFileNumber("/var/www/html/lumen_upnp_ssdp_1.xml");
    EXPECT_EQ(numbers.GetFileNumber(), 1U);
    EXPECT_EQ(numbers.GetFileNumber(), 8U);
}

TEST(DescriptionFileNumbers, NumberEndsWithTheName)
{
    ssdp::DescriptionFileNumbers numbers;
    Take(numbers, 12);
    numbers.ReturnFileNumber(std::string_view("lumen_upnp_ssdp_12").substr(0, 17));
    EXPECT_EQ(numbers.GetFileNumber(), 1U);
}

TEST(DescriptionFileNumbers, NameWithoutAValidNumberIsIgnored)
{
    ssdp::DescriptionFileNumbers numbers;
    Take(numbers, 3);
    for (const char *name :
         {"", "_", "1", "1.xml", "lumen.xml", "lumen_upnp_ssdp_.xml", "lumen_upnp_ssdp_x1.xml",
          "lumen_upnp_ssdp_ 1.xml", "lumen_upnp_ssdp_+1.xml", "lumen_upnp_ssdp_-1.xml", "_1_2_x",
          "lumen_upnp_ssdp_99999999999999999999.xml", "lumen_upnp_ssdp_4294967297.xml"}) {
        numbers.ReturnFileNumber(name);
        EXPECT_EQ(numbers.GetFileNumber(), 4U) << name;
        numbers.ReturnFileNumber("_4");
    }
}

TEST(DescriptionFileNumbers, NumberThatIsNotInUseIsIgnored)
{
    ssdp::DescriptionFileNumbers numbers;
    Take(numbers, 1);
    numbers.ReturnFileNumber("lumen_upnp_ssdp_9.xml");
    numbers.ReturnFileNumber("lumen_upnp_ssdp_0.xml");
    EXPECT_EQ(numbers.GetFileNumber(), 2U);
}

TEST(DescriptionFileNumbers, ReadsTheNumberInDescriptionFileNames)
{
    ssdp::DescriptionFileNumbers numbers;
    Take(numbers, 12);
    numbers.ReturnFileNumber("/var/www/html/" + formats::DescriptionFileName("Corvia_3 12", 11));
    EXPECT_EQ(numbers.GetFileNumber(), 11U);
}

TEST(DescriptionFileNumbers, ReturnsZeroWhenAllNumbersAreInUse)
{
    ssdp::DescriptionFileNumbers numbers(3);
    Take(numbers, 3);
    EXPECT_EQ(numbers.GetFileNumber(), 0U);
    numbers.ReturnFileNumber("_2.xml");
    EXPECT_EQ(numbers.GetFileNumber(), 2U);
}

TEST(DescriptionFileNumbers, ThreadsNeverGetTheSameNumber)
{
    ssdp::DescriptionFileNumbers numbers;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&numbers] {
            for (int round = 0; round < 100; ++round) {
                const std::uint32_t number = numbers.GetFileNumber();
                numbers.ReturnFileNumber(formats::DescriptionFileName("Lumen", number));
                EXPECT_NE(numbers.GetFileNumber(), 0U);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    // Each of 400 rounds keeps one number, and the smallest free number is always taken.
    EXPECT_EQ(numbers.GetFileNumber(), 401U);
}

#include "ssdp/output_line.h"

#include "support/capture.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using ssdp::WriteFault;
using ssdp::WriteProgress;

TEST(OutputLine, AFaultGoesToStandardErrorProgressToStandardOutput)
{
    const test::Output output = test::Capture([] {
        WriteFault({"Open", ": a fault"});
        WriteProgress({"Open", ": progress"});
    });
    EXPECT_EQ(output.err, "Open: a fault\n");
    EXPECT_EQ(output.out, "Open: progress\n");
}

TEST(OutputLine, NoPieceIsTakenAsAFormat)
{
    const test::Output output = test::Capture([] {
        WriteFault({"%s%n%d", " {} \\n", std::string_view("\0\xff", 2)});
        WriteProgress({});
    });
    EXPECT_EQ(output.err, std::string("%s%n%d {} \\n\0\xff\n", 15));
    EXPECT_EQ(output.out, "\n");
}

TEST(OutputLine, LinesOfSeveralThreadsDoNotMix)
{
    const std::string line(200, 'x');
    const test::Output output = test::Capture([&] {
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int round = 0; round < 200; ++round) {
                    WriteFault({line, "!"});
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    });
    std::istringstream lines(output.err);
    std::string read;
    int count = 0;
    while (std::getline(lines, read)) {
        EXPECT_EQ(read, line + "!");
        ++count;
    }
    EXPECT_EQ(count, 800);
}

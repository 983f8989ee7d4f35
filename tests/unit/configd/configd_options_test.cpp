#include "configd/options.h"

#include "support/capture.h"

#include <getopt.h>
#include <gtest/gtest.h>
#include <vector>

namespace configd {
namespace {

const std::string kUsage =
    "usage: beacon-configd [--state FILE] [--devices FILE] [--interface NAME] [--port N]\n"
    "  --state FILE      store the host name and the SSDP switch in FILE\n"
    "                    (default: /var/lib/beacon-configd/system.json)\n"
    "  --devices FILE    let clients set the network devices, and store them in FILE\n"
    "                    (default: report the kernel's interface)\n"
    "  --interface NAME  report this network interface (default: net0)\n"
    "  --port N          listen on this TCP port of 127.0.0.1 (default: 8080)\n"
    "  --help            show this text\n"
    "  --version         show the version\n";

struct Result
{
    Options options;
    std::optional<int> status;
    test::Output output;
};

Result Read(std::vector<std::string> words)
{
    words.insert(words.begin(), "beacon-configd");
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    optind = 0; // restarts getopt
    Result result;
    result.output = test::Capture([&] {
        result.status = ReadOptions(static_cast<int>(words.size()), argv.data(), result.options);
    });
    return result;
}

TEST(Options, HaveDefaults)
{
    const Result result = Read({});
    EXPECT_EQ(result.status, std::nullopt);
    EXPECT_EQ(result.options.stateFile, "/var/lib/beacon-configd/system.json");
    EXPECT_EQ(result.options.devicesFile, "");
    EXPECT_EQ(result.options.interface, "net0");
    EXPECT_EQ(result.options.port, 8080);
    EXPECT_EQ(result.output.out + result.output.err, "");
}

TEST(Options, AreReadFromTheCommandLine)
{
    const Result result =
        Read({"--state", "s", "--devices=d", "--interface", "abcdefghijklmno", "--port", "65535"});
    EXPECT_EQ(result.status, std::nullopt);
    EXPECT_EQ(result.options.stateFile, "s");
    EXPECT_EQ(result.options.devicesFile, "d");
    EXPECT_EQ(result.options.interface, "abcdefghijklmno");
    EXPECT_EQ(result.options.port, 65535);
}

TEST(Options, HelpPrintsTheUsageWithStatusZero)
{
    const Result result = Read({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.out, kUsage);
    EXPECT_EQ(result.output.err, "");
}

TEST(Options, UnknownOptionPrintsTheUsageWithStatusTwo)
{
    const Result result = Read({"--verbose"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output.out, "");
    EXPECT_EQ(result.output.err, "beacon-configd: unrecognized option '--verbose'\n" + kUsage);
    EXPECT_EQ(Read({"-s"}).output.err, "beacon-configd: invalid option -- 's'\n" + kUsage);
}

TEST(Options, MissingValuePrintsTheUsageWithStatusTwo)
{
    const Result result = Read({"--state"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output.err,
              "beacon-configd: option '--state' requires an argument\n" + kUsage);
}

TEST(Options, ArgumentPrintsTheUsageWithStatusTwo)
{
    const Result result = Read({"--port", "80", "start"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output.err, "beacon-configd: unexpected argument \"start\"\n" + kUsage);
}

TEST(Options, PortMustBeFromOneTo65535)
{
    for (const char *port : {"0", "65536", "-1", "+80", "", " 80", "80 ", "http", "99999999999"}) {
        const Result result = Read({"--port", port});
        EXPECT_EQ(result.status, 2) << port;
        EXPECT_EQ(result.output.err,
                  "beacon-configd: invalid --port \"" + std::string(port) + "\"\n" + kUsage);
    }
}

TEST(Options, InterfaceNameMustBeValidForTheKernel)
{
    for (const char *name : {"", "abcdefghijklmnop", "a/b", "a b", "a:b", ".", ".."}) {
        const Result result = Read({"--interface", name});
        EXPECT_EQ(result.status, 2) << name;
        EXPECT_EQ(result.output.err,
                  "beacon-configd: invalid --interface \"" + std::string(name) + "\"\n" + kUsage);
    }
}

TEST(Options, FileNamesMustNotBeEmpty)
{
    EXPECT_EQ(Read({"--state", ""}).output.err, "beacon-configd: invalid --state \"\"\n" + kUsage);
    EXPECT_EQ(Read({"--devices="}).output.err, "beacon-configd: invalid --devices \"\"\n" + kUsage);
}

} // namespace
} // namespace configd

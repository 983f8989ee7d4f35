#include "beaconctl/arguments.h"

#include <gtest/gtest.h>

using namespace beaconctl;

namespace {

using Command = Arguments::Command;

using Words = std::vector<std::string>;

Arguments Read(const Words &words)
{
    Arguments arguments;
    std::string error;
    EXPECT_TRUE(ReadArguments(words, arguments, error)) << error;
    return arguments;
}

std::string ErrorOf(const Words &words)
{
    Arguments arguments;
    std::string error;
    EXPECT_FALSE(ReadArguments(words, arguments, error));
    return error;
}

} // namespace

TEST(ReadArguments, KnowsEachCommandAndItsDefaults)
{
    EXPECT_EQ(Read({"nodes"}).command, Command::Nodes);
    EXPECT_EQ(Read({"hosts"}).command, Command::Hosts);
    EXPECT_EQ(Read({"watch"}).command, Command::Watch);
    EXPECT_EQ(Read({"browse"}).command, Command::Browse);
    EXPECT_EQ(Read({"browse", "x.json"}).operand, "x.json");
    EXPECT_EQ(Read({"status"}).command, Command::Status);
    EXPECT_EQ(Read({"search"}).timeout.count(), 4000);
    EXPECT_EQ(Read({"search", "upnp:rootdevice"}).operand, "upnp:rootdevice");
    const Arguments nodes = Read({"nodes"});
    EXPECT_EQ(nodes.timeout.count(), 2000);
    EXPECT_EQ(nodes.host, "");
    EXPECT_FALSE(nodes.json);
}

TEST(ReadArguments, TakesOptionsBeforeAndAfterTheCommand)
{
    const Arguments arguments =
        Read({"--json", "nodes", "--host", "192.0.2.10", "--timeout", "0.5"});
    EXPECT_TRUE(arguments.json);
    EXPECT_EQ(arguments.host, "192.0.2.10");
    EXPECT_EQ(arguments.timeout.count(), 500);
    EXPECT_EQ(Read({"nodes", "--host=192.0.2.10"}).host, "192.0.2.10");
    EXPECT_EQ(Read({"nodes", "--host", "studio-a"}).host, "studio-a");
    EXPECT_EQ(Read({"nodes", "--timeout=1", "--timeout=3600"}).timeout.count(), 3600000);
    EXPECT_TRUE(Read({"-json", "nodes"}).json);
    for (const char *help : {"--help", "-help", "-h"}) {
        EXPECT_EQ(Read({help}).command, Command::Help);
    }
    EXPECT_EQ(Read({"--version"}).command, Command::Version);
    EXPECT_EQ(Read({"--version", "--help"}).command, Command::Help);
    EXPECT_EQ(Read({"help"}).command, Command::Help);
}

TEST(ReadArguments, ReadsTheDeviceAndTheProductOfMonitor)
{
    const Arguments all = Read({"monitor"});
    EXPECT_EQ(all.command, Command::Monitor);
    EXPECT_EQ(all.host + all.product, "");
    const Arguments some = Read({"monitor", "--host", "studio-a", "--product", "Corvia 12"});
    EXPECT_EQ(some.host, "studio-a");
    EXPECT_EQ(some.product, "Corvia 12");
    EXPECT_EQ(ErrorOf({"monitor", "--timeout", "1"}),
              "monitor ends at Ctrl-C and does not take --timeout");
    EXPECT_EQ(ErrorOf({"monitor", "--product="}), "--product takes the name of a product");
    EXPECT_EQ(ErrorOf({"nodes", "--product", "Lumen"}), "only monitor takes --product");
}

TEST(ReadArguments, ReadsWordsAfterTwoDashesAndASingleDashAsOperands)
{
    EXPECT_EQ(Read({"browse", "--", "--json"}).operand, "--json");
    EXPECT_EQ(Read({"browse", "--", "--"}).operand, "--");
    EXPECT_EQ(Read({"browse", "-"}).operand, "-");
    EXPECT_EQ(Read({"browse", ""}).operand, "");
}

TEST(ReadArguments, KeepsOperandsByteForByte)
{
    for (const char *operand : {"\xc3\xa9.json", "\xff\xfe", "a\nb"}) {
        EXPECT_EQ(Read({"browse", operand}).operand, operand);
    }
    EXPECT_EQ(Read({"search", "urn:\xc3\xa9\xff"}).operand, "urn:\xc3\xa9\xff");
}

TEST(ReadArguments, NamesTheFaultInOneLine)
{
    EXPECT_EQ(ErrorOf({}), "a command is missing");
    EXPECT_EQ(ErrorOf({"browse", "--host", "192.0.2.10"}),
              "browse reads a file and does not take --host or --timeout");
    EXPECT_EQ(ErrorOf({"--timeout", "1", "browse", "x.json"}),
              "browse reads a file and does not take --host or --timeout");
    EXPECT_EQ(ErrorOf({"status", "--host", "192.0.2.10"}),
              "status checks this device and does not take --host");
    EXPECT_EQ(ErrorOf({"status", "x"}), "too many words: \"x\"");
    EXPECT_EQ(ErrorOf({"frob"}), "no such command: \"frob\"");
    EXPECT_EQ(ErrorOf({"nodes", "x"}), "too many words: \"x\"");
    EXPECT_EQ(ErrorOf({"browse", "a", "b"}), "too many words: \"b\"");
    EXPECT_EQ(ErrorOf({"nodes", "--host="}), "--host takes an IPv4 address or a name");
    for (const std::string value :
         {"x", "", "0", "0.001", "3601", "nan", "-1", "inf", "1x", " 1"}) {
        EXPECT_EQ(ErrorOf({"nodes", "--timeout=" + value}),
                  "--timeout takes seconds from 0.01 to 3600, not \"" + value + "\"");
    }
    EXPECT_EQ(ErrorOf({"nodes", "--frob"}), "no such option: \"--frob\"");
    EXPECT_EQ(ErrorOf({"nodes", "--=x"}), "no such option: \"--=x\"");
    EXPECT_EQ(ErrorOf({"nodes", "-x"}), "no such option: \"-x\"");
    EXPECT_EQ(ErrorOf({"nodes", "--json=1"}), "--json takes no value");
    EXPECT_EQ(ErrorOf({"nodes", "--host"}), "a value is missing after --host");
    EXPECT_EQ(ErrorOf({"search", "a\r\nb"}), "a search target must be one line");
}

TEST(ReadArguments, EscapesWordsInItsErrors)
{
    const std::string word = "a\x1b[2J\xc2\x9b\xff";
    const std::string escaped = "\"a\\x1b[2J\\u{009b}\\xff\"";
    EXPECT_EQ(ErrorOf({word}), "no such command: " + escaped);
    EXPECT_EQ(ErrorOf({"nodes", word}), "too many words: " + escaped);
    EXPECT_EQ(ErrorOf({"nodes", "--timeout", word}),
              "--timeout takes seconds from 0.01 to 3600, not " + escaped);
    EXPECT_EQ(ErrorOf({"nodes", "--a\n"}), "no such option: \"--a\\x0a\"");
}

#include "beaconctl/arguments.h"

#include <gtest/gtest.h>

namespace {

using Command = Arguments::Command;

Arguments Read(const QStringList &words)
{
    Arguments arguments;
    std::string error;
    EXPECT_TRUE(ReadArguments(QStringList{QStringLiteral("beaconctl")} + words, arguments, error))
        << error;
    return arguments;
}

std::string ErrorOf(const QStringList &words)
{
    Arguments arguments;
    std::string error;
    EXPECT_FALSE(ReadArguments(QStringList{QStringLiteral("beaconctl")} + words, arguments, error));
    return error;
}

QStringList Words(const char *line)
{
    return QString::fromLatin1(line).split(QLatin1Char(' '));
}

} // namespace

TEST(ReadArguments, KnowsEachCommandAndItsDefaults)
{
    EXPECT_EQ(Read(Words("nodes")).command, Command::Nodes);
    EXPECT_EQ(Read(Words("hosts")).command, Command::Hosts);
    EXPECT_EQ(Read(Words("watch")).command, Command::Watch);
    EXPECT_EQ(Read(Words("browse")).command, Command::Browse);
    EXPECT_EQ(Read(Words("browse x.json")).operand, "x.json");
    EXPECT_EQ(Read(Words("search")).timeout.count(), 4000);
    EXPECT_EQ(Read(Words("search upnp:rootdevice")).operand, "upnp:rootdevice");
    const Arguments nodes = Read(Words("nodes"));
    EXPECT_EQ(nodes.timeout.count(), 2000);
    EXPECT_EQ(nodes.host, "");
    EXPECT_FALSE(nodes.json);
}

TEST(ReadArguments, TakesOptionsBeforeAndBehindTheCommand)
{
    const Arguments arguments = Read(Words("--json nodes --host 192.0.2.10 --timeout 0.5"));
    EXPECT_TRUE(arguments.json);
    EXPECT_EQ(arguments.host, "192.0.2.10");
    EXPECT_EQ(arguments.timeout.count(), 500);
    EXPECT_EQ(Read(Words("--help")).command, Command::Help);
    EXPECT_EQ(Read(Words("--version")).command, Command::Version);
}

TEST(ReadArguments, SaysInOneLineWhatMakesNoSense)
{
    EXPECT_EQ(ErrorOf({}), "a command is missing");
    for (const char *line : {"browse --host 192.0.2.10", "--timeout 1 browse x.json"}) {
        EXPECT_EQ(ErrorOf(Words(line)), "browse reads a file, without --host and --timeout");
    }
    EXPECT_EQ(ErrorOf(Words("frob")), "no such command: \"frob\"");
    EXPECT_EQ(ErrorOf(Words("nodes x")), "too many words: \"x\"");
    EXPECT_EQ(ErrorOf(Words("browse a b")), "too many words: \"b\"");
    EXPECT_EQ(ErrorOf(Words("nodes --host studio-a")),
              "--host takes an IPv4 address, not \"studio-a\"");
    for (const char *value : {"x", "0", "3601", "nan", "-1", "inf"}) {
        EXPECT_EQ(
            ErrorOf({QStringLiteral("nodes"), QStringLiteral("--timeout=") + QLatin1String(value)}),
            "--timeout takes seconds from 0.01 to 3600, not \"" + std::string(value) + "\"");
    }
    EXPECT_NE(ErrorOf(Words("nodes --frob")), "");
    EXPECT_EQ(ErrorOf({QStringLiteral("search"), QStringLiteral("a\r\nb")}),
              "a search target is one line");
}

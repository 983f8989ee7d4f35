#include "beaconctl/output.h"

#include <gtest/gtest.h>

namespace {

const Entry kA{"k1", "studio-a", "Corvia 12", "192.0.2.10", "uuid:1"};
const Entry kB{"k2", "b", "Lumen Plus", "192.0.2.9", "uuid:2"};

} // namespace

TEST(EntriesTable, AlignsItsColumns)
{
    EXPECT_EQ(EntriesTable({kA, kB}, Detail::Usn, false),
              "  HOST NAME  PRODUCT     ADDRESS     USN\n"
              "  studio-a   Corvia 12   192.0.2.10  uuid:1\n"
              "  b          Lumen Plus  192.0.2.9   uuid:2\n");
}

TEST(EntriesTable, OfNothingHasItsHeadsOnly)
{
    EXPECT_EQ(EntriesTable({}, Detail::Description, true),
              "  HOST NAME  PRODUCT  ADDRESS  DESCRIPTION\n");
}

TEST(EntriesTable, LetsNoByteOfTheNetworkActOnTheTerminal)
{
    EXPECT_EQ(EntriesTable({{"k", "a\x1b[2J", "p\n", "1", ""}}, Detail::Usn, false),
              "  HOST NAME  PRODUCT  ADDRESS  USN\n"
              "  a\\x1b[2J   p\\x0a    1\n");
}

TEST(EntriesJson, HoldsTheTextsWhole)
{
    EXPECT_EQ(EntriesJson({{"k", "a\"\n", "p", "1", "u"}}, Detail::Usn),
              "[{\"address\":\"1\",\"hostName\":\"a\\\"\\n\",\"product\":\"p\",\"usn\":\"u\"}]\n");
    EXPECT_EQ(EntriesJson({}, Detail::Usn), "[]\n");
    EXPECT_EQ(EntriesJson({kA}, Detail::Description),
              "[{\"address\":\"192.0.2.10\",\"description\":\"uuid:1\",\"hostName\":\"studio-a\","
              "\"product\":\"Corvia 12\"}]\n");
}

TEST(Compare, TellsWhatCameChangedWentAndStayed)
{
    Entry renamed = kB;
    renamed.hostName = "c";
    const Entry fresh{"k0", "x", "y", "z", ""};
    const auto changes = Compare({kA, kB}, {renamed, fresh});
    ASSERT_EQ(changes.size(), 3U);
    EXPECT_EQ(changes[0].entry, fresh);
    EXPECT_EQ(changes[0].change, Change::Came);
    EXPECT_EQ(changes[1].entry, kA);
    EXPECT_EQ(changes[1].change, Change::Went);
    EXPECT_EQ(changes[2].entry, renamed);
    EXPECT_EQ(changes[2].change, Change::Changed);
    EXPECT_EQ(Compare({kA}, {kA})[0].change, Change::None);
}

TEST(ChangesTable, MarksAndColoursRows)
{
    const std::vector<ChangedEntry> changes{
        {kA, Change::Came}, {kB, Change::Went}, {kA, Change::Changed}, {kB, Change::None}};
    EXPECT_EQ(ChangesTable(changes, false), "  HOST NAME  PRODUCT     ADDRESS     USN\n"
                                            "+ studio-a   Corvia 12   192.0.2.10  uuid:1\n"
                                            "- b          Lumen Plus  192.0.2.9   uuid:2\n"
                                            "~ studio-a   Corvia 12   192.0.2.10  uuid:1\n"
                                            "  b          Lumen Plus  192.0.2.9   uuid:2\n");
    EXPECT_NE(ChangesTable(changes, true).find("\x1b[32m+ studio-a"), std::string::npos);
    EXPECT_NE(ChangesTable(changes, true).find("\x1b[31m- b"), std::string::npos);
}

TEST(ChangesLines, HasALineForEachChangeAndNoneForWhatStayed)
{
    const std::vector<ChangedEntry> changes{{kA, Change::Came}, {kB, Change::None}};
    EXPECT_EQ(ChangesLines(changes, false), "+ studio-a  Corvia 12  192.0.2.10\n");
    EXPECT_EQ(ChangesLines(changes, true),
              "{\"address\":\"192.0.2.10\",\"change\":\"came\",\"hostName\":\"studio-a\","
              "\"product\":\"Corvia 12\",\"usn\":\"uuid:1\"}\n");
}

TEST(ReadSearchAnswer, ReadsHeadersWhateverTheirCase)
{
    const auto answer =
        ReadSearchAnswer("HTTP/1.1 200 OK\r\nEXT:\r\nst: upnp:rootdevice\r\n"
                         "Usn:uuid:1\r\nLOCATION: http://x:80/y\r\nSERVER: s\r\n\r\n");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->searchTarget, "upnp:rootdevice");
    EXPECT_EQ(answer->usn, "uuid:1");
    EXPECT_EQ(answer->location, "http://x:80/y");
    EXPECT_EQ(answer->server, "s");
}

TEST(ReadSearchAnswer, RefusesWhatIsNoAnswer)
{
    EXPECT_FALSE(ReadSearchAnswer("NOTIFY * HTTP/1.1\r\n\r\n"));
    EXPECT_FALSE(ReadSearchAnswer(""));
}

TEST(AnswerText, ShowsAnAnswerSafely)
{
    const SearchAnswer answer{"192.0.2.10", "st", "uuid:\x1b", "http://x", "s"};
    EXPECT_EQ(AnswerText(answer, false), "192.0.2.10  uuid:\\x1b\n    ST        st\n"
                                         "    LOCATION  http://x\n    SERVER    s\n");
    EXPECT_EQ(
        AnswerText(answer, true),
        "{\"address\":\"192.0.2.10\",\"location\":\"http://x\",\"server\":\"s\",\"st\":\"st\","
        "\"usn\":\"uuid:\\u001b\"}\n");
}

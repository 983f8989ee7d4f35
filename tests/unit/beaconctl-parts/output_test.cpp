#include "beaconctl/output.h"

#include "beaconctl/sources.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace beaconctl;

namespace {

const Entry kA{"studio-a", "Corvia 12", "192.0.2.10", "uuid:1", "HD recorder", "0x10650001"};
const Entry kB{"b", "Lumen Plus", "192.0.2.9", "uuid:2", "4K encoder", "0x10660002"};

// A character that acts on the text around it or is invisible, and how JSON writes it.
struct Active
{
    const char *character;
    const char *escape;
};

constexpr Active kActive[] = {
    {"\x7f", "\\u007f"},                    // DEL
    {"\xc2\x80", "\\u0080"},                // the first of C1
    {"\xc2\x9b", "\\u009b"},                // CSI, the start of control sequences
    {"\xc2\x9f", "\\u009f"},                // the last of C1
    {"\xd8\x9c", "\\u061c"},                // ARABIC LETTER MARK
    {"\xe2\x80\x8e", "\\u200e"},            // LEFT-TO-RIGHT MARK
    {"\xe2\x80\xae", "\\u202e"},            // RIGHT-TO-LEFT OVERRIDE
    {"\xe2\x81\xa6", "\\u2066"},            // LEFT-TO-RIGHT ISOLATE
    {"\xe2\x80\xa8", "\\u2028"},            // LINE SEPARATOR
    {"\xf3\xa0\x81\x81", "\\udb40\\udc41"}, // TAG LATIN CAPITAL LETTER A
};

} // namespace

TEST(EntriesTable, AlignsItsColumns)
{
    EXPECT_EQ(EntriesTable({kA, kB}, Source::Listing),
              "  HOST NAME  PRODUCT     ADDRESS     USN\n"
              "  studio-a   Corvia 12   192.0.2.10  uuid:1\n"
              "  b          Lumen Plus  192.0.2.9   uuid:2\n");
    EXPECT_EQ(EntriesTable({kA, kB}, Source::BrowseList),
              "  HOST NAME  PRODUCT     ADDRESS     DESCRIPTION  BOARD ID\n"
              "  studio-a   Corvia 12   192.0.2.10  HD recorder  0x10650001\n"
              "  b          Lumen Plus  192.0.2.9   4K encoder   0x10660002\n");
}

TEST(EntriesTable, WithoutEntriesHasOnlyItsHeads)
{
    EXPECT_EQ(EntriesTable({}, Source::BrowseList),
              "  HOST NAME  PRODUCT  ADDRESS  DESCRIPTION  BOARD ID\n");
}

TEST(EntriesTable, EscapesControlCharacters)
{
    EXPECT_EQ(EntriesTable({{"a\x1b[2J", "p\n", "1", "", "", ""}}, Source::Listing),
              "  HOST NAME  PRODUCT  ADDRESS  USN\n"
              "  a\\x1b[2J   p\\x0a    1\n");
}

TEST(EntriesTable, KeepsEveryAddressWithin80ColumnsWithTextsOfAnyLength)
{
    const Entry longest{std::string(1400, 'h'),
                        std::string(1400, 'p'),
                        "192.0.2.123",
                        std::string(1400, 'u'),
                        "",
                        ""};
    EXPECT_EQ(EntriesTable({kA, longest}, Source::Listing),
              "  HOST NAME                             PRODUCT               ADDRESS      USN\n"
              "  studio-a                              Corvia 12             192.0.2.10   uuid:1\n"
              "  " +
                  std::string(33, 'h') + "...  " + std::string(17, 'p') + "...  192.0.2.123  " +
                  std::string(61, 'u') + "...\n");
}

TEST(EntriesTable, KeepsEveryAddressWithin80ColumnsWithWideCharacters)
{
    std::string wide;
    for (int i = 0; i < 40; ++i) {
        wide += "\xe2\x9a\xa1"; // two columns
    }
    const std::string shown(wide, 0, 3 * 16);
    EXPECT_EQ(EntriesTable({{wide, wide, "192.0.2.123", "u", "", ""}}, Source::Listing),
              "  HOST NAME                            PRODUCT              ADDRESS      USN\n"
              "  " +
                  shown + "...  " + std::string(wide, 0, 3 * 8) + "...  192.0.2.123  u\n");
}

TEST(EntriesJson, HasTheWholeTexts)
{
    const std::string name(1400, 'h');
    EXPECT_EQ(EntriesJson({{"a\"\n" + name, "p", "1", "u", "", ""}}, false),
              "[{\"address\":\"1\",\"hostName\":\"a\\\"\\n" + name +
                  "\",\"product\":\"p\",\"usn\":\"u\"}]\n");
    EXPECT_EQ(EntriesJson({}, false), "[]\n");
}

TEST(EntriesJson, KeepsAByteOrderMarkAtTheStartOfAText)
{
    EXPECT_EQ(EntriesJson({{"\xef\xbb\xbf"
                            "a",
                            "", "", "", "", ""}},
                          false),
              "[{\"address\":\"\",\"hostName\":\"\\ufeffa\",\"product\":\"\",\"usn\":\"\"}]\n");
}

TEST(EntriesJson, MarksEveryObjectOfACutListing)
{
    EXPECT_EQ(EntriesJson({kA, kB}, true),
              "[{\"address\":\"192.0.2.10\",\"hostName\":\"studio-a\",\"listingCut\":true,"
              "\"product\":\"Corvia 12\",\"usn\":\"uuid:1\"},"
              "{\"address\":\"192.0.2.9\",\"hostName\":\"b\",\"listingCut\":true,"
              "\"product\":\"Lumen Plus\",\"usn\":\"uuid:2\"}]\n");
}

TEST(EntriesJson, EscapesCharactersThatActOnATerminal)
{
    for (const Active &active : kActive) {
        EXPECT_EQ(EntriesJson({{active.character, "\xc3\xa9", "", "", "", ""}}, false),
                  std::string("[{\"address\":\"\",\"hostName\":\"") + active.escape +
                      "\",\"product\":\"\xc3\xa9\",\"usn\":\"\"}]\n");
    }
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

TEST(ChangesLines, HasALineForEachEntry)
{
    const std::vector<ChangedEntry> changes{{kA, Change::Came}, {kB, Change::None}};
    EXPECT_EQ(ChangesLines(changes, false), "+ studio-a  Corvia 12  192.0.2.10\n"
                                            "  b  Lumen Plus  192.0.2.9\n");
    EXPECT_EQ(ChangesLines(changes, true),
              "{\"address\":\"192.0.2.10\",\"change\":\"came\",\"hostName\":\"studio-a\","
              "\"product\":\"Corvia 12\",\"usn\":\"uuid:1\"}\n"
              "{\"address\":\"192.0.2.9\",\"change\":\"present\",\"hostName\":\"b\","
              "\"product\":\"Lumen Plus\",\"usn\":\"uuid:2\"}\n");
}

TEST(ChangesLines, ShortensLongTexts)
{
    EXPECT_EQ(
        ChangesLines({{{std::string(1400, 'h'), "p", "1", "u", "", ""}, Change::Went}}, false),
        "- " + std::string(33, 'h') + "...  p  1\n");
}

TEST(AnswerText, EscapesControlCharacters)
{
    const formats::SearchResponseHeaders headers{"st", "uuid:\x1b", "http://x", "s"};
    EXPECT_EQ(AnswerText("192.0.2.10", headers, false),
              "192.0.2.10  uuid:\\x1b\n    ST        st\n"
              "    LOCATION  http://x\n    SERVER    s\n");
    EXPECT_EQ(
        AnswerText("192.0.2.10", headers, true),
        "{\"address\":\"192.0.2.10\",\"location\":\"http://x\",\"server\":\"s\",\"st\":\"st\","
        "\"usn\":\"uuid:\\u001b\"}\n");
}

TEST(AnswerText, ShortensLongTextsButNotInJson)
{
    const std::string text(1400, 'x');
    const std::string shown = std::string(125, 'x') + "...";
    EXPECT_EQ(AnswerText("1", {text, text, text, text}, false),
              "1  " + shown + "\n    ST        " + shown + "\n    LOCATION  " + shown +
                  "\n    SERVER    " + shown + "\n");
    EXPECT_EQ(AnswerText("1", {text, "", "", ""}, true),
              R"({"address":"1","location":"","server":"","st":")" + text + "\",\"usn\":\"\"}\n");
}

TEST(AnswerText, EscapesCharactersThatActOnATerminalInJson)
{
    for (const Active &active : kActive) {
        EXPECT_EQ(AnswerText("1", {"", active.character, "", ""}, true),
                  std::string("{\"address\":\"1\",\"location\":\"\",\"server\":\"\",\"st\":\"\","
                              "\"usn\":\"") +
                      active.escape + "\"}\n");
    }
}

class MonitorLine : public testing::Test
{
protected:
    MonitorLine()
    {
        setenv("TZ", "XXX-2", 1); // two hours east of Greenwich
        tzset();
    }
    ~MonitorLine() override
    {
        unsetenv("TZ");
        tzset();
    }

    [[nodiscard]] std::string Text(bool json) const
    {
        return MonitorText({1795311023, 7999999}, mDatagram, mMessage, json);
    }

    Message mMessage{"NOTIFY", "upnp:rootdevice", "uuid:1", "http://x", "corvia_12", "is here"};

private:
    Datagram mDatagram = MakeDatagram(ParseAddress("192.0.2.10", 0)->sin_addr,
                                      ParseAddress("239.255.255.250", 0)->sin_addr, "");
};

TEST_F(MonitorLine, HasTheTimeOfDayAndAlignedColumns)
{
    EXPECT_EQ(Text(false),
              "03:30:23.007  192.0.2.10       NOTIFY    upnp:rootdevice  uuid:1  is here\n");
}

TEST_F(MonitorLine, HasADashForEachMissingField)
{
    mMessage = Message();
    mMessage.meaning = "not SSDP: ignored";
    EXPECT_EQ(Text(false),
              "03:30:23.007  192.0.2.10       -         -                -  not SSDP: ignored\n");
}

TEST_F(MonitorLine, InJsonHasTheTimeInUtcAndAllTexts)
{
    EXPECT_EQ(Text(true),
              R"({"from":"192.0.2.10","location":"http://x","meaning":"is here",)"
              R"("method":"NOTIFY","time":"2026-11-22T01:30:23.007Z","to":"239.255.255.250",)"
              R"("type":"upnp:rootdevice","usn":"uuid:1"})"
              "\n");
}

TEST_F(MonitorLine, ShortensAndEscapesTexts)
{
    mMessage.type = "\x1b[2J" + std::string(1400, 't');
    mMessage.usn = "\n" + std::string(1400, 'u');
    mMessage.meaning = "\xc2\x9b" + std::string(1400, 'm');
    EXPECT_EQ(Text(false), "03:30:23.007  192.0.2.10       NOTIFY    \\x1b[2J" +
                               std::string(26, 't') + "...  \\x0a" + std::string(57, 'u') +
                               "...  \\u{009b}" + std::string(109, 'm') + "...\n");
}

TEST_F(MonitorLine, InJsonEscapesCharactersThatActOnATerminal)
{
    for (const Active &active : kActive) {
        mMessage.meaning = active.character;
        EXPECT_EQ(Text(true),
                  std::string(R"({"from":"192.0.2.10","location":"http://x","meaning":")") +
                      active.escape +
                      R"(","method":"NOTIFY","time":"2026-11-22T01:30:23.007Z",)"
                      R"("to":"239.255.255.250","type":"upnp:rootdevice","usn":"uuid:1"})"
                      "\n");
    }
}

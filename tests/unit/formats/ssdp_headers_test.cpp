#include "formats/ssdp_headers.h"

#include "formats/ssdp_messages.h"
#include "support/records.h"

#include <array>
#include <gtest/gtest.h>
#include <vector>

using formats::ClassifyMethod;
using formats::Method;
using formats::NTSKind;
using formats::ScanHeaders;
using formats::SSDPHeaders;

namespace {

using namespace std::string_view_literals;

// The value of one header line, read as NT.
std::string_view NT(std::string_view line)
{
    return ScanHeaders(line).notify.nt;
}

// Scans a datagram in memory of exactly its size: AddressSanitizer then finds any read beyond
// it. Checks that every view is within the datagram.
void ScanStrictly(std::string_view datagram)
{
    const std::vector<char> exact(datagram.begin(), datagram.end());
    const std::string_view text(exact.data(), exact.size());
    static_cast<void>(ClassifyMethod(text));
    const SSDPHeaders headers = ScanHeaders(text);
    for (const std::string_view view :
         {headers.notify.nt, headers.notify.usn, headers.notify.location, headers.searchTarget}) {
        if (!view.empty()) {
            EXPECT_GE(view.data(), text.data());
            EXPECT_LE(view.data() + view.size(), text.data() + text.size());
        }
    }
}

} // namespace

TEST(ClassifyMethod, KnowsFourMethods)
{
    EXPECT_EQ(ClassifyMethod("NOTIFY * HTTP/1.1\r\n"), Method::Notify);
    EXPECT_EQ(ClassifyMethod("M-SEARCH * HTTP/1.1\r\n"), Method::MSearch);
    EXPECT_EQ(ClassifyMethod("HTTP/1.1 200 OK\r\n"), Method::Http);
    EXPECT_EQ(ClassifyMethod("GET http://192.0.2.10:80/a.xml HTTP/1.1\r\n"), Method::Get);
}

TEST(ClassifyMethod, IsCaseSensitive)
{
    EXPECT_EQ(ClassifyMethod("notify * HTTP/1.1\r\n"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("m-search * HTTP/1.1\r\n"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("Http/1.1 200 OK\r\n"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("get /a.xml\r\n"), Method::Unknown);
}

TEST(ClassifyMethod, TheMethodIsAllLettersAndHyphensAtTheStart)
{
    EXPECT_EQ(ClassifyMethod("NOTIFY-ALL * HTTP/1.1"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("-NOTIFY *"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("NOTIF Y"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("HTTPS/1.1"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod(" NOTIFY *"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("\r\nNOTIFY *"), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("M_SEARCH *"), Method::Unknown);
}

TEST(ClassifyMethod, OnlyLettersAndTheHyphenContinueTheMethod)
{
    std::string continuing;
    for (int byte = 0; byte < 256; ++byte) {
        const std::string datagram = std::string("NOTIFY") + static_cast<char>(byte);
        if (ClassifyMethod(datagram) == Method::Unknown) {
            continuing += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(continuing, "-ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

TEST(ClassifyMethod, AnyOtherByteOrTheEndOfTheDatagramEndsTheMethod)
{
    EXPECT_EQ(ClassifyMethod("NOTIFY"), Method::Notify);
    EXPECT_EQ(ClassifyMethod("NOTIFY1"), Method::Notify);
    EXPECT_EQ(ClassifyMethod("GET\0"sv), Method::Get);
    EXPECT_EQ(ClassifyMethod("HTTP\xff"), Method::Http);
    EXPECT_EQ(ClassifyMethod(""), Method::Unknown);
    EXPECT_EQ(ClassifyMethod("\0NOTIFY"sv), Method::Unknown);
}

TEST(ScanHeaders, ReadsTheAliveThatThisSystemSends)
{
    const SSDPDeviceType service = FullRecord();
    const std::string datagram = formats::ComposeAlive(service);
    const SSDPHeaders headers = ScanHeaders(datagram);
    EXPECT_EQ(headers.notify.nt, service.notificationType);
    EXPECT_EQ(headers.notify.usn, service.usn);
    EXPECT_EQ(headers.notify.location, service.location);
    EXPECT_EQ(headers.kind, NTSKind::Alive);
    EXPECT_EQ(headers.maxAge, 1800);
    EXPECT_EQ(headers.searchTarget, "");
}

TEST(ScanHeaders, ReadsTheGoodbyeThatThisSystemSends)
{
    const SSDPDeviceType service = FullRecord();
    const std::string datagram = formats::ComposeGoodbye(service);
    const SSDPHeaders headers = ScanHeaders(datagram);
    EXPECT_EQ(headers.notify.nt, service.notificationType);
    EXPECT_EQ(headers.notify.usn, service.usn);
    EXPECT_EQ(headers.notify.location, service.location);
    EXPECT_EQ(headers.kind, NTSKind::Byebye);
}

TEST(ScanHeaders, ReadsTheSearchThatThisSystemSends)
{
    const std::string datagram = formats::ComposeSearchRequest("upnp:rootdevice");
    const SSDPHeaders headers = ScanHeaders(datagram);
    EXPECT_EQ(headers.searchTarget, "upnp:rootdevice");
    EXPECT_EQ(headers.notify.nt, "");
}

TEST(ScanHeaders, WithoutHeadersAllAreEmptyAndTheMaxAgeIs1800)
{
    for (const std::string_view datagram : {""sv, "NOTIFY * HTTP/1.1\r\n\r\n"sv, "\r\r\r\r"sv}) {
        const SSDPHeaders headers = ScanHeaders(datagram);
        EXPECT_EQ(headers.notify.nt, "");
        EXPECT_EQ(headers.notify.usn, "");
        EXPECT_EQ(headers.notify.location, "");
        EXPECT_EQ(headers.searchTarget, "");
        EXPECT_EQ(headers.kind, NTSKind::Unknown);
        EXPECT_EQ(headers.maxAge, 1800);
    }
}

TEST(ScanHeaders, HeaderNamesAreReadInAnyCase)
{
    EXPECT_EQ(NT("Nt: upnp:rootdevice"), "upnp:rootdevice");
    EXPECT_EQ(NT("NT:upnp:rootdevice"), "upnp:rootdevice");
    EXPECT_EQ(NT("nT: x"), "x");
    EXPECT_EQ(ScanHeaders("sT: x").searchTarget, "x");
    EXPECT_EQ(ScanHeaders("uSn: x").notify.usn, "x");
    EXPECT_EQ(ScanHeaders("LocaTion: x").notify.location, "x");
    EXPECT_EQ(ScanHeaders("cAche-conTrol: max-age=5").maxAge, 5);
    EXPECT_EQ(ScanHeaders("nTs: ssdp:alive").kind, NTSKind::Alive);
}

TEST(ScanHeaders, HeaderNamesAreMatchedWhole)
{
    const SSDPHeaders headers = ScanHeaders("NT : a\r\n NT: b\r\nNTX: c\r\nN: d\r\nUSNS: e\r\n"
                                            "LOCATIONS: f\r\nCACHE_CONTROL: max-age=7\r\n"
                                            "CACHE-CONTROLS: max-age=7\r\nNTT: ssdp:alive\r\n"
                                            "LOCATI\xcfN: g\r\nN\0: h\r\nS\0: i"sv);
    EXPECT_EQ(headers.notify.nt, "");
    EXPECT_EQ(headers.notify.usn, "");
    EXPECT_EQ(headers.notify.location, "");
    EXPECT_EQ(headers.searchTarget, "");
    EXPECT_EQ(headers.kind, NTSKind::Unknown);
    EXPECT_EQ(headers.maxAge, 1800);
}

TEST(ScanHeaders, LinesEndAtCrOrLfAndEmptyLinesAreSkipped)
{
    EXPECT_EQ(NT("x\rNT: a\rUSN: b"), "a");
    EXPECT_EQ(NT("x\nNT: a\nUSN: b"), "a");
    EXPECT_EQ(NT("x\n\r\r\n\n\nNT: a\n\r"), "a");
    EXPECT_EQ(NT("\r\n\r\nNT: a"), "a");
    // Headers after an empty line count, too.
    EXPECT_EQ(NT("NOTIFY * HTTP/1.1\r\n\r\nNT: a\r\n\r\n"), "a");
}

TEST(ScanHeaders, TheRequestLineIsReadLikeAnyOtherLine)
{
    EXPECT_EQ(NT("NT: a"), "a");
    EXPECT_EQ(NT("NOTIFY http://192.0.2.10:80 HTTP/1.1\r\nNT: a\r\n"), "a");
}

TEST(ScanHeaders, ALineWithoutAColonOrWithAColonFirstIsSkipped)
{
    EXPECT_EQ(NT("NT a\r\n"), "");
    EXPECT_EQ(NT(":NT: a\r\n"), "");
    EXPECT_EQ(NT("::::\r\nNT: a\r\n"), "a");
    EXPECT_EQ(NT(":"), "");
    EXPECT_EQ(NT("NT"), "");
}

TEST(ScanHeaders, WhiteSpaceAndOneQuoteAreRemovedAtEachEndOfAValue)
{
    EXPECT_EQ(NT("NT: \t \v\f a b \t\v\f "), "a b");
    EXPECT_EQ(NT("NT: \"a\" "), "a");
    EXPECT_EQ(NT("NT:\"\"a\"\""), "\"a\"");
    EXPECT_EQ(NT("NT: \"a"), "a");
    EXPECT_EQ(NT("NT: a\""), "a");
    EXPECT_EQ(NT("NT: \" a \""), " a ");
    EXPECT_EQ(NT("NT:a:b:c"), "a:b:c");
}

TEST(ScanHeaders, ALineWithAnEmptyValueIsSkipped)
{
    for (const std::string_view line : {"NT:"sv, "NT: "sv, "NT: \t"sv, "NT:\""sv, "NT: \"\" "sv}) {
        EXPECT_EQ(NT(line), "") << line;
        EXPECT_EQ(NT(std::string("NT: first\r\n").append(line)), "first") << line;
    }
}

TEST(ScanHeaders, ALaterOccurrenceReplacesAnEarlierOne)
{
    const SSDPHeaders headers =
        ScanHeaders("NT: a\r\nUSN: a\r\nLOCATION: a\r\nST: a\r\nNTS: ssdp:alive\r\n"
                    "CACHE-CONTROL: max-age=1\r\nNT: b\r\nUSN: b\r\nLOCATION: b\r\nST: b\r\n"
                    "NTS: ssdp:byebye\r\nCACHE-CONTROL: max-age=2\r\n");
    EXPECT_EQ(headers.notify.nt, "b");
    EXPECT_EQ(headers.notify.usn, "b");
    EXPECT_EQ(headers.notify.location, "b");
    EXPECT_EQ(headers.searchTarget, "b");
    EXPECT_EQ(headers.kind, NTSKind::Byebye);
    EXPECT_EQ(headers.maxAge, 2);
}

TEST(ScanHeaders, TheNtsValueIsReadInAnyCase)
{
    EXPECT_EQ(ScanHeaders("NTS: SSDP:ALIVE").kind, NTSKind::Alive);
    EXPECT_EQ(ScanHeaders("NTS: ssdp:alive   \r\n").kind, NTSKind::Alive);
    EXPECT_EQ(ScanHeaders("NTS: \"Ssdp:ByeBye\"").kind, NTSKind::Byebye);
}

TEST(ScanHeaders, AnyOtherNtsValueIsUnknownAndChangesNothing)
{
    for (const std::string_view value :
         {"ssdp:update"sv, "ssdp:alive2"sv, "ssdp:aliv"sv, "ssdp:byeby"sv, "ssdp:byebyes"sv,
          "ssdp_alive"sv, "ssdp:alive\0"sv, "x"sv}) {
        const std::string line = std::string("NTS: ").append(value).append("\r\n");
        EXPECT_EQ(ScanHeaders(line).kind, NTSKind::Unknown) << value;
        EXPECT_EQ(ScanHeaders("NTS: ssdp:alive\r\n" + line).kind, NTSKind::Alive) << value;
    }
}

TEST(ScanHeaders, NulBytesAreKept)
{
    const SSDPHeaders headers = ScanHeaders("\0\0\r\nNT: a\0b\r\n\0USN: c\r\nUSN: d\0\0\r\n"sv);
    EXPECT_EQ(headers.notify.nt, "a\0b"sv);
    EXPECT_EQ(headers.notify.usn, "d\0\0"sv);
}

TEST(ScanHeaders, ReadsALineOf1500Bytes)
{
    const std::string value(1500 - 4, 'v');
    const std::string datagram = "USN:" + value;
    ASSERT_EQ(datagram.size(), 1500U);
    EXPECT_EQ(ScanHeaders(datagram).notify.usn, value);
    EXPECT_EQ(NT(std::string(1500, ':')), "");
    EXPECT_EQ(NT(std::string(1498, '\r') + "NT"), "");
    EXPECT_EQ(NT(std::string(1496, '\n') + "NT:x"), "x");
    EXPECT_EQ(NT("NT:" + std::string(1497, ' ')), "");
}

TEST(ScanHeaders, ReadsNothingBeyondADatagramOfUpToFiveBytes)
{
    constexpr std::array<char, 9> kBytes{':', '\r', '\n', 'N', 't', '"', ' ', '\0', '='};
    std::vector<std::string> datagrams{""};
    for (std::size_t at = 0; datagrams[at].size() < 5; ++at) {
        for (const char byte : kBytes) {
            datagrams.push_back(datagrams[at] + byte);
        }
    }
    for (const std::string &datagram : datagrams) {
        ScanStrictly(datagram);
    }
}

TEST(ScanHeaders, ReadsNothingBeyondADatagramCutAtAnyByte)
{
    std::string datagram = "NOTIFY * HTTP/1.1\r\nNT: \"a\"\r\nNTS: ssdp:alive\r\nST: b\r\n"
                           "LOCATION: http://192.0.2.20:80/a.xml\r\nUSN: uuid:65746500-a\r\n"
                           "CACHE-CONTROL: no-cache, max-age = 0x3c , max-age=077,max-age=\r\n\r\n";
    for (std::size_t size = 0; size <= datagram.size(); ++size) {
        ScanStrictly(std::string_view(datagram).substr(0, size));
    }
}

#include "beaconctl/search_answer.h"

#include <algorithm>
#include <cctype>

namespace {

bool EqualsIgnoringCase(std::string_view left, std::string_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) ==
               std::tolower(static_cast<unsigned char>(b));
    });
}

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t start = text.find_first_not_of(kBlanks);
    return start == std::string_view::npos
               ? std::string_view()
               : text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

void ReadHeader(std::string_view line, SearchAnswer &answer)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view name = line.substr(0, colon);
    const std::string value(Trim(line.substr(colon + 1)));
    if (EqualsIgnoringCase(name, "ST")) {
        answer.searchTarget = value;
    } else if (EqualsIgnoringCase(name, "USN")) {
        answer.usn = value;
    } else if (EqualsIgnoringCase(name, "LOCATION")) {
        answer.location = value;
    } else if (EqualsIgnoringCase(name, "SERVER")) {
        answer.server = value;
    }
}

} // namespace

std::string ComposeSearch(std::string_view target)
{
    return "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
           "MX: 3\r\nST: " +
           std::string(target) + "\r\n\r\n";
}

std::optional<SearchAnswer> ReadSearchAnswer(std::string_view datagram)
{
    if (datagram.substr(0, 5) != "HTTP/") {
        return std::nullopt;
    }
    SearchAnswer answer;
    while (!datagram.empty()) {
        const std::string_view line = datagram.substr(0, datagram.find('\n'));
        ReadHeader(line, answer);
        datagram.remove_prefix(std::min(line.size() + 1, datagram.size()));
    }
    return answer;
}

#include "beaconctl/status_finders.h"

#include "beaconctl/sources.h"

#include <algorithm>
#include <arpa/nameser.h>
#include <array>
#include <optional>

namespace beaconctl {
namespace {

constexpr const char *kGroup = "224.0.0.251";
constexpr std::uint16_t kMdnsPort = 5353;
constexpr std::string_view kTypeName = "_http._tcp.local";
// The TXT strings of beacond, each with its length before it.
constexpr std::string_view kTxt = "\x09txtvers=1\x06path=/";

// The first label of the domain name in a PTR record: any bytes, without escapes.
std::optional<std::string> FirstLabel(const ns_msg &message, const ns_rr &record)
{
    std::array<unsigned char, NS_MAXCDNAME> name{};
    if (ns_name_unpack(ns_msg_base(message), ns_msg_end(message), ns_rr_rdata(record), name.data(),
                       name.size()) < 0 ||
        name[0] == 0) {
        return std::nullopt;
    }
    return std::string(name.begin() + 1, name.begin() + 1 + name[0]);
}

// The name in a PTR record, as text in the same form as ns_rr_name().
std::string TargetOf(const ns_msg &message, const ns_rr &record)
{
    std::array<char, NS_MAXDNAME> name{};
    const int length = ns_name_uncompress(ns_msg_base(message), ns_msg_end(message),
                                          ns_rr_rdata(record), name.data(), name.size());
    return length < 0 ? std::string() : name.data();
}

std::vector<ns_rr> Records(ns_msg &message)
{
    std::vector<ns_rr> records;
    for (const ns_sect section : {ns_s_an, ns_s_ar}) {
        ns_rr record{};
        for (int i = 0; i < ns_msg_count(message, section); ++i) {
            if (ns_parserr(&message, section, i, &record) == 0) {
                records.push_back(record);
            }
        }
    }
    return records;
}

bool HasTxt(const std::vector<ns_rr> &records, const std::string &name)
{
    return std::any_of(records.begin(), records.end(), [&name](const ns_rr &record) {
        const std::string_view data(reinterpret_cast<const char *>(ns_rr_rdata(record)),
                                    ns_rr_rdlen(record));
        return ns_rr_type(record) == ns_t_txt && ns_rr_name(record) == name && data == kTxt;
    });
}

} // namespace

std::string ComposeServiceQuery()
{
    // Twelve bytes of header with one question, then the name, the type PTR and the class IN.
    std::string query("\0\0\0\0\0\1\0\0\0\0\0\0", 12);
    query += std::string("\5_http\4_tcp\5local\0", 18);
    return query + std::string("\0\x0c\0\1", 4);
}

std::vector<std::string> ReadServiceNames(std::string_view response)
{
    std::vector<std::string> names;
    ns_msg message{};
    if (ns_initparse(reinterpret_cast<const unsigned char *>(response.data()),
                     static_cast<int>(response.size()), &message) != 0) {
        return names;
    }
    const std::vector<ns_rr> records = Records(message);
    for (const ns_rr &record : records) {
        const auto label = ns_rr_type(record) == ns_t_ptr && ns_rr_name(record) == kTypeName
                               ? FirstLabel(message, record)
                               : std::nullopt;
        if (label && HasTxt(records, TargetOf(message, record)) &&
            std::count(names.begin(), names.end(), *label) == 0) {
            names.push_back(*label);
        }
    }
    return names;
}

// If nothing is found in half of the time-out, sends the query again: a datagram may be lost.
std::vector<std::string> AskServices(const std::string &address, std::chrono::milliseconds timeout)
{
    const sockaddr_in group = ParseAddress(kGroup, kMdnsPort).value_or(sockaddr_in());
    const sockaddr_in own = ParseAddress(address, kMdnsPort).value_or(sockaddr_in());
    for (int tries = 0; tries < 2; ++tries) {
        Question question;
        const auto end = Question::Clock::now() + timeout / 2;
        if (question.Send(ComposeServiceQuery(), group) != 0) {
            return {};
        }
        sockaddr_in sender{};
        while (const auto response = question.Receive(end, sender)) {
            if (sender.sin_addr.s_addr != own.sin_addr.s_addr || sender.sin_port != own.sin_port) {
                continue;
            }
            if (auto names = ReadServiceNames(*response); !names.empty()) {
                return names;
            }
        }
    }
    return {};
}

} // namespace beaconctl

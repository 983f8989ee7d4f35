#include "beaconctl/sources.h"

#include "beaconctl/terminal_text.h"
#include "formats/browse_document.h"
#include "formats/ssdp_protocol.h"
#include "vexbase/vex_status.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <net/if.h>

namespace beaconctl {
namespace {

constexpr const char *kThisDevice = "127.0.0.1";
// Four times the longest list that the daemon writes (kMaxKnownBytes in ssdp_tunables.h).
constexpr std::size_t kLargestFile = std::size_t{16} * 1024 * 1024;

// Reads the reply of the host that was asked; ignores datagrams of others.
std::optional<std::string> ReceiveFrom(Question &question, Question::Clock::time_point end,
                                       const sockaddr_in &host)
{
    sockaddr_in sender{};
    while (auto reply = question.Receive(end, sender)) {
        if (sender.sin_addr.s_addr == host.sin_addr.s_addr && sender.sin_port == host.sin_port) {
            return reply;
        }
    }
    return std::nullopt;
}

struct CloseFile
{
    void operator()(std::FILE *file) const { static_cast<void>(std::fclose(file)); }
};

// Reads a file, but at most one byte more than kLargestFile. False, with errno as the
// system left it, if it cannot be read. Pipes are files here, too.
bool ReadFile(const std::string &path, std::string &text)
{
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) {
        return false;
    }
    text.resize(kLargestFile + 1);
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    return std::ferror(file.get()) == 0;
}

Entry ListedEntry(const SSDPDeviceType &service)
{
    return {service.hostName, service.productName, service.ipAddress, service.usn, "", ""};
}

Entry BrowseEntry(const SSDPDeviceType &device)
{
    return {device.hostName,         device.modelName, device.ipAddress, "",
            device.modelDescription, device.boardID};
}

// Reads a browse list from a file with a reader of src/formats.
template <typename Reader, typename Result>
bool ReadList(const std::string &path, Reader reader, Result &result, std::string &error)
{
    std::string text;
    std::string fault;
    if (!ReadFile(path, text)) {
        fault = strerror(errno); // NOLINT(concurrency-mt-unsafe): a program of one thread
    } else if (text.size() > kLargestFile) {
        fault = "larger than any browse list";
    } else if (reader(text, result, fault)) {
        return true;
    }
    error = SafeText(path) + ": " + fault;
    return false;
}

template <typename Convert>
Entries EntriesOf(const std::vector<SSDPDeviceType> &devices, Convert convert)
{
    Entries entries;
    std::transform(devices.begin(), devices.end(), std::back_inserter(entries), convert);
    return entries;
}

} // namespace

int Question::Send(const std::string &datagram, const sockaddr_in &destination)
{
    if (mSocket.Open("", 0) != vexbase::kSuccess) {
        return errno;
    }
    ip_mreqn outgoing{};
    outgoing.imr_ifindex = static_cast<int>(if_nametoindex("net0"));
    if (outgoing.imr_ifindex != 0) {
        // If this fails, the default route decides.
        static_cast<void>(mSocket.SetSocketOption(IP_MULTICAST_IF, outgoing));
    }
    return mSocket.Write(datagram.data(), datagram.size(), destination) < 0 ? errno : 0;
}

std::optional<std::string> Question::Receive(Clock::time_point end, sockaddr_in &sender)
{
    std::string datagram(formats::kMaxDatagram, '\0');
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        // Only a datagram sets the sender. Its length may be 0.
        sender.sin_family = AF_UNSPEC;
        const std::size_t length = mSocket.Poll(datagram.data(), datagram.size(), sender,
                                                static_cast<unsigned int>(left.count()));
        if (sender.sin_family != AF_UNSPEC) {
            datagram.resize(length);
            return datagram;
        }
        // None yet: the kernel drops a datagram with a wrong checksum only when it is read.
    }
}

std::optional<sockaddr_in> ParseAddress(const std::string &address, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1) {
        return std::nullopt;
    }
    return result;
}

std::string AddressText(const in_addr &address)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

std::string AskedHost(const Arguments &arguments)
{
    return arguments.host.empty() ? kThisDevice : arguments.host;
}

bool AskListing(const Arguments &arguments, const formats::ListingKind &kind, Listing &listing,
                std::string &error)
{
    const std::string host = AskedHost(arguments);
    const sockaddr_in destination =
        ParseAddress(host, formats::kDiagnosticPort).value_or(sockaddr_in());
    Question question;
    if (const int fault = question.Send(std::string(kind.command), destination)) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
        error = "cannot ask " + host + ": " + strerror(fault);
        return false;
    }
    const auto reply =
        ReceiveFrom(question, Question::Clock::now() + arguments.timeout, destination);
    if (!reply) {
        error = std::string(kNoAnswer) + host;
        return false;
    }
    const auto read = formats::ReadListing(*reply, kind.heading);
    if (!read) {
        error = "invalid answer from " + host;
        return false;
    }
    listing = {EntriesOf(read->services, ListedEntry), read->cut};
    return true;
}

bool ReadBrowseFile(const std::string &path, Entries &entries, std::string &error)
{
    std::vector<SSDPDeviceType> devices;
    if (!ReadList(path, formats::ReadBrowseDocument, devices, error)) {
        return false;
    }
    entries = EntriesOf(devices, BrowseEntry);
    return true;
}

bool CopyBrowseFile(const std::string &path, std::string &json, std::string &error)
{
    return ReadList(path, formats::CopyBrowseDocument, json, error);
}

} // namespace beaconctl

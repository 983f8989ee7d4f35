#include "beaconctl/status_finders.h"

#include "vexbase/vex_file_descriptor.h"
#include "vexbase/vex_udp_socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <cstring>
#include <iterator>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <map>
#include <net/if.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace beaconctl {
namespace {

constexpr timeval kTimeout{1, 0}; // the kernel answers at once

template <typename Number>
std::optional<Number> ReadNumber(std::string_view text, int base)
{
    Number number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() ? std::optional(number)
                                                                           : std::nullopt;
}

// The line of a socket, for instance
//   "  12: 00000000:076C 00000000:0000 07 00000000:00000000 00:00000000 00000000 101 0 4711 2 ..."
std::optional<UdpSocket> ReadUdpLine(const std::string &line, std::uint16_t wantedPort)
{
    constexpr std::size_t kAddressDigits = 8;
    constexpr std::size_t kLocal = 1;
    constexpr std::size_t kUser = 7;
    constexpr std::size_t kInode = 9;
    std::istringstream fields(line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
    if (words.size() <= kInode || words[kLocal].size() < kAddressDigits + 2) {
        return std::nullopt;
    }
    const std::string_view local = words[kLocal];
    // The kernel prints the address as a number of this processor's byte order.
    const auto address = ReadNumber<std::uint32_t>(local.substr(0, kAddressDigits), 16);
    const auto port = ReadNumber<std::uint16_t>(local.substr(kAddressDigits + 1), 16);
    const auto user = ReadNumber<uid_t>(words[kUser], 10);
    const auto inode = ReadNumber<std::uint64_t>(words[kInode], 10);
    if (!address || port != wantedPort || !user || !inode || IN_MULTICAST(ntohl(*address))) {
        return std::nullopt;
    }
    return UdpSocket{*user, *inode};
}

// Adds the receive buffers in one datagram of the kernel's answer, by inode. False at the end of
// the answer, or if the kernel reports an error.
bool ReadBuffers(std::string_view answer, std::map<std::uint64_t, std::uint32_t> &buffers)
{
    const auto *header = reinterpret_cast<const nlmsghdr *>(answer.data());
    auto left = static_cast<unsigned int>(answer.size());
    for (; NLMSG_OK(header, left); header = NLMSG_NEXT(header, left)) {
        if (header->nlmsg_type != SOCK_DIAG_BY_FAMILY) {
            return false;
        }
        const auto *message = static_cast<const inet_diag_msg *>(NLMSG_DATA(header));
        const auto *attribute = reinterpret_cast<const rtattr *>(message + 1);
        auto size = static_cast<unsigned int>(header->nlmsg_len - NLMSG_LENGTH(sizeof *message));
        for (; RTA_OK(attribute, size); attribute = RTA_NEXT(attribute, size)) {
            if (attribute->rta_type == INET_DIAG_SKMEMINFO) {
                std::array<std::uint32_t, SK_MEMINFO_RCVBUF + 1> values{};
                std::memcpy(values.data(), RTA_DATA(attribute),
                            std::min<std::size_t>(RTA_PAYLOAD(attribute), sizeof values));
                buffers[message->idiag_inode] = values[SK_MEMINFO_RCVBUF];
            }
        }
    }
    return true;
}

std::map<std::uint64_t, std::uint32_t> ReceiveBuffers()
{
    struct
    {
        nlmsghdr header;
        inet_diag_req_v2 request;
    } dump{};
    dump.header.nlmsg_len = sizeof dump;
    dump.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    dump.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    dump.request.sdiag_family = AF_INET;
    dump.request.sdiag_protocol = IPPROTO_UDP;
    dump.request.idiag_ext = 1U << (INET_DIAG_SKMEMINFO - 1);
    dump.request.idiag_states = ~0U;
    const vexbase::FileDescriptor kernel(
        socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    setsockopt(kernel.Descriptor(), SOL_SOCKET, SO_RCVTIMEO, &kTimeout, sizeof kTimeout);
    std::map<std::uint64_t, std::uint32_t> buffers;
    if (send(kernel.Descriptor(), &dump, sizeof dump, 0) < 0) {
        return buffers;
    }
    alignas(nlmsghdr) std::array<char, 32768> answer{}; // as the kernel recommends
    ssize_t length = 0;
    do {
        length = recv(kernel.Descriptor(), answer.data(), answer.size(), 0);
    } while (length > 0 && ReadBuffers({answer.data(), static_cast<std::size_t>(length)}, buffers));
    return buffers;
}

} // namespace

std::vector<UdpSocket> ReadUdpTable(std::string_view table, std::uint16_t port)
{
    std::vector<UdpSocket> sockets;
    std::istringstream lines{std::string(table)};
    for (std::string line; std::getline(lines, line);) {
        if (const auto socket = ReadUdpLine(line, port)) {
            sockets.push_back(*socket);
        }
    }
    return sockets;
}

std::optional<std::uint32_t> ReceiveBufferOf(const UdpSocket &socket)
{
    const auto buffers = ReceiveBuffers();
    const auto found = buffers.find(socket.inode);
    return found == buffers.end() ? std::nullopt : std::optional(found->second);
}

Interface FindInterface(const std::string &name)
{
    Interface interface;
    interface.exists = if_nametoindex(name.c_str()) != 0;
    ifreq request{};
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    const vexbase::FileDescriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (ioctl(any.Descriptor(), SIOCGIFFLAGS, &request) == 0) {
        const auto flags = static_cast<unsigned int>(request.ifr_flags);
        interface.isUp = (flags & IFF_UP) != 0;
        interface.hasLink = (flags & IFF_RUNNING) != 0;
    }
    // Finds the addresses in the same way as the daemon.
    std::map<std::string, std::string> ipv4;
    std::map<std::string, std::string> ipv6;
    const VEXIPSocket socket;
    if (socket.GetHostIPAddresses(ipv4, ipv6)) {
        for (const auto &[address, interfaceName] : ipv4) {
            if (interfaceName == name) {
                interface.addresses.push_back(address);
            }
        }
    }
    return interface;
}

} // namespace beaconctl

#include "beaconctl/monitor_source.h"

#include "beaconctl/sources.h"
#include "formats/ssdp_protocol.h"

#include <cerrno>
#include <cstring>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace beaconctl {
namespace {

constexpr const char *kInterface = "net0";

// The kernel's data about a packet that a filter may read (linux/filter.h).
constexpr std::uint32_t Ancillary(int what)
{
    return static_cast<std::uint32_t>(SKF_AD_OFF + what);
}

// Lets only those IPv4 packets pass that have a UDP header with the SSDP port as source or
// destination, and none of the loopback. BPF_LD loads the value at an offset in the packet.
bool AttachFilter(int descriptor)
{
    std::array<sock_filter, 15> filter{{
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, Ancillary(SKF_AD_HATYPE)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ARPHRD_LOOPBACK, 12, 0),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, Ancillary(SKF_AD_PROTOCOL)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ETH_P_IP, 0, 10),
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 9), // the protocol
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 8),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 6), // the offset of a fragment
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, 0x1FFF, 6, 0),
        BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0), // the size of the IPv4 header
        BPF_STMT(BPF_LD | BPF_H | BPF_IND, 0),  // the source port
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, formats::kPort, 2, 0),
        BPF_STMT(BPF_LD | BPF_H | BPF_IND, 2), // the destination port
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, formats::kPort, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xFFFF), // the whole packet
        BPF_STMT(BPF_RET | BPF_K, 0),
    }};
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return setsockopt(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

// With protocol 0 a packet socket receives nothing before it is bound, and the filter is
// attached before that. ETH_P_IP would leave out the packets that this host sends.
bool BindPackets(int descriptor, unsigned int interface)
{
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_protocol = htons(ETH_P_ALL);
    link.sll_ifindex = static_cast<int>(interface);
    return AttachFilter(descriptor) &&
           bind(descriptor, reinterpret_cast<const sockaddr *>(&link), sizeof link) == 0;
}

// A packet socket whose packets begin with the IPv4 header; -1 if the system refuses it,
// usually for lack of CAP_NET_RAW.
int OpenPackets(unsigned int interface)
{
    const int descriptor = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor >= 0 && !BindPackets(descriptor, interface)) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

sockaddr_in Group()
{
    return ParseAddress(formats::kMulticastAddress, formats::kPort).value_or(sockaddr_in());
}

bool BindToGroup(int descriptor)
{
    const int yes = 1;
    const sockaddr_in group = Group();
    return setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
           bind(descriptor, reinterpret_cast<const sockaddr *>(&group), sizeof group) == 0;
}

bool Join(int descriptor, unsigned int interface)
{
    ip_mreqn member{};
    member.imr_multiaddr = Group().sin_addr;
    member.imr_ifindex = static_cast<int>(interface);
    return setsockopt(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &member, sizeof member) == 0;
}

bool Fail(std::string &error)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
    error = std::string("cannot monitor: ") + strerror(errno);
    return false;
}

} // namespace

MonitorSource::~MonitorSource()
{
    for (const int descriptor : {mPackets, mGroup}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

// A packet socket needs the membership, too: switches forward the group to members only.
bool MonitorSource::Open(std::string &error)
{
    const unsigned int interface = if_nametoindex(kInterface); // 0 if there is none
    mPackets = OpenPackets(interface);
    mGroup = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (mGroup < 0 || (!HasUnicast() && !BindToGroup(mGroup)) || !Join(mGroup, interface)) {
        return Fail(error);
    }
    return true;
}

bool MonitorSource::Receive(std::optional<Datagram> &datagram, std::string &error)
{
    sockaddr_storage sender{};
    socklen_t size = sizeof sender;
    const ssize_t length = recvfrom(Descriptor(), mBuffer.data(), mBuffer.size(), MSG_DONTWAIT,
                                    reinterpret_cast<sockaddr *>(&sender), &size);
    datagram.reset();
    if (length < 0) {
        return errno == EAGAIN || errno == EINTR || Fail(error);
    }
    const std::string_view text(mBuffer.data(), static_cast<std::size_t>(length));
    datagram = HasUnicast() ? ReadPacket(text)
                            : MakeDatagram(reinterpret_cast<const sockaddr_in &>(sender).sin_addr,
                                           Group().sin_addr, text);
    return true;
}

} // namespace beaconctl

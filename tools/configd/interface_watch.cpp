#include "configd/interface_watch.h"

#include "configd/interface_state.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <linux/rtnetlink.h>
#include <system_error>

namespace configd {
namespace {

// The size that libmnl recommends for dumps (MNL_SOCKET_DUMP_SIZE). No message is cut.
using Buffer = std::array<char, 32768>;

// A callback for mnl_cb_run.
int OnMessage(const nlmsghdr *message, void *state)
{
    static_cast<InterfaceState *>(state)->Read(*message);
    return MNL_CB_OK;
}

void Require(bool done, const char *what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void Request(mnl_socket *socket, Buffer &buffer, std::uint16_t type, std::uint32_t sequence)
{
    nlmsghdr *header = mnl_nlmsg_put_header(buffer.data());
    header->nlmsg_type = type;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    header->nlmsg_seq = sequence;
    auto *body = static_cast<rtgenmsg *>(mnl_nlmsg_put_extra_header(header, sizeof(rtgenmsg)));
    body->rtgen_family = type == RTM_GETADDR ? AF_INET : AF_UNSPEC;
    Require(mnl_socket_sendto(socket, header, header->nlmsg_len) >= 0, "netlink request");
}

// Requests all objects of a type (a dump) and reads the answers into state. Returns
// false if the kernel's tables changed during the dump.
bool Dump(mnl_socket *socket, std::uint16_t type, std::uint32_t sequence, InterfaceState &state)
{
    alignas(nlmsghdr) Buffer buffer{};
    Request(socket, buffer, type, sequence);
    int result = MNL_CB_OK;
    while (result > MNL_CB_STOP) {
        const ssize_t length = mnl_socket_recvfrom(socket, buffer.data(), buffer.size());
        Require(length >= 0, "netlink answer");
        result = mnl_cb_run(buffer.data(), static_cast<std::size_t>(length), sequence,
                            mnl_socket_get_portid(socket), OnMessage, &state);
    }
    Require(result == MNL_CB_STOP || errno == EINTR, "netlink answer");
    return result == MNL_CB_STOP;
}

} // namespace

InterfaceWatch::InterfaceWatch(std::string name)
    : mName(std::move(name)),
      mNotifications(OpenSocket(SOCK_NONBLOCK, RTMGRP_LINK | RTMGRP_IPV4_IFADDR))
{
}

int InterfaceWatch::Descriptor() const
{
    return mnl_socket_get_fd(mNotifications.get());
}

NetDevice InterfaceWatch::Read()
{
    // Emptied before the query: a later notification makes the descriptor readable again.
    Buffer ignored{};
    while (mnl_socket_recvfrom(mNotifications.get(), ignored.data(), ignored.size()) >= 0 ||
           errno == ENOBUFS) {
    }
    // Repeats if the state changed during the dump. A new socket has no leftover messages.
    while (true) {
        const Socket socket = OpenSocket(0, 0);
        InterfaceState state(mName);
        if (Dump(socket.get(), RTM_GETLINK, 1, state) &&
            Dump(socket.get(), RTM_GETADDR, 2, state)) {
            return state.Device();
        }
    }
}

InterfaceWatch::Socket InterfaceWatch::OpenSocket(int flags, unsigned int groups)
{
    Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | flags));
    Require(socket != nullptr && mnl_socket_bind(socket.get(), groups, MNL_SOCKET_AUTOPID) == 0,
            "netlink socket");
    return socket;
}

} // namespace configd

#include "multicast_socket.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <net/if.h>
#include <sys/socket.h>

namespace bench {
namespace {

template <typename Value>
void Set(int socket, int level, int option, const Value &value)
{
    if (setsockopt(socket, level, option, &value, sizeof value) != 0) {
        Fail("setsockopt");
    }
}

ip_mreqn Membership()
{
    ip_mreqn request{};
    request.imr_multiaddr = Address(kGroup, 0).sin_addr;
    request.imr_ifindex = static_cast<int>(if_nametoindex("net0"));
    return request;
}

int OpenOn(unsigned short port)
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in local = Address("0.0.0.0", port);
    if (descriptor < 0) {
        Fail("socket");
    }
    Set(descriptor, SOL_SOCKET, SO_REUSEADDR, 1);
    Set(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, kReceiveBuffer);
    if (bind(descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
        Fail("bind");
    }
    return descriptor;
}

} // namespace

void Fail(const char *what)
{
    std::perror(what);
    std::exit(1); // NOLINT(concurrency-mt-unsafe): programs of one thread
}

sockaddr_in Address(const std::string &address, unsigned short port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1) {
        Fail(address.c_str());
    }
    return result;
}

int OpenMember()
{
    const int descriptor = OpenOn(kPort);
    Set(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, Membership());
    Set(descriptor, IPPROTO_IP, IP_MULTICAST_IF, Membership());
    return descriptor;
}

int OpenSender()
{
    const int descriptor = OpenOn(0);
    Set(descriptor, IPPROTO_IP, IP_MULTICAST_IF, Membership());
    return descriptor;
}

} // namespace bench

#include "support/private_namespace.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace test {
namespace {

int gHost = -1; // the network namespace of the program's host
int gPeer = -1; // the network namespace of the peer
bool gMulticastByRoute = false;

[[noreturn]] void Fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void WriteFile(const char *path, const std::string &text)
{
    std::ofstream(path) << text;
}

void Run(const std::string &command)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe,cert-env33-c): only tests call it, for tools like ip
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
}

void Enter(int network)
{
    if (setns(network, CLONE_NEWNET) != 0) {
        Fail("setns");
    }
}

int OpenNetwork()
{
    const int descriptor = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        Fail("/proc/self/ns/net");
    }
    return descriptor;
}

void MakeFileTree()
{
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/var", "tmpfs", 0, "mode=755") != 0) {
        Fail("mount");
    }
    for (const char *folder : {"/var/www", "/var/www/html", "/var/www/discovery"}) {
        if (mkdir(folder, 0755) != 0) {
            Fail(folder);
        }
    }
}

// Emulators of other processors may not support IP_MULTICAST_IF.
bool CanChooseMulticastInterface()
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const in_addr any{};
    const bool result = setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &any, sizeof any) == 0;
    close(descriptor);
    return result;
}

// A shell command that waits until the link works. The kernel drops datagrams until then.
std::string WaitForLink(const std::string &interface)
{
    return "for turn in $(seq 1000); do ip link show " + interface +
           " | grep -q 'state UP' && exit; sleep 0.01; done; exit 1";
}

void MakeHosts()
{
    gHost = OpenNetwork();
    if (unshare(CLONE_NEWNET) != 0) {
        Fail("unshare");
    }
    gPeer = OpenNetwork();
    const std::string host = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(gHost);
    Run("ip link add peer0 type veth peer name net0 netns " + host +
        " && ip link set lo up && ip addr add 192.0.2.20/24 dev peer0 && ip link set peer0 up");
    Enter(gHost);
    Run("ip link set lo up && ip addr add 192.0.2.10/24 dev net0 && ip link set net0 up");
    gMulticastByRoute = !CanChooseMulticastInterface();
    if (gMulticastByRoute) {
        OnHost("ip route add 239.0.0.0/8 dev net0");
        OnPeer("ip route add 239.0.0.0/8 dev peer0");
    }
    OnHost(WaitForLink("net0"));
    OnPeer(WaitForLink("peer0"));
}

} // namespace

void EnterPrivateNamespaces()
try {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWNS | CLONE_NEWNET | (user != 0 ? CLONE_NEWUSER : 0)) != 0) {
        Fail("unshare");
    }
    if (user != 0) {
        WriteFile("/proc/self/setgroups", "deny");
        WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    MakeFileTree();
    MakeHosts();
} catch (const std::exception &error) {
    std::fprintf(stderr, "cannot make the private namespaces: %s\n", error.what());
    std::exit(1); // NOLINT(concurrency-mt-unsafe): before any thread
}

void OnHost(const std::string &command)
{
    Run(command);
}

void OnPeer(const std::string &command)
{
    Enter(gPeer);
    try {
        Run(command);
    } catch (...) {
        Enter(gHost);
        throw;
    }
    Enter(gHost);
}

void MoveToHost()
{
    Enter(gHost);
}

void MoveToPeer()
{
    Enter(gPeer);
}

PeerSocket::PeerSocket(std::uint16_t port, const std::string &address)
{
    const sockaddr_in local = SocketAddressOf(address, port);
    Enter(gPeer);
    mDescriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    Enter(gHost);
    // Not for port 0: the system could then choose a port that another socket shares.
    const int share = port == 0 ? 0 : 1;
    if (mDescriptor < 0 ||
        setsockopt(mDescriptor, SOL_SOCKET, SO_REUSEADDR, &share, sizeof share) != 0 ||
        bind(mDescriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
        Fail("peer socket");
    }
}

PeerSocket::~PeerSocket()
{
    close(mDescriptor);
}

void PeerSocket::JoinMulticast(const std::string &group)
{
    ip_mreq request{};
    request.imr_multiaddr = AddressOf(group);
    request.imr_interface = AddressOf(kPeerAddress);
    if (setsockopt(mDescriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request) != 0 ||
        (!gMulticastByRoute &&
         setsockopt(mDescriptor, IPPROTO_IP, IP_MULTICAST_IF, &request.imr_interface,
                    sizeof request.imr_interface) != 0)) {
        Fail("multicast");
    }
}

void PeerSocket::SendTo(const std::string &datagram, const std::string &address, std::uint16_t port)
{
    const sockaddr_in destination = SocketAddressOf(address, port);
    if (sendto(mDescriptor, datagram.data(), datagram.size(), 0,
               reinterpret_cast<const sockaddr *>(&destination), sizeof destination) < 0) {
        Fail("sendto " + address);
    }
}

std::string PeerSocket::Receive(int timeoutMs)
{
    pollfd waiting{mDescriptor, POLLIN, 0};
    if (poll(&waiting, 1, timeoutMs) <= 0) {
        return {};
    }
    std::array<char, 65536> buffer{};
    const ssize_t length = recv(mDescriptor, buffer.data(), buffer.size(), 0);
    return length < 0 ? std::string() : std::string(buffer.data(), static_cast<size_t>(length));
}

std::string PeerSocket::ReceiveContaining(const std::string &text, int timeoutMs)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) {
            return {};
        }
        std::string datagram = Receive(static_cast<int>(left));
        if (datagram.find(text) != std::string::npos) {
            return datagram;
        }
    }
}

std::uint16_t PeerSocket::Port() const
{
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (getsockname(mDescriptor, reinterpret_cast<sockaddr *>(&local), &length) != 0) {
        Fail("getsockname");
    }
    return ntohs(local.sin_port);
}

} // namespace test

#include "vexbase/vex_ip_socket.h"

#include "vexbase/vex_thread.h"

#include <arpa/inet.h>
#include <array>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using NameOfAddress = std::map<std::string, std::string>;

void Enter(NameOfAddress &names, const ifaddrs &entry, const void *address)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (inet_ntop(entry.ifa_addr->sa_family, address, text.data(), text.size()) != nullptr) {
        names.emplace(text.data(), entry.ifa_name);
    }
}

} // namespace

VEXIPSocket::Use::Use(VEXIPSocket &socket) : mSocket(socket)
{
    const vexbase::LockGuard hold(mSocket.mLock);
    if (mSocket.mDescriptor >= 0 && !mSocket.mClosing) {
        mDescriptor = mSocket.mDescriptor;
        mReceivingEnded = mSocket.mReceivingEnded;
        mReceiveTimeoutMs = mSocket.mReceiveTimeoutMs;
        ++mSocket.mUsers;
    }
}

VEXIPSocket::Use::~Use()
{
    if (mDescriptor < 0) {
        return;
    }
    const vexbase::LockGuard hold(mSocket.mLock);
    if (--mSocket.mUsers == 0 && mSocket.mClosing) {
        mSocket.mChanged.NotifyAll();
    }
}

bool VEXIPSocket::Use::SetReceiveTimeout(unsigned int timeoutMs)
{
    if (timeoutMs == mReceiveTimeoutMs) {
        return true;
    }
    timeval timeout{}; // 0 is no limit
    if (timeoutMs != vexbase::kInfinite) {
        timeout.tv_sec = timeoutMs / 1000;
        timeout.tv_usec = suseconds_t(timeoutMs % 1000) * 1000;
    }
    if (setsockopt(mDescriptor, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0) {
        return false;
    }
    mReceiveTimeoutMs = timeoutMs;
    const vexbase::LockGuard hold(mSocket.mLock);
    mSocket.mReceiveTimeoutMs = timeoutMs;
    return true;
}

VEXIPSocket::~VEXIPSocket()
{
    Close();
}

bool VEXIPSocket::IsOpen() const
{
    const vexbase::LockGuard hold(mLock);
    return mDescriptor >= 0;
}

int VEXIPSocket::SetOption(int option, const void *value, socklen_t length)
{
    const Use use(*this);
    if (!use || setsockopt(use.Descriptor(), IPPROTO_IP, option, value, length) != 0) {
        return vexbase::kFailure;
    }
    return vexbase::kSuccess;
}

void VEXIPSocket::Shutdown(int how)
{
    const vexbase::LockGuard hold(mLock);
    if (mDescriptor < 0 || mClosing) {
        return;
    }
    if (how == SHUT_RD || how == SHUT_RDWR) {
        mReceivingEnded = true;
    }
    // Fails with ENOTCONN for a socket without a peer, but wakes its reader.
    shutdown(mDescriptor, how);
}

void VEXIPSocket::Close()
{
    const vexbase::NoCancellation whole;
    const vexbase::LockGuard hold(mLock);
    if (mClosing) { // by another thread: the port is free when that is done
        while (mClosing) {
            mChanged.Wait(mLock);
        }
        return;
    }
    if (mDescriptor < 0) {
        return;
    }
    mClosing = true; // from here on Use refuses new users
    // close() does not wake a thread that waits in recv() or poll(), but shutdown() does.
    shutdown(mDescriptor, SHUT_RD);
    while (mUsers > 0) {
        mChanged.Wait(mLock);
    }
    // Only now: the system may give the number to another file at once, and a user of the
    // descriptor would then read from that file.
    close(mDescriptor);
    mDescriptor = -1;
    mClosing = false;
    mChanged.NotifyAll();
}

int VEXIPSocket::Adopt(int descriptor)
{
    const vexbase::LockGuard hold(mLock);
    if (mDescriptor >= 0) {
        return vexbase::kFailure;
    }
    mDescriptor = descriptor;
    mReceivingEnded = false;
    mReceiveTimeoutMs = vexbase::kInfinite;
    return vexbase::kSuccess;
}

bool VEXIPSocket::GetHostIPAddresses(std::map<std::string, std::string> &ipv4,
                                     std::map<std::string, std::string> &ipv6) const
{
    ifaddrs *first = nullptr;
    if (getifaddrs(&first) != 0) {
        return false;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> list(first, &freeifaddrs);
    ipv4.clear();
    ipv6.clear();
    for (const ifaddrs *entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || (entry->ifa_flags & IFF_UP) == 0) {
            continue;
        }
        if (entry->ifa_addr->sa_family == AF_INET) {
            Enter(ipv4, *entry, &reinterpret_cast<sockaddr_in *>(entry->ifa_addr)->sin_addr);
        } else if (entry->ifa_addr->sa_family == AF_INET6) {
            Enter(ipv6, *entry, &reinterpret_cast<sockaddr_in6 *>(entry->ifa_addr)->sin6_addr);
        }
    }
    return true;
}

in_addr VEXIPSocket::GetNetmask(const std::string &ipv4) const
{
    in_addr address{};
    ifaddrs *first = nullptr;
    if (inet_pton(AF_INET, ipv4.c_str(), &address) != 1 || getifaddrs(&first) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> list(first, &freeifaddrs);
    for (const ifaddrs *entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_netmask != nullptr &&
            entry->ifa_addr->sa_family == AF_INET &&
            reinterpret_cast<sockaddr_in *>(entry->ifa_addr)->sin_addr.s_addr == address.s_addr) {
            return reinterpret_cast<sockaddr_in *>(entry->ifa_netmask)->sin_addr;
        }
    }
    return {};
}

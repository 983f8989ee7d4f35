#include "vexbase/vex_ip_socket.h"

#include "vexbase/vex_no_cancellation.h"

#include <arpa/inet.h>
#include <array>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
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
    const std::lock_guard<std::mutex> held(mSocket.mMutex);
    if (mSocket.mDescriptor >= 0 && !mSocket.mClosing) {
        mDescriptor = mSocket.mDescriptor;
        mWake = mSocket.mWake;
        mReceivingEnded = mSocket.mReceivingEnded;
        ++mSocket.mUsers;
    }
}

VEXIPSocket::Use::~Use()
{
    if (mDescriptor < 0) {
        return;
    }
    const std::lock_guard<std::mutex> held(mSocket.mMutex);
    if (--mSocket.mUsers == 0 && mSocket.mClosing) {
        mSocket.mChanged.notify_all();
    }
}

VEXIPSocket::~VEXIPSocket()
{
    Close();
}

bool VEXIPSocket::IsOpen() const
{
    const std::lock_guard<std::mutex> held(mMutex);
    return mDescriptor >= 0;
}

int VEXIPSocket::SetOption(int option, const void *value, socklen_t length)
{
    const Use use(*this);
    if (!use || setsockopt(use.Descriptor(), IPPROTO_IP, option, value, length) != 0) {
        return kVEXFailure;
    }
    return kVEXSuccess;
}

void VEXIPSocket::Shutdown(int how)
{
    const std::lock_guard<std::mutex> held(mMutex);
    if (mDescriptor < 0 || mClosing) {
        return;
    }
    if (how == SHUT_RD || how == SHUT_RDWR) {
        mReceivingEnded = true;
        eventfd_write(mWake, 1);
    }
    // Reports ENOTCONN for a socket without a peer, and works all the same.
    shutdown(mDescriptor, how);
}

void VEXIPSocket::Close()
{
    const VEXNoCancellation whole;
    std::unique_lock<std::mutex> held(mMutex);
    if (mClosing) { // by another thread: the port is not free before that is done
        mChanged.wait(held, [this] { return !mClosing; });
        return;
    }
    if (mDescriptor < 0) {
        return;
    }
    mClosing = true;
    eventfd_write(mWake, 1);
    mChanged.wait(held, [this] { return mUsers == 0; });
    close(mDescriptor);
    close(mWake);
    mDescriptor = -1;
    mWake = -1;
    mClosing = false;
    mChanged.notify_all();
}

int VEXIPSocket::Adopt(int descriptor)
{
    const std::lock_guard<std::mutex> held(mMutex);
    if (mDescriptor >= 0) {
        return kVEXFailure;
    }
    mWake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (mWake < 0) {
        return kVEXFailure;
    }
    mDescriptor = descriptor;
    mReceivingEnded = false;
    return kVEXSuccess;
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

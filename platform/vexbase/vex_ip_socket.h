#pragma once

#include "vexbase/vex_condition.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_status.h"

#include <map>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

// VEXIPSocket is what every IP socket can do: options, shutting down, closing.
// Any thread may call any operation at any time. Shutdown and Close wake a
// thread that is blocked in the socket, and Close returns only when no thread
// uses the descriptor any more, so that a number which the system hands out
// again is never touched by mistake.
class VEXIPSocket
{
public:
    VEXIPSocket() = default;
    virtual ~VEXIPSocket();
    VEXIPSocket(const VEXIPSocket &) = delete;
    VEXIPSocket &operator=(const VEXIPSocket &) = delete;

    // Whether a descriptor is open now.
    [[nodiscard]] bool IsOpen() const;

    // Sets an option at IP level (such as 35, IP_ADD_MEMBERSHIP). Returns 0, or
    // a negative status when the socket is closed or the system refuses.
    template <typename Value>
    [[nodiscard]] int SetSocketOption(int option, const Value &value)
    {
        return SetOption(option, &value, static_cast<socklen_t>(sizeof value));
    }

    // Ends the receiving (how = 0), the sending (1) or both (2) until the socket
    // is opened again. The end of receiving wakes a blocked reader, which then
    // gets 0 bytes, as does every later one, whatever is still queued.
    void Shutdown(int how);

    // Closes the socket; does nothing when it is closed. The port is free when
    // Close returns. Kill of the calling thread waits for its end.
    void Close();

    // Replaces both maps by the addresses of this host's interfaces that are up,
    // as text, each with its interface's name: IPv4 in the first map, IPv6 (with
    // neither zone nor prefix length) in the second. An address with a label of
    // its own, such as "net0:1", has that for its name; one that two interfaces
    // share is entered with the first one's. Returns false, both maps untouched,
    // only when the kernel could not be asked.
    [[nodiscard]] bool GetHostIPAddresses(std::map<std::string, std::string> &ipv4,
                                          std::map<std::string, std::string> &ipv6) const;

    // The netmask, in network byte order, of one of this host's IPv4 addresses;
    // 0.0.0.0 when no interface has the address.
    [[nodiscard]] in_addr GetNetmask(const std::string &ipv4) const;

protected:
    // Use holds the open descriptor in place for the length of a scope; Close
    // waits for it. Empty (descriptor -1) when the socket is closed or closing.
    class Use
    {
    public:
        explicit Use(VEXIPSocket &socket);
        ~Use();
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

        explicit operator bool() const { return mDescriptor >= 0; }
        [[nodiscard]] int Descriptor() const { return mDescriptor; }
        // Whether receiving had been shut down when this use began.
        [[nodiscard]] bool ReceivingEnded() const { return mReceivingEnded; }
        // Lets blocking receives wait timeoutMs milliseconds, and as much longer
        // as the kernel's coarse timers make of it.
        [[nodiscard]] bool SetReceiveTimeout(unsigned int timeoutMs);

    private:
        VEXIPSocket &mSocket;
        int mDescriptor = -1;
        bool mReceivingEnded = false;
        unsigned int mReceiveTimeoutMs = kVEXInfinite;
    };

    // Takes over a descriptor that the derived class made and bound. Returns 0;
    // a negative status, and the descriptor stays the caller's, when a socket
    // is open already.
    [[nodiscard]] int Adopt(int descriptor);

private:
    [[nodiscard]] int SetOption(int option, const void *value, socklen_t length);

    mutable VEXLock mLock;
    VEXCondition mChanged; // the last user left, or Close is done
    int mDescriptor VEX_GUARDED_BY(mLock) = -1;
    unsigned int mUsers VEX_GUARDED_BY(mLock) = 0;
    bool mClosing VEX_GUARDED_BY(mLock) = false;
    bool mReceivingEnded VEX_GUARDED_BY(mLock) = false;
    unsigned int mReceiveTimeoutMs VEX_GUARDED_BY(mLock) = kVEXInfinite;
};

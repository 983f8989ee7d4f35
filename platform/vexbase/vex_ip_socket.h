#pragma once

#include "vexbase/vex_event.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_status.h"

#include <map>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

// VEXIPSocket is the base of IP sockets: options, shutdown and close. Any thread may
// call any operation at any time. Shutdown and Close wake a thread that waits in the
// socket. Close returns when no thread uses the descriptor any more: the system may
// give its number to another file at once.
class VEXIPSocket
{
public:
    VEXIPSocket() = default;
    virtual ~VEXIPSocket();
    VEXIPSocket(const VEXIPSocket &) = delete;
    VEXIPSocket &operator=(const VEXIPSocket &) = delete;

    // Whether the socket is open.
    [[nodiscard]] bool IsOpen() const;

    // Sets an option of level IPPROTO_IP, for instance 35, IP_ADD_MEMBERSHIP. Returns 0,
    // or a negative status when the socket is closed or the system refuses.
    template <typename Value>
    [[nodiscard]] int SetSocketOption(int option, const Value &value)
    {
        return SetOption(option, &value, static_cast<socklen_t>(sizeof value));
    }

    // Ends receiving (how = 0), sending (1) or both (2) until the socket is opened
    // again. The end of receiving wakes a waiting reader. That reader and all later ones
    // get 0 bytes, even if datagrams are still queued. Does nothing when the socket is
    // closed.
    void Shutdown(int how);

    // Closes the socket; does nothing when it is closed. The port is free when Close
    // returns (some microseconds later if another program reads /proc/<pid>/fd at that
    // moment). VEXThread::Kill does not interrupt it.
    void Close();

    // Replaces both maps by the addresses of this host's interfaces that are up. The
    // keys are the addresses as text: IPv4 in the first map, IPv6 without zone and prefix
    // length in the second. The values are the interfaces' names, or an address's label,
    // for instance "net0:1". If two interfaces have the same address, the first is
    // entered. Returns false, with both maps unchanged, only if the system does not
    // report them. The socket need not be open.
    [[nodiscard]] bool GetHostIPAddresses(std::map<std::string, std::string> &ipv4,
                                          std::map<std::string, std::string> &ipv6) const;

    // The netmask, in network byte order, of one of this host's IPv4 addresses, a dotted
    // quad; 0.0.0.0 when no interface has the address. The socket need not be open.
    [[nodiscard]] in_addr GetNetmask(const std::string &ipv4) const;

protected:
    // Use keeps the descriptor open for the length of a scope: Close waits for it. False,
    // with the descriptor -1, when the socket is closed or being closed.
    class Use
    {
    public:
        explicit Use(VEXIPSocket &socket);
        ~Use();
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

        explicit operator bool() const { return mDescriptor >= 0; }
        [[nodiscard]] int Descriptor() const { return mDescriptor; }
        // Whether receiving had been shut down at the beginning of the scope.
        [[nodiscard]] bool ReceivingEnded() const { return mReceivingEnded; }
        // Lets blocking receives wait timeoutMs milliseconds (vexbase::kInfinite: without
        // limit). They may end later, since the kernel's timers for them are coarse.
        // Returns false when the system refuses. REQUIRES: timeoutMs > 0.
        [[nodiscard]] bool SetReceiveTimeout(unsigned int timeoutMs);

    private:
        VEXIPSocket &mSocket;
        int mDescriptor = -1;
        bool mReceivingEnded = false;
        unsigned int mReceiveTimeoutMs = vexbase::kInfinite;
    };

    // Takes ownership of a descriptor that the derived class made and bound, and returns
    // 0. When a socket is open already, returns a negative status, and the caller still
    // owns the descriptor.
    [[nodiscard]] int Adopt(int descriptor);

private:
    [[nodiscard]] int SetOption(int option, const void *value, socklen_t length);

    mutable VEXLock mLock;
    vexbase::Condition mChanged; // the last use has ended, or Close is done
    int mDescriptor VEX_GUARDED_BY(mLock) = -1;
    unsigned int mUsers VEX_GUARDED_BY(mLock) = 0;
    bool mClosing VEX_GUARDED_BY(mLock) = false;
    bool mReceivingEnded VEX_GUARDED_BY(mLock) = false;
    unsigned int mReceiveTimeoutMs VEX_GUARDED_BY(mLock) = vexbase::kInfinite;
};

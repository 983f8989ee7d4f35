#pragma once

#include "vexbase/vex_datagram_batch.h"
#include "vexbase/vex_ip_socket.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <string>

// VEXUDPSocket is an IPv4 datagram socket. Threads: as for VEXIPSocket.
class VEXUDPSocket : public VEXIPSocket
{
public:
    // Whether other programs of this host may be bound to the same port.
    enum class Port { Exclusive, Shared };

    // Makes a socket bound to a dotted-quad local address (empty: every
    // address) and a port in host byte order. Returns 0, or a negative status:
    // the address does not parse, the system refuses (errno has its reason), or
    // this socket is open already, in which case nothing changes.
    [[nodiscard]] int Open(const std::string &localAddress, std::uint16_t port,
                           Port sharing = Port::Exclusive);

    // Waits at most timeoutMs milliseconds (kVEXInfinite: for ever) for one
    // datagram. Returns its length, cut to size, and its sender; 0 when none
    // came, or the socket is closed, was shut down, or is closed meanwhile. An
    // empty datagram ends the wait and counts as none, for both kinds of Poll; here
    // it sets the sender, which is unchanged if no datagram came.
    // REQUIRES: one thread at a time receives.
    [[nodiscard]] std::size_t Poll(void *buffer, std::size_t size, sockaddr_in &sender,
                                   unsigned int timeoutMs);

    // Waits at most timeoutMs milliseconds for one datagram and receives it with
    // all those that are queued after it, as far as the batch has room. Returns the
    // number of those that are not empty, 0 in the same cases as above. REQUIRES:
    // one thread at a time receives.
    std::size_t Poll(VEXDatagramBatch &batch, unsigned int timeoutMs);

    // Poll that waits for ever.
    [[nodiscard]] std::size_t Read(void *buffer, std::size_t size, sockaddr_in &sender);

    // Asks for room for so many bytes of datagrams that wait to be received, as
    // the kernel counts them, with their overhead. Returns what it granted,
    // which may be less, or a negative status when the socket is closed.
    int SetReceiveBuffer(int bytes);

    // Sends one datagram without ever waiting. Returns the bytes sent, -4
    // (kVEXNoRoom) when the send buffer is full, or another negative status:
    // closed, shut down, no route. errno has the system's reason.
    int Write(const void *data, std::size_t length, const sockaddr_in &destination);

    // Write that leaves so many percent of the send buffer to others: it returns
    // kVEXNoRoom while more than the rest waits to leave. What is sent to hosts that do not
    // exist waits for seconds, and would keep everything else from being sent.
    int WriteSparing(const void *data, std::size_t length, const sockaddr_in &destination,
                     int sparedPercent);

private:
    template <typename ReceiveCall>
    [[nodiscard]] bool Await(unsigned int timeoutMs, ReceiveCall receive);

    std::atomic<bool> mFlowing{false}; // the last receive brought a datagram
};

#pragma once

#include "vexbase/vex_datagram_batch.h"
#include "vexbase/vex_ip_socket.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <string>

// VEXUDPSocket is an IPv4 datagram socket. Any thread may call any operation, but only
// one thread at a time may receive.
class VEXUDPSocket : public VEXIPSocket
{
public:
    // Whether other programs of this host may bind the same port.
    enum class Port { Exclusive, Shared };

    // Opens a socket on a local address, a dotted quad (empty: all addresses), and a port
    // in host byte order (0: any free one). Returns 0, or a negative status: the address
    // is malformed, the system refuses (errno has its reason), or this socket is open
    // already. An open socket stays as it is.
    [[nodiscard]] int Open(const std::string &localAddress, std::uint16_t port,
                           Port sharing = Port::Exclusive);

    // Waits at most timeoutMs milliseconds (vexbase::kInfinite: without limit; 0: not at all)
    // for one datagram. Returns its length in bytes, at most size, and its sender; a longer
    // datagram is cut. Returns 0 if no datagram arrived, and if the socket is closed or shut
    // down, before the call or during it. An empty datagram also ends the wait with 0; then
    // the sender is set. If no datagram arrived, the sender is unchanged.
    [[nodiscard]] std::size_t Poll(void *buffer, std::size_t size, sockaddr_in &sender,
                                   unsigned int timeoutMs);

    // Waits for one datagram in the same way, and receives it with those that are queued
    // after it, until the batch is full. Returns the number of datagrams that are not
    // empty, and 0 in the same cases.
    std::size_t Poll(vexbase::DatagramBatch &batch, unsigned int timeoutMs);

    // Poll without a time-out.
    [[nodiscard]] std::size_t Read(void *buffer, std::size_t size, sockaddr_in &sender);

    // Requests a receive buffer of this size from the kernel; the kernel's overhead for each
    // datagram counts, too. Returns the granted size in bytes, which may be smaller, or a
    // negative status if the socket is closed.
    int SetReceiveBuffer(int bytes);

    // Sends one datagram without waiting. Returns the number of bytes sent, -4
    // (vexbase::kNoRoom) when the send buffer is full, or another negative status, for instance
    // when the socket is closed or shut down, or has no route to the destination. errno has the
    // reason of the system.
    int Write(const void *data, std::size_t length, const sockaddr_in &destination);

    // Like Write, but leaves sparedPercent (0 to 100) of the send buffer free for calls of
    // Write: returns vexbase::kNoRoom while more than the rest is in use. Datagrams to hosts
    // that do not exist stay in the buffer for seconds, and could fill it.
    int WriteSparing(const void *data, std::size_t length, const sockaddr_in &destination,
                     int sparedPercent);

private:
    template <typename ReceiveCall>
    [[nodiscard]] bool Await(unsigned int timeoutMs, ReceiveCall receive);

    std::atomic<bool> mFlowing{false}; // the last wait ended with a datagram
};

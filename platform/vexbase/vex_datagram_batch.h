#pragma once

#include <array>
#include <cstddef>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <vector>

class VEXUDPSocket;

namespace vexbase {

// DatagramBatch holds the datagrams that VEXUDPSocket received with one system call. On
// a busy network this saves system calls. It belongs to the thread that receives.
class DatagramBatch
{
public:
    static constexpr std::size_t kCapacity = 16; // datagrams; more would save almost nothing

    // Makes room for datagrams of at most `largest` bytes. Longer ones are cut.
    explicit DatagramBatch(std::size_t largest);
    DatagramBatch(const DatagramBatch &) = delete;
    DatagramBatch &operator=(const DatagramBatch &) = delete;

    // The number of datagrams that the last VEXUDPSocket::Poll received, without empty ones.
    [[nodiscard]] std::size_t Count() const { return mCount; }
    // The bytes of a datagram; a NUL follows them. Index 0 is the datagram that arrived
    // first. Valid until the next VEXUDPSocket::Poll. REQUIRES: index < Count().
    [[nodiscard]] std::string_view Datagram(std::size_t index) const;
    // The sender of the datagram with this index. REQUIRES: index < Count().
    [[nodiscard]] const sockaddr_in &Sender(std::size_t index) const;

private:
    friend class ::VEXUDPSocket;

    // Receives by recvmmsg(2) and returns its result; negative if nothing arrived.
    [[nodiscard]] int Receive(int descriptor, int flags);
    void Clear();
    void Prepare(std::size_t place);

    std::size_t mLargest;
    std::size_t mReceived = 0;                    // datagrams received, empty ones too
    std::size_t mCount = 0;                       // those that are not empty
    std::array<std::size_t, kCapacity> mFilled{}; // places of the datagrams that are not empty
    std::vector<char> mBytes;
    std::array<sockaddr_in, kCapacity> mSenders{};
    std::array<iovec, kCapacity> mPlaces{};
    std::array<mmsghdr, kCapacity> mHeaders{};
};

} // namespace vexbase

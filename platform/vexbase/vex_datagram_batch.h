#pragma once

#include <array>
#include <cstddef>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <vector>

// VEXDatagramBatch is room for some datagrams that VEXUDPSocket receives with
// one system call, so that a crowded network costs fewer of them. It belongs to
// the thread that receives.
class VEXDatagramBatch
{
public:
    static constexpr std::size_t kCapacity = 16; // datagrams; more gain next to nothing

    // Takes datagrams of at most so many bytes; longer ones are cut to them.
    explicit VEXDatagramBatch(std::size_t largest);
    VEXDatagramBatch(const VEXDatagramBatch &) = delete;
    VEXDatagramBatch &operator=(const VEXDatagramBatch &) = delete;

    // The datagrams that the last call received, in the order of arrival, without
    // empty ones.
    [[nodiscard]] std::size_t Count() const { return mCount; }
    // The bytes of a datagram, followed by a NUL. REQUIRES: index < Count().
    [[nodiscard]] std::string_view Datagram(std::size_t index) const;
    [[nodiscard]] const sockaddr_in &Sender(std::size_t index) const;

private:
    friend class VEXUDPSocket;

    // Receives into the batch as recvmmsg() does; negative when nothing came.
    [[nodiscard]] int Receive(int descriptor, int flags);
    void Clear();
    void Prepare(std::size_t place);

    std::size_t mLargest;
    std::size_t mReceived = 0;                    // places in use, from the first
    std::size_t mCount = 0;                       // of those, with bytes in them
    std::array<std::size_t, kCapacity> mFilled{}; // places of the datagrams counted
    std::vector<char> mBytes;
    std::array<sockaddr_in, kCapacity> mSenders{};
    std::array<iovec, kCapacity> mPlaces{};
    std::array<mmsghdr, kCapacity> mHeaders{};
};

#pragma once

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace test {

// Replaces a standard descriptor by another one for the length of a scope.
class StandIn
{
public:
    StandIn(int standard, int descriptor) : mStandard(standard), mSaved(dup(standard))
    {
        if (mSaved < 0 || dup2(descriptor, standard) < 0) {
            throw std::system_error(errno, std::generic_category(), "stand-in");
        }
    }
    ~StandIn()
    {
        dup2(mSaved, mStandard);
        close(mSaved);
    }
    StandIn(const StandIn &) = delete;
    StandIn &operator=(const StandIn &) = delete;

private:
    int mStandard;
    int mSaved;
};

// Two connected descriptors, a pipe or a pair of sockets. The destructor closes them.
// Reading does not block; writing does.
class Channel
{
public:
    enum class Kind { Pipe, Socket };

    explicit Channel(Kind kind)
    {
        const int result = kind == Kind::Pipe
                               ? pipe2(mEnds.data(), O_CLOEXEC)
                               : socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, mEnds.data());
        if (result != 0 || fcntl(Reader(), F_SETFL, O_NONBLOCK) != 0) {
            throw std::system_error(errno, std::generic_category(), "channel");
        }
    }
    ~Channel()
    {
        CloseReader();
        close(Writer());
    }
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;

    [[nodiscard]] int Reader() const { return mEnds[0]; }
    [[nodiscard]] int Writer() const { return mEnds[1]; }

    void CloseReader()
    {
        if (mEnds[0] >= 0) {
            close(mEnds[0]);
            mEnds[0] = -1;
        }
    }

    // Fills the channel to the last byte.
    void Fill() const
    {
        const int flags = fcntl(Writer(), F_GETFL);
        fcntl(Writer(), F_SETFL, flags | O_NONBLOCK);
        while (write(Writer(), "x", 1) == 1) {
        }
        fcntl(Writer(), F_SETFL, flags);
    }

private:
    std::array<int, 2> mEnds{-1, -1};
};

// Reads all bytes that have arrived. REQUIRES: the descriptor does not block.
inline std::string ReadAll(int descriptor)
{
    std::string text;
    std::array<char, 65536> buffer{};
    ssize_t got = 0;
    while ((got = read(descriptor, buffer.data(), buffer.size())) > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return text;
}

} // namespace test

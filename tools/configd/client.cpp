#include "configd/client.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace configd {
namespace {

constexpr std::size_t kReceiveBlock = 16384;
constexpr std::size_t kStreamBlock = 4096;

} // namespace

Client::Client(vexbase::FileDescriptor socket, Clock::duration timeout)
    : mSocket(std::move(socket)), mTimeout(timeout), mDeadline(Clock::now() + timeout)
{
}

std::uint32_t Client::Events() const
{
    if (mOutput.empty()) {
        return EPOLLIN;
    }
    return mStream ? EPOLLIN | EPOLLOUT : EPOLLOUT;
}

bool Client::Receive()
{
    std::array<char, kReceiveBlock> block{};
    const ssize_t length = recv(mSocket.Descriptor(), block.data(), block.size(), 0);
    if (length <= 0) {
        return length < 0 && (errno == EAGAIN || errno == EINTR);
    }
    // After the last answer, input is read and dropped. If the socket were closed while
    // the client still sends, TCP would reset the connection, and the client would lose
    // the answer.
    if (!mStream && !mHasEnded) {
        mReader.Feed({block.data(), static_cast<std::size_t>(length)});
    }
    return true;
}

bool Client::Advance(const Values &values, const Answerer &answer)
{
    while (true) {
        if (!Send()) {
            return false;
        }
        if (!mOutput.empty() || mHasEnded) {
            return true;
        }
        Compose(values, answer);
        if (mOutput.empty()) {
            return true;
        }
    }
}

void Client::Compose(const Values &values, const Answerer &answer)
{
    if (mStream) {
        const std::string piece = mStream->Read(values, kStreamBlock);
        mOutput = mSendsChunks && !piece.empty() ? Chunk(piece) : piece;
    } else if (mReader.Fault()) {
        Put(ReplyText(*mReader.Fault(), false, true, std::time(nullptr)), true);
    } else if (mReader.TakeExpectation()) {
        mOutput = "HTTP/1.1 100 Continue\r\n\r\n";
    } else if (const auto request = mReader.TakeRequest()) {
        answer(*this, *request);
    }
}

bool Client::Send()
{
    while (mSent < mOutput.size()) {
        const ssize_t length = send(mSocket.Descriptor(), mOutput.data() + mSent,
                                    mOutput.size() - mSent, MSG_NOSIGNAL);
        if (length < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        mSent += static_cast<std::size_t>(length);
    }
    mOutput = std::string(); // clear() would keep the memory
    mSent = 0;
    if (mIsLast && !mHasEnded) {
        mHasEnded = true;
        shutdown(mSocket.Descriptor(), SHUT_WR);
    }
    return true;
}

void Client::Put(std::string text, bool last)
{
    mOutput = std::move(text);
    mIsLast = last;
    mDeadline = Clock::now() + mTimeout;
}

void Client::Reply(const Request &request, const configd::Reply &reply, bool mayStay)
{
    const bool isHead = request.method == "HEAD";
    const bool isLast = !request.keepAlive || !mayStay;
    Put(ReplyText(reply, isHead, isLast, std::time(nullptr)), isLast);
}

void Client::OpenStream(const Request &request, const std::vector<Parameter> &parameters)
{
    Put(StreamHeader(request.isChunkable, std::time(nullptr)), false);
    mStream.emplace(parameters);
    mSendsChunks = request.isChunkable;
    mDeadline = Clock::time_point::max();
}

void Client::AnswerTimeout()
{
    if (mOutput.empty() && !mHasEnded && mReader.HasPartialRequest()) {
        const auto reply = ErrorReply(408, "the request did not arrive completely in time");
        Put(ReplyText(reply, false, true, std::time(nullptr)), true);
        static_cast<void>(Send()); // on failure too, the connection ends now
    }
}

} // namespace configd

#pragma once

#include "configd/event_stream.h"
#include "configd/http_message.h"
#include "vexbase/vex_file_descriptor.h"

#include <chrono>
#include <cstdint>
#include <functional>

namespace configd {

// Client is one connection to the service. It carries requests, one after the other,
// or a stream of events. No operation waits. While an answer is being sent, no request
// is read: a connection uses memory for one request and one answer at most. Owned by
// one thread.
class Client
{
public:
    using Clock = std::chrono::steady_clock;
    using Answerer = std::function<void(Client &client, const Request &request)>;

    // The client must complete its first request within timeout. Within timeout after each
    // answer, it must have received the answer and completed its next request. REQUIRES:
    // socket is connected and non-blocking.
    Client(vexbase::FileDescriptor socket, Clock::duration timeout);

    [[nodiscard]] int Descriptor() const { return mSocket.Descriptor(); }
    // The events of epoll to wait for.
    [[nodiscard]] std::uint32_t Events() const;
    [[nodiscard]] bool IsStream() const { return mStream.has_value(); }
    // The end of the time-out; time_point::max() for a stream.
    [[nodiscard]] Clock::time_point Deadline() const { return mDeadline; }

    // Reads one block of input. Returns false if the connection has ended.
    [[nodiscard]] bool Receive();
    // Sends output, and calls answer for each complete request; answer calls Reply or
    // OpenStream. Returns when it would have to wait. Returns false if the connection
    // has ended.
    [[nodiscard]] bool Advance(const Values &values, const Answerer &answer);

    // Answers a request. If mayStay is false, the answer ends the connection, even if the
    // client asked to keep it.
    void Reply(const Request &request, const configd::Reply &reply, bool mayStay);
    void OpenStream(const Request &request, const std::vector<Parameter> &parameters);
    void AddHeartbeat() { mStream->AddHeartbeat(); } // REQUIRES: IsStream()

    // Answers an incomplete request with status 408. Call it once after the deadline,
    // then destroy this object.
    void AnswerTimeout();

private:
    void Put(std::string text, bool last);
    // Sets mOutput to the next text to send, if any.
    void Compose(const Values &values, const Answerer &answer);
    [[nodiscard]] bool Send();

    vexbase::FileDescriptor mSocket;
    const Clock::duration mTimeout;
    Clock::time_point mDeadline;
    RequestReader mReader;
    std::string mOutput;       // the text that is being sent
    std::size_t mSent = 0;     // the bytes of mOutput that were sent
    bool mIsLast = false;      // mOutput is the last answer of this connection
    bool mHasEnded = false;    // the last answer was sent; the client may still be sending
    bool mSendsChunks = false; // the stream is sent in chunks (HTTP/1.1)
    std::optional<EventStream> mStream;
};

} // namespace configd

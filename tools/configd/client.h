#pragma once

#include "configd/descriptor.h"
#include "configd/event_stream.h"
#include "configd/http_message.h"

#include <chrono>
#include <functional>

namespace configd {

// Client is one connection to the service: requests one after the other or, once
// a stream is open, events. Nothing here waits. While an answer is being sent no
// request is read, so the memory is bounded by one request and one answer. Owned
// by one thread.
class Client
{
public:
    using Clock = std::chrono::steady_clock;
    using Answerer = std::function<void(Client &client, const Request &request)>;

    // The client must complete each request within patience, counted from the start
    // of the connection or from the previous answer. It must receive that answer
    // within the same time. REQUIRES: socket is connected and does not block.
    Client(Descriptor socket, Clock::duration patience);

    [[nodiscard]] int Number() const { return mSocket.Number(); }
    // The events of epoll to wait for.
    [[nodiscard]] std::uint32_t Events() const;
    [[nodiscard]] bool IsStream() const { return mStream.has_value(); }
    // When patience is over; never for a stream.
    [[nodiscard]] Clock::time_point Deadline() const { return mDeadline; }

    // Reads what has arrived, at most one block. False at the connection's end.
    [[nodiscard]] bool Receive();
    // Sends output, and calls answer for each complete request, which replies with
    // Reply or OpenStream. Stops where it would have to wait. False at the
    // connection's end.
    [[nodiscard]] bool Advance(const Values &values, const Answerer &answer);

    // Answers a request. Without mayStay the answer ends the connection, whatever the
    // client wishes.
    void Reply(const Request &request, const configd::Reply &reply, bool mayStay);
    void OpenStream(const Request &request, const std::vector<Parameter> &parameters);
    void AddComment() { mStream->AddComment(); } // REQUIRES: IsStream()

    // Answers an incomplete request with 408, before the client is destroyed.
    void GiveUp();

private:
    void Put(std::string text, bool last);
    // Sets mOutput to the next text to send, if there is one.
    void Compose(const Values &values, const Answerer &answer);
    [[nodiscard]] bool Send();

    Descriptor mSocket;
    const Clock::duration mPatience;
    Clock::time_point mDeadline;
    RequestReader mReader;
    std::string mOutput;       // being sent
    std::size_t mSent = 0;     // bytes of it that were sent
    bool mIsLast = false;      // the connection ends with it
    bool mHasEnded = false;    // it was sent; the client may still be sending
    bool mSendsChunks = false; // of the stream
    std::optional<EventStream> mStream;
};

} // namespace configd

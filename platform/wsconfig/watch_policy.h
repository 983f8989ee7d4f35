#pragma once

#include <cstddef>

// The limits of the configuration client: how much it reads, how long it waits, and which
// faults it reports. The service is a program of this device, but a fault in it must cost
// the daemon neither memory nor time. The classes are not thread-safe: the main thread owns
// them.
namespace wsconfig {

// The limit for the header of a response, and for the lines between two chunks of its
// body. The service's header has some 150 bytes.
constexpr std::size_t kMaxHeaderBytes = 8192;

// The limit for one event; EventStreamReader says which of its bytes count. A device list has
// some 150 bytes for each device.
constexpr std::size_t kMaxEventBytes = 262144;

// The most bytes of an answer that are read in one turn of the event loop. An answer is
// endless: without this limit, a flood of events would block the event loop.
constexpr std::size_t kMaxBodyPieceBytes = 16384;

struct WatchPolicy
{
    int firstDeliveryMs = 5000; // the wait for the first values, with all retries
    int silenceMs = 45000;      // the time-out: three heartbeats, 15 s apart at most, are missing
    // The first and the longest pause before a lost stream is opened again.
    int shortestPauseMs = 250;
    int longestPauseMs = 5000;
};

// ReconnectPause calculates the pause before the next attempt to open a stream: the
// shortest pause first, then twice as long each time, up to the longest.
class ReconnectPause
{
public:
    // Both in milliseconds, above 0.
    ReconnectPause(int shortestMs, int longestMs)
        : m_shortestMs(shortestMs), m_longestMs(longestMs), m_nextMs(shortestMs)
    {
    }

    // Returns the pause to make now, in milliseconds, and doubles the next one.
    [[nodiscard]] int takeMs()
    {
        const int pauseMs = m_nextMs;
        m_nextMs = pauseMs > m_longestMs / 2 ? m_longestMs : pauseMs * 2;
        return pauseMs;
    }

    // The next pause is the shortest again.
    void reset() { m_nextMs = m_shortestMs; }

private:
    const int m_shortestMs;
    const int m_longestMs;
    int m_nextMs;
};

// Outage decides which losses of a stream are reported. A service that is down for years
// must not fill a log. Reported are: the loss of the stream, once; the first wrong answer
// during the same outage, since that is another fault; and the return.
class Outage
{
public:
    enum class Cause {
        NoService,   // the connection was refused or closed, or was silent
        WrongAnswer, // the answer was not valid HTTP, or not an event stream
    };

    // The stream was lost, or could not be opened. Returns whether to report it.
    [[nodiscard]] bool begin(Cause cause)
    {
        const bool report = !m_on || (cause == Cause::WrongAnswer && !m_wrongAnswerReported);
        m_on = true;
        m_wrongAnswerReported = m_wrongAnswerReported || cause == Cause::WrongAnswer;
        return report;
    }

    // The stream delivers values. Returns whether to report that it is back.
    [[nodiscard]] bool end()
    {
        const bool report = m_on;
        m_on = false;
        m_wrongAnswerReported = false;
        return report;
    }

private:
    bool m_on = false;
    bool m_wrongAnswerReported = false;
};

} // namespace wsconfig

#pragma once

#include "ssdp/bound_report.h"

#include <cstdint>
#include <list>
#include <netinet/in.h>
#include <string>

// One datagram that waits to be sent.
struct GETMessageType
{
    std::string message;       // the complete datagram
    std::uint32_t delay = 0;   // milliseconds still to wait
    sockaddr_in destination{}; // IPv4
};

// DelayedQueue holds datagrams until their delay has passed, in the order they
// were put in, within a bound. It knows no clock and no socket: its owner tells
// it what time has passed. Not thread-safe; the owner's lock guards it.
class DelayedQueue
{
public:
    // The queue takes datagrams until it holds maxCount of them, or maxBytes in
    // all; it is full then for any size, so that a flood of large and small ones
    // is reported once. operation and what name it in the line that reports a
    // met bound.
    DelayedQueue(std::size_t maxCount, std::size_t maxBytes, std::string_view operation,
                 std::string_view what)
        : mMaxCount(maxCount), mMaxBytes(maxBytes), mReport(operation, what)
    {
    }

    // Appends a datagram; drops it when the bound is met.
    void Add(GETMessageType datagram);

    // Lets elapsed milliseconds pass: each datagram whose delay they cover is
    // taken out and returned, the delay of each other is lowered.
    [[nodiscard]] std::list<GETMessageType> TakeDue(std::uint32_t elapsed);

    void Clear();

    [[nodiscard]] std::size_t Size() const { return mDatagrams.size(); }

private:
    const std::size_t mMaxCount;
    const std::size_t mMaxBytes;
    BoundReport mReport;
    std::list<GETMessageType> mDatagrams;
    std::size_t mBytes = 0; // of all messages
};

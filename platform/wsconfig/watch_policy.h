#pragma once

#include <cstddef>

// The bounds on what the configuration service may send. It is a program of
// this device, but a fault in it must cost the daemon neither memory nor time.

// The header of an answer, and likewise what stands between two pieces of a
// chunked body. The service's own header has some 150 bytes.
constexpr std::size_t kMaxHeaderBytes = 8192;

// One event with all its lines. A device list has some 150 bytes a device.
constexpr std::size_t kMaxEventBytes = 262144;

// What is read of the body in one turn of the event loop. The body as a whole
// has no end, so that this alone keeps a flood from holding up everybody else.
constexpr std::size_t kMaxBodyPieceBytes = 16384;

// How patient a watch is; all in milliseconds.
struct WatchPolicy
{
    int firstDeliveryMs = 5000; // wait for the first values, all retries included
    int silenceMs = 45000;      // three of the service's comment lines missed
    int shortestPauseMs = 250;  // before a lost stream is opened again, doubled
    int longestPauseMs = 5000;  // each time up to this
};

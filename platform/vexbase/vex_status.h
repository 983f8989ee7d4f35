#pragma once

// Status values of the base library's operations. 0 is success; every negative
// value is a failure. The failures that a caller may handle have a value of their own.

constexpr int kVEXSuccess = 0;
constexpr int kVEXFailure = -1;
constexpr int kVEXTimedOut = -3;
// A socket's send buffer is full for now.
constexpr int kVEXNoRoom = -4;

// A time-out that never runs out, for every operation that takes milliseconds.
constexpr unsigned int kVEXInfinite = 0xFFFFFFFFU;

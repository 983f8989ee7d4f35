#pragma once

// Status values of the base library's operations. 0 is success; every negative
// value is a failure, of which only the time-out is told apart.

constexpr int kVEXSuccess = 0;
constexpr int kVEXFailure = -1;
constexpr int kVEXTimedOut = -3;

// A time-out that never runs out, for every operation that takes milliseconds.
constexpr unsigned int kVEXInfinite = 0xFFFFFFFFU;

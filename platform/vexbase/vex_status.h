#pragma once

// How the base library reports failures: an operation that can fail returns a status,
// an int. 0 is success and every negative value is a failure; a failure that a caller
// may handle has a value of its own. Where errno has the system's reason as well, the
// operation's comment says so. Transfers return the number of bytes, and questions a
// bool. No operation throws, except for lack of memory.

constexpr int kVEXSuccess = 0;
constexpr int kVEXFailure = -1;
constexpr int kVEXTimedOut = -3;
constexpr int kVEXNoRoom = -4; // a socket's send buffer is full for now

// The time-out, in milliseconds, that never ends a wait.
constexpr unsigned int kVEXInfinite = 0xFFFFFFFFU;

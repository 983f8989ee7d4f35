#pragma once

// How the base library reports failures: an operation that can fail returns a status, an
// int. 0 is success and every negative value is a failure. A failure that callers may
// handle has its own value. If errno has the system's reason as well, the comment of the
// operation says so. Transfers return the number of bytes, and predicates a bool. No
// operation throws, except for lack of memory.
namespace vexbase {

constexpr int kSuccess = 0;
constexpr int kFailure = -1;
constexpr int kTimedOut = -3;
constexpr int kNoRoom = -4; // a socket's send buffer is full for now

// The time-out, in milliseconds, of a wait without limit.
constexpr unsigned int kInfinite = 0xFFFFFFFFU;

} // namespace vexbase

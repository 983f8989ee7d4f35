#pragma once

namespace configd {

// The whole of beacon-configd: reads the command line and the files, serves until
// SIGTERM or SIGINT, and returns the exit status: 0, 1 when it cannot start or go
// on (said on standard error), 2 for a wrong command line.
// REQUIRES: called once, in a process without other threads.
[[nodiscard]] int RunProgram(int argc, char **argv);

} // namespace configd

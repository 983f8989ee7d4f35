#pragma once

namespace configd {

// The whole of beacon-configd: reads the command line and the files, serves until
// SIGTERM or SIGINT, and returns the exit status: 0, or one of ExitStatus, with
// the reason on standard error.
// REQUIRES: called once, in a process without other threads.
[[nodiscard]] int RunProgram(int argc, char **argv);

} // namespace configd

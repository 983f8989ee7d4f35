#pragma once

namespace configd {

// The whole of beacon-configd: reads the command line and the files, and serves until
// SIGTERM or SIGINT. Returns the exit status: 0, or one of ExitStatus after a line with
// the reason on standard error.
// REQUIRES: called once, in a process without other threads.
//
// Failures in this folder: a function that checks a value returns a Fault, the text for
// the user, or nothing (json_reader.h); Settings adds the HTTP status (Refusal). A failed
// system call throws std::system_error, a fault that needs an administrator throws
// Failure. Both end the program. Exception: if the system cannot read or write a file, the
// service keeps running and refuses changes of this file (StoredFile::Fault, Refusal).
// The end of a connection is not a failure: Client returns false.
[[nodiscard]] int RunProgram(int argc, char **argv);

} // namespace configd

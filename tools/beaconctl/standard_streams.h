#pragma once

#include <string>
#include <string_view>

// Opens /dev/null for reading in place of each standard stream that is closed.
// Otherwise a socket would get its number, and what is written there would go to
// the network. Call it before anything else is opened.
void OccupyClosedStreams();

// Writes a text to standard output at once. False, after a line on standard error,
// if it cannot be written. With the usual disposition of SIGPIPE a pipe that nobody
// reads ends the program by this signal.
[[nodiscard]] bool WriteOutput(std::string_view text);

// Waits so many milliseconds, but no longer than somebody can read standard output.
// False, as for WriteOutput, if nobody can.
[[nodiscard]] bool WaitWhileOutputIsRead(int milliseconds);

// Writes "beaconctl: ", the text and a line end to standard error.
void WriteError(const std::string &text);

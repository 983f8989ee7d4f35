#pragma once

#include <initializer_list>
#include <string_view>

// Writes lines to the standard streams. In the daemon, only src/main/detach.cpp writes to them
// in another way: getopt() reports an invalid option, and two lines while detaching are never
// visible. A line consists of the pieces and a newline, and is written by one system
// call. The bytes of the pieces are not changed.
//
// Writing does not wait for a reader, does not throw, and raises no signal. A line is lost
// if a pipe, socket or terminal has no room, if a disk is full, or if memory is short. The
// next line that can be written follows the line "Lines lost: N (no room, or no reader)".
// If a line was written in part, its rest is lost, and the next line begins on a new line.
//
// Any thread may call both functions at any time, and may hold any lock: the functions take
// only their own lock. Descriptors 1 and 2 may be closed or replaced between two calls.
namespace vexbase {

// Writes a fault to standard error.
void WriteFault(std::initializer_list<std::string_view> pieces);

// Writes progress to standard output.
void WriteProgress(std::initializer_list<std::string_view> pieces);

} // namespace vexbase

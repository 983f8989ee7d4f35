#pragma once

#include <initializer_list>
#include <string_view>

// The writer of all lines on the standard streams. A line is the pieces, joined,
// and a newline; it goes out in one write. No piece is taken as a format, and all
// bytes pass unchanged.
//
// Writing never waits for a reader, never throws, and raises no signal. A line for
// which a pipe, socket or terminal has no room, which a disk does not take, or for
// which there is no memory, is lost. Before the next line that finds room, the
// stream gets the line "Lines lost: N (no room, or no reader)". The rest of a line
// that was written in part is lost, too; the next line starts on a new line.
//
// Any thread may call both at any time, with any lock held: they take one lock of
// their own and no other. The descriptors 1 and 2 may be closed or replaced
// between two calls.
namespace vexbase {

// Writes a fault to standard error.
void WriteFault(std::initializer_list<std::string_view> pieces);

// Writes progress to standard output.
void WriteProgress(std::initializer_list<std::string_view> pieces);

} // namespace vexbase

#pragma once

#include <initializer_list>
#include <string_view>

// Lines on the standard streams. Each call is one write, so that lines of
// several threads do not mix; no piece is ever taken as a format.
namespace ssdp {

// Writes the pieces and a newline to standard error: a fault.
void WriteFault(std::initializer_list<std::string_view> pieces);

// Writes the pieces and a newline to standard output: progress.
void WriteProgress(std::initializer_list<std::string_view> pieces);

} // namespace ssdp

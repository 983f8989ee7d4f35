#pragma once

#include "beaconctl/entries.h"
#include "beaconctl/monitor_message.h"
#include "formats/ssdp_messages.h"

#include <ctime>
#include <string>
#include <string_view>

// The output of beaconctl: composed by pure functions, and written to the standard
// streams. Tables and lines are safe for a terminal, with long texts shortened. JSON
// (RFC 8259) is equally safe and has the whole texts, with bytes that are not UTF-8 replaced.
namespace beaconctl {

// Where entries come from: it decides which of their members are shown.
enum class Source { Listing, BrowseList };

[[nodiscard]] std::string EntriesTable(const Entries &entries, Source source);
// The entries of a listing as an array on one line. Objects of a cut listing have
// "listingCut": true.
[[nodiscard]] std::string EntriesJson(const Entries &entries, bool cut);

// The table of a listing, with the marks of changes and, if wanted, their colours.
[[nodiscard]] std::string ChangesTable(const std::vector<ChangedEntry> &changes, bool colours);
// A line for each entry: its mark, host name, product and address, or a JSON object with the
// member "change": "came", "changed", "went" or "present".
[[nodiscard]] std::string ChangesLines(const std::vector<ChangedEntry> &changes, bool json);
// The JSON line that reports that listings are cut from now on, or whole again.
[[nodiscard]] std::string CutJson(bool cut);

// A search answer and the address of its sender, as lines or as a JSON object on one line.
[[nodiscard]] std::string AnswerText(const std::string &address,
                                     const formats::SearchResponseHeaders &headers, bool json);

// A datagram of monitor: a line with the time of day, the sender, the method, the type, the
// USN and the meaning, or a JSON object on one line with the time in UTC (RFC 3339). Pure,
// except that it uses this machine's time zone.
[[nodiscard]] std::string MonitorText(const timespec &time, const Datagram &datagram,
                                      const Message &message, bool json);

// Opens /dev/null for reading in place of each standard stream that is closed. Otherwise
// a socket would get its number, and the output would be sent to the network. Call it
// before anything else is opened.
void OccupyClosedStreams();

// Writes a text to standard output; waits while there is no room for it, for instance in a
// pipe. False, after a line on standard error, if it cannot be written. If SIGPIPE is not
// ignored, a pipe without a reader ends the program by this signal.
[[nodiscard]] bool WriteOutput(std::string_view text);

// Waits a number of milliseconds (-1: without limit), but only as long as standard output has a
// reader and a descriptor, if given, has nothing to read. If there is no reader, does the same
// as WriteOutput: returns false, or ends the program.
[[nodiscard]] bool WaitWhileOutputIsRead(int milliseconds, int descriptor = -1);

// Writes "beaconctl: ", the text and a line end to standard error.
void WriteError(const std::string &text);

} // namespace beaconctl
